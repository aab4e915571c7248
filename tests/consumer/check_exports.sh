#!/bin/sh
# The platform library exports exactly the names of its export list, with C
# linkage and under its version; the module exports GetModuleIntf alone.
set -eu
platform=$1 map=$2 module=${3:-}
expected=$(sed -n '/global:/,/local:/p' "$map" | grep -v -e 'global:' -e 'local:' | tr -d ' ;' | sort)
actual=$(nm -D --defined-only "$platform" | awk '$3 !~ /^VRQT_/ {print $3}' | sed 's/@.*//' | sort)
if [ "$expected" != "$actual" ]; then
    echo "platform exports differ from the list:"
    printf '%s\n' "$expected" > expected.txt
    printf '%s\n' "$actual" > actual.txt
    diff expected.txt actual.txt || true
    exit 1
fi
versions=$(nm -D --defined-only "$platform" | awk '$3 !~ /^VRQT_/ {print $3}' | grep -c '@@VRQT_PLATFORM_1.0$' || true)
[ "$versions" -eq "$(printf '%s\n' "$expected" | wc -l)" ] || { echo "unversioned platform exports"; exit 1; }
if [ -n "$module" ]; then
    exports=$(nm -D --defined-only "$module" | awk '$3 !~ /^VRQT_/ {print $3}' | sed 's/@.*//')
    [ "$exports" = "GetModuleIntf" ] || { echo "module exports: $exports"; exit 1; }
fi
echo "exports ok"
