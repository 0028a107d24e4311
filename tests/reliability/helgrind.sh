#!/usr/bin/env bash
# Looks for races with valgrind's helgrind: eight threads ask all exports with a cache for the same new tables. The other
# test comes first, since helgrind does not know how compilers guard the construction of static objects.
# Installs what is missing and builds the tests in a separate folder: this build annotates what the atomics order.
# Usage: tests/reliability/helgrind.sh
set -euo pipefail
cd "$(dirname "$0")/../.."

source cmake/install_missing.sh
install_missing g++ cmake make googletest valgrind
cmake -S . -B build/helgrind -D CMAKE_BUILD_TYPE=Release -D KELVO_AUDIO_BUILD_TESTS=ON \
  -D CMAKE_CXX_FLAGS=-DKELVO_FOR_HELGRIND
cmake --build build/helgrind --parallel "$(nproc)" --target kelvo_audio_reliability_tests
# The test program's own operator new stays in use.
valgrind --tool=helgrind --error-exitcode=9 --suppressions=tests/reliability/helgrind.supp \
  --soname-synonyms=somalloc=nouserintercepts build/helgrind/kelvo_audio_reliability_tests \
  --gtest_filter='*HasNoSideEffectsOnceTablesExist*:*SharedTables*'
