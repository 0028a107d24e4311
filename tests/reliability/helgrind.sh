#!/usr/bin/env bash
# Looks for races with valgrind's helgrind: eight threads ask all exports with a cache for the same new tables. The other
# test comes first, since helgrind does not know how compilers guard the construction of static objects.
# Usage: tests/reliability/helgrind.sh [BUILD]     build/release by default
set -euo pipefail
cd "$(dirname "$0")/../.."
# The test program's own operator new stays in use.
valgrind --tool=helgrind --error-exitcode=9 --suppressions=tests/reliability/helgrind.supp \
  --soname-synonyms=somalloc=nouserintercepts "${1:-build/release}/kelvo_audio_reliability_tests" \
  --gtest_filter='*LeavesNoTraceOnceTablesExist*:*SharedTables*'
