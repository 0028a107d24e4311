"""The public header compiles in every language version that callers use, and so do the samples in it and in README.md.

Given the library, README.md's C programs are linked with it and run as well: by the emulator, if it is for another
system.

Usage: samples.py CC CXX PROJECT [LIBRARY [EMULATOR ...]]
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
C_VERSIONS, CXX_VERSIONS = ["c99", "c11"], ["c++11", "c++20"]
# Header samples are bodies of a function that has a signal and returns the last status.
SAMPLE_FRAME = """#include <stdlib.h>
#include "kelvo_audio.h"
int Sample(float* samples, int sample_n);
int Sample(float* samples, int sample_n) {{
  (void)samples;
  (void)sample_n;
{body}
  return status;
}}
"""

cc, cxx, project, library, emulator = sys.argv[1], sys.argv[2], Path(sys.argv[3]), sys.argv[4:5], sys.argv[5:]
faults = []


def run(what, command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        faults.append(f"{what}: {' '.join(command)} gives {done.returncode}\n{done.stdout}")


def check(what, text, compiler, language, version):
    run(f"{what} as {version}", [compiler, "-x", language, f"-std={version}", *WARNINGS, "-I", str(project / "include"),
                                 "-fsyntax-only", "-"], input=text)


def header_samples(text):
    """The runs of comment lines that are indented by five spaces or more."""
    for block in re.findall(r"(?:^ \*(?: {5,}.*)?\n)+", text, re.M):
        body = re.sub(r"^ \*", "", block, flags=re.M)
        if body.strip().endswith(";"):
            yield body


header = (project / "include/kelvo_audio.h").read_text()
for version in C_VERSIONS:
    check("kelvo_audio.h", header, cc, "c", version)
for version in CXX_VERSIONS:
    check("kelvo_audio.h", header, cxx, "c++", version)

samples = list(header_samples(header))
for sample in samples:
    for version in C_VERSIONS:
        check(f"sample in kelvo_audio.h:\n{sample}", SAMPLE_FRAME.format(body=sample), cc, "c", version)

readme = (project / "README.md").read_text()
programs = re.findall(r"^```c\n(.*?)^```", readme, re.M | re.S)
for program in programs:
    for version in C_VERSIONS:
        check("C program in README.md", program, cc, "c", version)
    if library:
        with tempfile.TemporaryDirectory() as folder:
            executable = os.path.join(folder, "program.exe")
            run("C program in README.md", [cc, "-x", "c", "-", "-I", str(project / "include"), "-x", "none", library[0],
                                           f"-Wl,-rpath,{os.path.dirname(library[0])}", "-lm", "-o", executable],
                input=program)
            if not faults:
                # Windows has no run path; Wine takes the folder from this variable.
                run("C program in README.md", [*emulator, executable],
                    env={**os.environ, "WINEPATH": os.path.dirname(library[0])})

if not samples or not programs:
    faults.append(f"found {len(samples)} samples in the header and {len(programs)} C programs in README.md")
print("\n".join(faults) or f"{len(samples)} samples and {len(programs)} programs compile")
sys.exit(bool(faults))
