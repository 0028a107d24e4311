#!/usr/bin/env bash
# Installs what is missing, builds the library in every configuration that the tests need, and runs all tests.
# Usage: ./test.sh [PRESET ...]     by default all of those below
set -euo pipefail
cd "$(dirname "$0")"

source cmake/install_missing.sh
install_missing g++ clang clang-tidy cppcheck cmake make binutils libgtest-dev pkg-config libsndfile1-dev libcairo2-dev \
  doxygen emscripten chromium abigail-tools dpkg-dev \
  python3 python3-mpmath python3-numpy python3-scipy python3-pip python3-venv python3-matplotlib python3-soundfile \
  python3-tqdm python3-distributed python3-zarr python3-torch python3-hypothesis
install_missing_node
# For the examples in other languages; compilers that are there from elsewhere will do.
install_missing libjna-java mono-mcs mono-runtime
command -v javac >/dev/null || install_missing default-jdk-headless
command -v rustc >/dev/null || install_missing rustc

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release asan tsan clang)

for preset in "${presets[@]}"; do
  echo "== building $preset"
  # The Python that the packages above belong to, even if another one comes first in PATH.
  cmake --preset "$preset" -D Python3_EXECUTABLE=/usr/bin/python3
  cmake --build "build/$preset" --parallel "$(nproc)"
done

# One run over all configurations, so that there is one summary at the end.
printf 'subdirs(%s)\n' "${presets[@]}" >build/CTestTestfile.cmake
echo "== testing ${presets[*]}"
ctest --test-dir build --parallel "$(nproc)" --output-on-failure --no-tests=error
