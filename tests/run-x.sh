#!/usr/bin/env bash
# Runs a command inside its own X server (Xvfb with GLX, software OpenGL), window manager
# (openbox) and session bus, so that application tests never touch the user's desktop and can
# run side by side.
set -u
if [ "${1:-}" != --inside ]; then
    # Descriptors inherited from whoever runs the tests (a lock held around the whole run) stay
    # out of the servers started here, which could outlive a test that is killed.
    for fd in $(ls /proc/$$/fd); do
        [ "$fd" -gt 2 ] && [ "$fd" != 255 ] && eval "exec $fd>&-"
    done
    exec xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp +extension GLX" \
        dbus-run-session -- "$0" --inside "$@"
fi
shift
# Never the desktop's own Wayland compositor, which Qt would prefer.
unset WAYLAND_DISPLAY XDG_SESSION_TYPE
openbox --sm-disable >/dev/null 2>&1 &
wm=$!
for _ in $(seq 50); do
    xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
    sleep 0.1
done
"$@"
rc=$?
kill "$wm" 2>/dev/null
wait "$wm" 2>/dev/null
exit $rc
