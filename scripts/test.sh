#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through CTest. Tests that need a screen
# start their own X server, so no display is needed.
#   scripts/test.sh [ctest arguments]        the release build in build/
#   scripts/test.sh asan [ctest arguments]   the same tests built with AddressSanitizer and
#                                            UndefinedBehaviorSanitizer in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" = asan ]; then
    shift
    scripts/deps.sh asan
    [ -f build-asan/build.ninja ] || cmake --preset asan
    cmake --build --preset asan --parallel "$(nproc)"
    exec ctest --preset asan --parallel "$(nproc)" "$@"
fi
scripts/deps.sh test
scripts/build.sh
cd "${LUNELO_BUILD_DIR:-build}"
ctest --output-on-failure --parallel "$(nproc)" "$@"
