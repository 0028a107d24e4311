"""The shared object's binary interface is the one that is stored, and what hardens it is there.

Usage: binary_interface.py LIBRARY PROJECT READELF [ABIDIFF]
       binary_interface.py --store LIBRARY PROJECT     where a change of the interface is meant (needs abidw)
"""
import re
import subprocess
import sys
from pathlib import Path

STORED = "tests/project/kelvo_audio.abi"

if sys.argv[1] == "--store":
    subprocess.run(["abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-elf-needed",
                    "--exported-interfaces-only", "--out-file", Path(sys.argv[3], STORED), sys.argv[2]], check=True)
    sys.exit()

library, project, readelf, abidiff = sys.argv[1], Path(sys.argv[2]), sys.argv[3], sys.argv[4:]
found = subprocess.run([readelf, "--wide", "--program-headers", "--dynamic", "--dyn-syms", library], check=True,
                       capture_output=True, text=True).stdout
faults = [what for what, pattern in {
    "read-only after relocation": r"^ +GNU_RELRO ",
    "bound when it is loaded": r"\(FLAGS(_1)?\) .*\bNOW\b",
    "a stack that cannot be executed": r"^ +GNU_STACK .* RW +0x",
    "checked return addresses": r"UND __stack_chk_fail\b",
}.items() if not re.search(pattern, found, re.M)]
skipped = "NOTFOUND" in "".join(abidiff) or not abidiff
if skipped:
    print("abidiff is missing: the interface was not compared")
else:
    options = ["--no-architecture", "--no-show-locs", "--exported-interfaces-only"]
    compared = subprocess.run([*abidiff, *options, project / STORED, library], capture_output=True, text=True)
    # Bit 4 says that something changed, and bits 1 and 2 that it could not be found out.
    if compared.returncode:
        faults.append(f"abidiff gives {compared.returncode}\n{compared.stdout}{compared.stderr}")
    else:
        print("the interface is the stored one")
print(*(f"missing: {fault}" for fault in faults), sep="\n")
sys.exit(1 if faults else 77 if skipped else 0)  # 77: ctest lists it as skipped
