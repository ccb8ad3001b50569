#!/bin/bash
# Holds the symbols that the service's library defines for others against the five of its contract.
#
#   exports_test.sh LIBRARY
set -euo pipefail
expected="DllCanUnloadNow DllGetClassObject DllInstall DllRegisterServer DllUnregisterServer"
found=$(nm -D --defined-only "$1" | awk '{print $NF}' | LC_ALL=C sort | paste -sd ' ')
if [[ "$found" != "$expected" ]]; then
    echo "exported: $found" >&2
    echo "expected: $expected" >&2
    exit 1
fi
