#!/usr/bin/env bash
# Installs what is missing, builds the library for 64-bit ARM Linux and runs its tests under user-mode emulation.
# Usage: cmake/cross/aarch64.sh [CTEST ARGUMENT ...]
set -euo pipefail
cd "$(dirname "$0")/../.."

source cmake/install_missing.sh
install_missing cmake make g++-aarch64-linux-gnu qemu-user googletest python3

# The Python that the packages above belong to, whatever other one comes first in the path.
cmake --preset aarch64 -D Python3_EXECUTABLE=/usr/bin/python3
cmake --build build/aarch64 --parallel "$(nproc)"
# The longest transforms take a quarter of an hour in emulation.
ctest --test-dir build/aarch64 --parallel "$(nproc)" --timeout 7200 --output-on-failure --no-tests=error "$@"
