#!/usr/bin/env bash
# Installs what is missing, builds, and starts Lunelo on the given video, or on a demo clip.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh run
scripts/build.sh
if [ $# -eq 0 ]; then
    scripts/demo-clip.sh demo/lunelo-demo.mp4
    set -- demo/lunelo-demo.mp4
fi
exec build/src/app/lunelo "$@"
