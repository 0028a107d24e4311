#!/usr/bin/env bash
# Installs what is missing, builds the library in every configuration that the tests need, and runs all tests.
# Usage: ./test.sh [PRESET ...]     by default all of those below
set -euo pipefail
cd "$(dirname "$0")"

source cmake/install_missing.sh
install_missing g++ clang cmake make libgtest-dev python3

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release asan tsan lowest clang)

for preset in "${presets[@]}"; do
  cmake --preset "$preset"
  cmake --build "build/$preset" --parallel "$(nproc)"
done
failed=0
for preset in "${presets[@]}"; do
  echo "== $preset"
  # Summaries stay short in a green run; a failure shows the test's own output.
  ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --progress || failed=1
done
exit $failed
