#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through CTest. Tests that need a screen
# start their own X server, so no display is needed.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh test
scripts/build.sh
cd "${LUNELO_BUILD_DIR:-build}"
ctest --output-on-failure --parallel "$(nproc)" "$@"
