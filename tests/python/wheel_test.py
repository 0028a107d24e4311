"""The wheel: built by one command without network, installed elsewhere, and run; and where the library is found.

Usage: wheel_test.py PROJECT LIBRARY
"""
import os
import subprocess
import sys
import tempfile
from pathlib import Path

PROGRAM = """
import numpy as np
import kelvo_audio as ka
from kelvo_audio._library import library
print(library._name)
assert ka.mel_spectrogram(np.ones(16000)).shape == (80, 101)
"""

project, library = Path(sys.argv[1]), Path(sys.argv[2])
pip = [sys.executable, "-m", "pip", "--disable-pip-version-check", "--quiet", "--no-input"]
clean = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "KELVO_AUDIO_LIBRARY")}


def run(*command, **environment):
    done = subprocess.run(command, env={**clean, **environment}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, cwd="/")
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} gives {done.returncode}\n{done.stdout}")
    return done.stdout.strip()


if subprocess.run([*pip, "--version"], capture_output=True).returncode != 0:
    print("pip is missing")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    run(*pip, "wheel", "--no-index", "--no-deps", "--no-build-isolation", "--wheel-dir", folder, project / "python",
        KELVO_AUDIO_LIBRARY=str(library))
    (wheel,) = Path(folder).glob("*.whl")
    installed = f"{folder}/installed"
    run(*pip, "install", "--no-index", "--no-deps", "--target", installed, wheel)
    inside = f"{installed}/kelvo_audio/libkelvo_audio.so"
    sources, program = str(project / "python"), [sys.executable, "-c", PROGRAM]
    for what, expected, found in (
        ("platform tag", f"-py3-none-linux_{os.uname().machine}.whl", "-" + wheel.name.split("-", 2)[2]),
        ("licence", (project / "LICENSE").read_text(), Path(f"{installed}/kelvo_audio/LICENSE").read_text()),
        # The wheel's own copy, whatever the environment names.
        ("wheel", inside, run(*program, PYTHONPATH=installed, KELVO_AUDIO_LIBRARY="/nowhere")),
        ("variable", str(library), run(*program, PYTHONPATH=sources, KELVO_AUDIO_LIBRARY=str(library))),
        ("loader", "libkelvo_audio.so", run(*program, PYTHONPATH=sources, LD_LIBRARY_PATH=str(library.parent))),
    ):
        if found != expected:
            sys.exit(f"{what}: expected {expected}, found {found}")
    run(sys.executable, project / "tests/python/package_test.py", project, PYTHONPATH=installed)
