#!/usr/bin/env bash
# Configures (once) and builds Lunelo into build/ (or $LUNELO_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${LUNELO_BUILD_DIR:-build}
if [ ! -f "$dir/build.ninja" ]; then
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE:-RelWithDebInfo} \
        -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
fi
cmake --build "$dir" --parallel "$(nproc)"
