"""docs/filters.md: the signal-to-noise ratios that its table gives, against the filters in double precision.

Usage: filters_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import re
import sys
import unittest
from pathlib import Path

import numpy as np

PROJECT = Path(sys.argv[1])
sys.path.insert(0, str(PROJECT / "tests/golden"))
import kelvo_audio as ka  # noqa: E402
from signals import sweep  # noqa: E402

PAGE = (PROJECT / "docs/filters.md").read_text()
ROWS = re.findall(r"^\| `(butter\(.*\))` \| (\S+)(?: dB)? \| (\S+) dB \|$", PAGE, re.M)
COEFFICIENTS = np.load(PROJECT / "tests/golden/filters.npz")


def filtered_in_double(sections, signal):
    for b0, b1, b2, _, a1, a2 in sections.tolist():
        z1 = z2 = 0.0
        output = []
        for x in signal:
            y = b0 * x + z1
            z1, z2 = b1 * x + z2 - a1 * y, b2 * x - a2 * y
            output.append(y)
        signal = output
    return np.array(signal)


def snr_db(exact, computed):
    with np.errstate(all="ignore"):
        return 20 * np.log10(np.linalg.norm(exact) / np.linalg.norm(exact - computed))


class Filters(unittest.TestCase):
    def test_table(self):
        self.assertEqual(2 * len(ROWS), len(COEFFICIENTS.files))
        signal = sweep(16000)
        for design, polynomials_db, sections_db in ROWS:
            with self.subTest(design):
                (b, a), sections = COEFFICIENTS[f"ba {design}"], COEFFICIENTS[f"sos {design}"]
                exact = filtered_in_double(sections, signal.tolist())
                measured = snr_db(exact, ka.lfilter(b, a, signal)), snr_db(exact, ka.sosfilt(sections, signal))
                print(design, *measured)
                # NaN stands for a filter that leaves the range of floats.
                np.testing.assert_allclose(measured, (float(polynomials_db), float(sections_db)), atol=0.6)


unittest.main(argv=sys.argv[:1])
