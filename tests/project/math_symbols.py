"""No object of the library imports a function of the C math library, whose last bits differ between platforms.

Usage: math_symbols.py NM OBJECT ...
"""
import subprocess
import sys
from pathlib import Path

NAMES = """acos acosh asin asinh atan atan2 atanh cbrt ceil copysign cos cosh erf erfc exp exp10 exp2 expm1 fabs fdim floor
fma fmax fmin fmod frexp hypot ilogb ldexp lgamma llrint llround log log10 log1p log2 logb lrint lround modf nan nearbyint
nextafter nexttoward pow remainder remquo rint round roundeven scalbln scalbn sin sincos sinh sqrt tan tanh tgamma
trunc""".split()
FORBIDDEN = {prefix + name + suffix for name in NAMES for prefix in ("", "__") for suffix in ("", "f", "l", "_finite", "f_finite")}

nm, *objects = sys.argv[1:]
faults = []
for path in objects:
    listed = subprocess.run([nm, "--undefined-only", path], check=True, capture_output=True, text=True).stdout
    for line in listed.splitlines():
        name = line.split()[-1].split("@")[0]
        if name in FORBIDDEN:
            faults.append(f"{'/'.join(Path(path).parts[-4:])}: imports {name}")
print("\n".join(faults) or f"{len(objects)} objects need no C math library")
sys.exit(bool(faults) or not objects)
