"""Includes follow the layers of src/, and kernels keep out of the C++ standard library.

Usage: layers.py SRC
"""
import re
import sys
from pathlib import Path

# Each folder may include itself and those before it. filter may include api and what is below it.
ORDER = ["simd", "math", "base", "api", "fft", "stft", "mel"]
BELOW_FILTER = {"simd", "math", "base", "api", "filter"}
# An inline function of any other header, left in an object of a high CPU level, would be a weak symbol, and the linker
# may give that copy to the whole library.
KERNELS_MAY_INCLUDE = {"cstddef", "immintrin.h", "arm_neon.h", "wasm_simd128.h"}
PUBLIC_HEADER = "kelvo_audio.h"

src = Path(sys.argv[1])
files = {str(path.relative_to(src)): path.read_text() for path in src.rglob("*") if path.suffix in (".h", ".cpp")}
includes = {name: re.findall(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', text, re.M) for name, text in files.items()}
faults = []


def may_include(folder, included):
    if folder == "filter":
        return included.split("/")[0] in BELOW_FILTER
    return included.split("/")[0] in ORDER[: ORDER.index(folder) + 1]


def is_boundary(name):
    return Path(name).name == "exports.cpp" or Path(name).stem == "export_frame"


for name, named in includes.items():
    for quote, included in named:
        if included == PUBLIC_HEADER:
            if not is_boundary(name):
                faults.append(f"{name}: only the exports and their frame include {PUBLIC_HEADER}")
        elif quote == '"' and included not in files:
            faults.append(f'{name}: "{included}" is no path from src/')
        elif quote == '"' and not may_include(name.split("/")[0], included):
            faults.append(f"{name}: may not include {included}")

for kernel in (name for name in files if name.endswith("_kernels.cpp")):
    reached, pending = set(), [kernel]
    while pending:
        name = pending.pop()
        reached.add(name)
        for quote, included in includes.get(name, []):
            if quote == "<" and included not in KERNELS_MAY_INCLUDE:
                faults.append(f"{kernel}: reaches <{included}> through {name}")
            elif quote == '"' and included not in reached:
                pending.append(included)

print("\n".join(sorted(faults)) or f"{len(files)} files follow the layers")
sys.exit(bool(faults) or not files)
