#!/usr/bin/env bash
# The benchmarks: Lunelo against the mpv player on the same generated clips, in one X server
# (Xvfb with openbox, software OpenGL) and the same 1280×720 window, runs alternating between
# the two; then one sibling step in folders of 1,000, 10,000 and 100,000 files, and how long
# the window stops answering while it steps through a folder on a slow file system (FUSE, where
# it can mount). Prints every measure with its median, its spread and the ratio to mpv. Takes
# about 12 minutes with the default five runs on 2 cores. Not part of the tests.
#
#     bench/run.sh [--runs N] [--only cpu,cpu4k,memory,start,seek,scrub,backstep,folder,stall]
#
# Builds into build/ (or $LUNELO_BUILD_DIR) with the benchmarks on; the clips go to
# <build>/bench-media, made once.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh test
dir=${LUNELO_BUILD_DIR:-build}
scripts/build.sh >/dev/null
cmake -S . -B "$dir" -DLUNELO_BENCH=ON >/dev/null
cmake --build "$dir" --parallel "$(nproc)" --target lunelo bench_players bench_folderstep \
    bench_stall $(grep -q '^FUSE3_FOUND:INTERNAL=1' "$dir/CMakeCache.txt" && echo slowfs)
bench/media.sh "$dir/bench-media"

players=()
folder=yes
stall=yes
while [ $# -gt 0 ]; do
    case $1 in
    --only)
        [[ ,$2, == *,folder,* ]] || folder=no
        [[ ,$2, == *,stall,* ]] || stall=no
        rest=$(echo ",$2," | sed 's/,folder,/,/; s/,stall,/,/; s/^,//; s/,$//')
        [ -z "$rest" ] && players=(--skip) || players+=(--only "$rest")
        shift 2
        ;;
    *)
        players+=("$1")
        shift
        ;;
    esac
done

echo "Machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //')," \
    "$(awk '/MemTotal/ {printf "%.0f GiB", $2 / 1048576}' /proc/meminfo); load $(cut -d' ' -f1-3 /proc/loadavg)"
echo "Players: $(mpv --version | head -1 | cut -d' ' -f1-2) and Lunelo $(git describe --always --dirty 2>/dev/null || echo '?')," \
    "the same libmpv; Mesa llvmpipe (software OpenGL) under Xvfb"
# A private runtime folder when the session has none (Qt and mpv want one).
if [ -z "${XDG_RUNTIME_DIR:-}" ]; then
    XDG_RUNTIME_DIR=$(mktemp -d)
    export XDG_RUNTIME_DIR
fi
if [ "${players[0]:-}" != --skip ]; then
    tests/run-x.sh "$dir/bench/bench_players" --lunelo "$dir/src/app/lunelo" \
        --media "$dir/bench-media" "${players[@]}"
fi
if [ $folder = yes ]; then
    echo
    "$dir/bench/bench_folderstep"
fi
if [ $stall = yes ]; then
    echo
    tests/run-x.sh "$dir/bench/bench_stall" --lunelo "$dir/src/app/lunelo" \
        --slowfs "$dir/bench/slowfs" --clip "$dir/bench-media/step-720p30.mp4"
fi
