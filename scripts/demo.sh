#!/usr/bin/env bash
# The main job in one command: install what is needed, build, start the
# gallery with the agent and print its widget tree as the module sees it.
# Arguments go to `vrqt tree` (e.g. --json, --timeout SECONDS).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

build=${VRQT_BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja >/dev/null
# Build output goes to standard error, so that standard output is the tree alone.
cmake --build "$build" --parallel "$(nproc)" --target vrqt vrqt-gallery >&2

run=("$build/bin/vrqt" tree "$@" -- "$build/bin/vrqt-gallery")
if [[ -z ${DISPLAY:-} ]]; then
    if command -v xvfb-run >/dev/null; then
        exec xvfb-run -a "${run[@]}"
    fi
    export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
fi
exec "${run[@]}"
