"""The constants of the elementary functions are those that their script prints.

Usage: math_tables.py PROJECT
"""
import importlib.util
import subprocess
import sys
from pathlib import Path

if importlib.util.find_spec("mpmath") is None:
    print("skipped: mpmath is missing")
    sys.exit(77)
folder = Path(sys.argv[1]) / "src/math"
printed = subprocess.run([sys.executable, folder / "make_tables.py"], check=True, capture_output=True, text=True).stdout
if printed != (folder / "tables.h").read_text():
    sys.exit("src/math/tables.h is not what src/math/make_tables.py prints")
