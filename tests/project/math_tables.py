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
project = Path(sys.argv[1])
printed = subprocess.run([sys.executable, project / "tools/make_math_tables.py"], check=True, capture_output=True,
                         text=True).stdout
if printed != (project / "src/math/tables.h").read_text():
    sys.exit("src/math/tables.h is not what tools/make_math_tables.py prints")
