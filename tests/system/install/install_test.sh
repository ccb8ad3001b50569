#!/bin/bash
# Installs the build, moves the installed tree, builds the smallest host against it both ways and runs it.
#
#   install_test.sh BUILD_DIR SOURCE_DIR CXX
set -euo pipefail
build=$1
source=$2
compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# A server list, though nobody listens there: without any, the service's last step waits for one to be chosen.
mkdir -p "$work/home" "$work/common"
printf '[LUMIVale]\nLUMIValeURL=http://127.0.0.1:1/\n' >"$work/LUMIVale.ini"

# Runs a built host and holds what it says against what it must say.
expect_whole_life() {
    local said
    said=$(LUMIVALE_HOME=$work/home LUMIVALE_COMMON_DATA=$work/common "$1") || fail "$1 ended with $?"
    [[ "$said" == $'created, 5 units\nstatus 1: 0\nstatus 4: 0\nstatus 5: 0' ]] || fail "$1 said: $said"
}

cmake --install "$build" --prefix "$work/installed" >"$work/install.log" || fail "$(cat "$work/install.log")"
prefix=$work/moved
mv "$work/installed" "$prefix"

for file in bin/lumivale-host bin/lumivale-refserver include/qvant/component.h include/qvant/lumivale.h \
    include/qvant/store.h include/qvant/database.h include/qvant/named_event.h share/qvlumivale/sample/world share/qvlumivale/sample/home; do
    [[ -e "$prefix/$file" ]] || fail "$file isn't installed"
done

cmake -S "$source/tests/system/install/embedded_host" -B "$work/by-package" -G Ninja \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log" ||
    fail "$(cat "$work/configure.log")"
cmake --build "$work/by-package" >"$work/build.log" || fail "$(cat "$work/build.log")"
expect_whole_life "$work/by-package/embedded_host"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name qvlumivale.pc)")
export PKG_CONFIG_PATH
moduledir=$(pkg-config --variable=moduledir qvlumivale)
# shellcheck disable=SC2046  # the flags are words of their own
"$compiler" -std=c++17 -DLUMIVALE_MODULE="\"$moduledir/libQVLumivale.so\"" \
    "$source/tests/system/install/embedded_host/main.cpp" -o "$work/by-pkg-config" \
    $(pkg-config --cflags --libs qvlumivale) -Wl,-rpath,"$moduledir"
expect_whole_life "$work/by-pkg-config"

said=$(echo '{"do":"tables","id":"all"}' |
    "$prefix/bin/lumivale-host" --json --home "$work/home" --common-data "$work/common") ||
    fail "the installed host ended with $?"
[[ "$said" == *'"STORAGE"'* ]] || fail "the installed host said: $said"
"$prefix/bin/lumivale-refserver" --help >/dev/null || fail "the installed server has no help"
