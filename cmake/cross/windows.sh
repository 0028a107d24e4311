#!/usr/bin/env bash
# Installs what is missing, builds the library for 64-bit Windows and runs its tests under Wine.
# Usage: cmake/cross/windows.sh [CTEST ARGUMENT ...]
set -euo pipefail
cd "$(dirname "$0")/../.."

source cmake/install_missing.sh
install_missing cmake make g++-mingw-w64-x86-64-posix wine64 googletest python3

# A Windows of its own, made before the tests, which run side by side, all want to make it; and no word of its own.
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
mkdir -p build
/usr/lib/wine/wine64 wineboot --init
cmake --preset windows -D Python3_EXECUTABLE=/usr/bin/python3
cmake --build build/windows --parallel "$(nproc)"
ctest --test-dir build/windows --parallel "$(nproc)" --output-on-failure --no-tests=error "$@"
