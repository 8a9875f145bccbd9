#!/usr/bin/env bash
# Runs a command inside its own Wayland compositor (a headless Weston drawing with its software
# renderer, on one 1280×1024 output, with the debug protocol that weston-screenshooter needs) and
# session bus: the Wayland counterpart of run-x.sh. Nothing of X is reachable inside.
# A headless Weston has no seat (no keyboard or pointer): Qt 6.4's Wayland text input crashes
# without one, so input methods are off for everything run here.
set -u
if [ "${1:-}" != --inside ]; then
    # Descriptors inherited from whoever runs the tests (a lock held around the whole run) stay
    # out of the servers started here, which could outlive a test that is killed.
    for fd in $(ls /proc/$$/fd); do
        [ "$fd" -gt 2 ] && [ "$fd" != 255 ] && eval "exec $fd>&-"
    done
    exec dbus-run-session -- "$0" --inside "$@"
fi
shift
runtime=$(mktemp -d) # private (0700), as a runtime folder must be
cat >"$runtime/weston.ini" <<'INI'
[core]
idle-time=0

[shell]
# One colour that no test picture has, around the windows; no panel, no animations, no lock.
background-color=0xff133757
panel-position=none
locking=false
animation=none
close-animation=none
startup-animation=none
focus-animation=none
INI
# The compositor ends with this script, however it ends.
XDG_RUNTIME_DIR=$runtime setpriv --pdeathsig TERM \
    weston --backend=headless-backend.so --use-pixman --debug --width=1280 --height=1024 \
    --socket=wayland-test --idle-time=0 --config="$runtime/weston.ini" --log="$runtime/weston.log" &
compositor=$!
for _ in $(seq 100); do
    [ -S "$runtime/wayland-test" ] && break
    sleep 0.05
done
[ -S "$runtime/wayland-test" ] || cat "$runtime/weston.log" >&2
unset DISPLAY XDG_SESSION_TYPE
# An absolute socket path, which survives the private runtime folders of the applications.
export WAYLAND_DISPLAY=$runtime/wayland-test XDG_RUNTIME_DIR=$runtime QT_IM_MODULE=none
"$@"
rc=$?
kill "$compositor" 2>/dev/null
wait "$compositor" 2>/dev/null
[ $rc -ne 0 ] && [ -n "${LUNELO_TEST_VERBOSE:-}" ] && cat "$runtime/weston.log" >&2
rm -rf "$runtime"
exit $rc
