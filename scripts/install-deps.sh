#!/usr/bin/env bash
# Installs what the project needs to build, test and run on Debian 12.
# Idempotent and quiet; run as root (or through sudo).
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    libgtest-dev libgmock-dev libbenchmark-dev
    qtbase5-dev qtbase5-dev-tools
    qt6-base-dev qt6-base-dev-tools
    xvfb xauth x11-utils
    # Real input for the tests under Xvfb: the X server's test extension.
    libxtst-dev
    # vrqt attach loads the agent into a running program through the debugger.
    gdb
    clang libclang-rt-14-dev
    # A Qt program nobody here wrote, for the reference host's tests: the
    # calculator among Qt's widget examples.
    qtbase5-examples
    # The Python package's tests and examples (python/) run under pytest.
    python3-pytest
    # Benchmarks only (bench/atspi_compare.py): the desktop's accessibility
    # stack, measured beside vrqt on the same programs. Nothing builds or
    # tests against it.
    at-spi2-core python3-pyatspi
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if ((${#missing[@]})); then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
