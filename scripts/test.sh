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

# A short pass of the stream reader's fuzz target: Clang's libFuzzer with
# the sanitizers. VRQT_FUZZ_RUNS=1000000 makes it the long pass.
if [[ ${VRQT_FUZZ_PASS:-ON} == ON ]]; then
    CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DVRQT_FUZZ=ON -DVRQT_SANITIZE=ON \
        -DVRQT_FUZZ_RUNS="${VRQT_FUZZ_RUNS:-100000}" >/dev/null
    cmake --build build-fuzz --parallel "$(nproc)" --target stream_fuzzer stream_seeds
    ctest --test-dir build-fuzz -L fuzz --output-on-failure
fi
