"""The shared object exports the functions of the header and nothing else.

Usage: exported_symbols.py NM LIBRARY PROJECT
"""
import re
import subprocess
import sys
from pathlib import Path


def defined_symbols(nm, library, *options):
    lines = subprocess.run([nm, "--defined-only", *options, library], check=True, capture_output=True, text=True).stdout
    for line in lines.splitlines():
        *_, kind, name = line.split()
        yield kind, name.split("@")[0]


nm, library, project = sys.argv[1], sys.argv[2], Path(sys.argv[3])
exported = {name for _, name in defined_symbols(nm, library, "--dynamic")}
declared = set(re.findall(r"^KELVO_AUDIO_API int (\w+)\(", (project / "include/kelvo_audio.h").read_text(), re.M))

faults = [f"{name}: exported, but not in the header" for name in exported - declared]
faults += [f"{name}: in the header, but not exported" for name in declared - exported]
# A unique symbol pins the library in memory: dlclose would never unload it.
for options in ([], ["--dynamic"]):
    faults += [f"{name}: a unique symbol" for kind, name in defined_symbols(nm, library, *options) if kind == "u"]
print("\n".join(sorted(faults)) or f"{len(exported)} functions exported")
sys.exit(bool(faults))
