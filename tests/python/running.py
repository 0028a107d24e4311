"""Runs the tests of the file that calls it. What could not run is told by the exit code too, not only in the output."""
import sys
import unittest

SKIPPED = 77  # which ctest lists as skipped


def main(**options):
    result = unittest.main(module="__main__", argv=sys.argv[:1], exit=False, **options).result
    for test, reason in result.skipped:
        print(f"skipped: {test}: {reason}", file=sys.stderr)
    sys.exit(not result.wasSuccessful() or (SKIPPED if result.skipped else 0))
