#!/usr/bin/env bash
# Installs the dependencies, builds and runs the whole test suite, once in a
# tree built against Qt 5 and once in a tree built against Qt 6.
# VRQT_SANITIZE=ON builds both with AddressSanitizer and
# UndefinedBehaviorSanitizer; VRQT_QT_MAJORS="6" builds one of them only.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

sanitize=${VRQT_SANITIZE:-OFF}
base=${VRQT_BUILD_DIR:-build}
[[ $sanitize == ON ]] && base=${VRQT_BUILD_DIR:-build-sanitize}
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

# The Qt 5 tree is "build" (what scripts/demo.sh uses), the Qt 6 tree
# "build-qt6". The Qt 6 tree also checks an installation of both.
tree_of() { [[ $1 == 5 ]] && echo "$base" || echo "$base-qt$1"; }

failed=()
for major in ${VRQT_QT_MAJORS:-5 6}; do
    build=$(tree_of "$major")
    companion=()
    if [[ $major == 6 && -f $(tree_of 5)/CMakeCache.txt ]]; then
        companion=(-DVRQT_COMPANION_TREE="$(cd "$(tree_of 5)" && pwd)")
    fi
    echo "== Qt $major: $build"
    cmake -S . -B "$build" -G Ninja -DVRQT_QT_MAJOR="$major" -DVRQT_SANITIZE="$sanitize" "${companion[@]}" >/dev/null
    cmake --build "$build" --parallel "$(nproc)"
    ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" --timeout 300 || failed+=("Qt $major")
done

# A short pass of the stream reader's fuzz target: Clang's libFuzzer with
# the sanitizers. VRQT_FUZZ_RUNS=1000000 makes it the long pass.
if [[ ${VRQT_FUZZ_PASS:-ON} == ON ]]; then
    CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DVRQT_FUZZ=ON -DVRQT_SANITIZE=ON \
        -DVRQT_FUZZ_RUNS="${VRQT_FUZZ_RUNS:-100000}" >/dev/null
    cmake --build build-fuzz --parallel "$(nproc)" --target stream_fuzzer stream_seeds
    ctest --test-dir build-fuzz -L fuzz --output-on-failure || failed+=("fuzz")
fi

if ((${#failed[@]})); then
    echo "failed: ${failed[*]}" >&2
    exit 1
fi
