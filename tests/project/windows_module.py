"""The DLL exports the functions of the header and nothing else, and imports only from libraries that every Windows has.

Usage: windows_module.py OBJDUMP DLL PROJECT
"""
import re
import subprocess
import sys
from pathlib import Path

SYSTEM = {"kernel32.dll", "msvcrt.dll", "ucrtbase.dll"}

objdump, dll, project = sys.argv[1], sys.argv[2], Path(sys.argv[3])
headers = subprocess.run([objdump, "--private-headers", dll], check=True, capture_output=True, text=True).stdout
table = headers[headers.index("[Ordinal/Name Pointer] Table"):]
exported = re.findall(r"^\t\[ *\d+\] (\S+)$", table, re.M)
declared = re.findall(r"^KELVO_AUDIO_API int (\w+)\(", (project / "include/kelvo_audio.h").read_text(), re.M)
imported = re.findall(r"DLL Name: (\S+)", headers)

faults = [f"{name}: in the header or exported, but not both" for name in sorted({*exported} ^ {*declared})]
faults += [f"{name}: needed, but not part of the system" for name in imported if name.lower() not in SYSTEM]
print("\n".join(faults) or f"{len(exported)} functions exported, needs {', '.join(imported)}")
sys.exit(bool(faults) or not imported)
