#!/usr/bin/env bash
# Installs the dependencies, builds and runs the whole test suite.
# VRQT_SANITIZE=ON builds with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

sanitize=${VRQT_SANITIZE:-OFF}
build=${VRQT_BUILD_DIR:-build}
[[ $sanitize == ON ]] && build=${VRQT_BUILD_DIR:-build-sanitize}

cmake -S . -B "$build" -G Ninja -DVRQT_SANITIZE="$sanitize" >/dev/null
cmake --build "$build" --parallel "$(nproc)"
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" --timeout 300
