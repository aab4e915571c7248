#!/bin/sh
# Installs two build trees, one for each Qt major version, into one prefix,
# moves the prefix elsewhere as a user copying it would, and lets its vrqt
# inspect a program of each version, choosing the agent by itself.
#   check_install.sh TREE OTHER_TREE
set -eu
tree=$1
other=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$other" --prefix "$scratch/first" >/dev/null
cmake --install "$tree" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/moved"
prefix=$scratch/moved

for file in bin/vrqt lib/libvrqtplatform.so lib/vrqt/qt5/libvrqthost.so lib/vrqt/qt5/libvrqtproxy.so \
            lib/vrqt/qt6/libvrqthost.so lib/vrqt/qt6/libvrqtproxy.so; do
    [ -e "$prefix/$file" ] || { echo "missing from the installation: $file"; exit 1; }
done
if readelf -d "$prefix/lib/libvrqtplatform.so" | grep -q 'libQt'; then
    echo "libvrqtplatform.so links Qt"
    exit 1
fi

for program in "$tree/tests/targets/hostwindow" "$other/tests/targets/hostwindow"; do
    "$prefix/bin/vrqt" tree --timeout 30 -- "$program" >"$scratch/tree.txt" 2>"$scratch/errors.txt" || {
        echo "vrqt tree failed on $program:"
        cat "$scratch/errors.txt"
        exit 1
    }
    grep -q firstButton "$scratch/tree.txt" || { echo "no firstButton in the tree of $program"; exit 1; }
done
echo "install ok"
