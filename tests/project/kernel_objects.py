"""Kernel objects of a release hold no weak symbol and, but for the resampler's, no fused multiply-add.

A weak symbol of a high CPU level could be linked into the code of all levels and crash an older CPU; a fused
multiply-add rounds once where the others round twice, so results would depend on the CPU. The resampler tests each of
its fused sums for having the result of the others.

Usage: kernel_objects.py NM OBJDUMP OBJECT ...
"""
import re
import subprocess
import sys
from pathlib import Path

FUSED = re.compile(r"\t(vfn?m(?:add|sub|addsub|subadd)\d*\w*|fn?m(?:add|sub)|fml[as])\b")

nm, objdump, *objects = sys.argv[1:]
faults = []
for path in objects:
    # The folder above tells the level.
    where = "/".join(Path(path).parts[-4:])
    for line in subprocess.run([nm, path], check=True, capture_output=True, text=True).stdout.splitlines():
        *_, kind, name = line.split()
        if kind in "WVu":
            faults.append(f"{where}: weak symbol {name}")
    disassemble = [objdump, "--disassemble", "--no-show-raw-insn", path]
    code = subprocess.run(disassemble, check=True, capture_output=True, text=True).stdout
    if "resample_kernels" in where:
        continue
    faults += [f"{where}: fused multiply-add {found}" for found in sorted(set(FUSED.findall(code)))]
print("\n".join(faults) or f"{len(objects)} kernel objects are clean")
sys.exit(bool(faults) or not objects)
