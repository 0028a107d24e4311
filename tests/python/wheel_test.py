"""The wheel: built and installed into an empty environment by the commands of python/README.md without network, what is
in it, and its use there; and where the library is found without it.

Usage: wheel_test.py PROJECT LIBRARY
"""
import email
import os
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

import running

PROJECT, LIBRARY = Path(sys.argv[1]), Path(sys.argv[2])
LARGEST = 1_200_000  # bytes
NEWEST = {"GLIBC": (2, 28), "GLIBCXX": (3, 4, 24), "CXXABI": (1, 3, 11)}  # the policy manylinux_2_28
QUICK = "-D KELVO_AUDIO_MAX_LEVEL=scalar -D CMAKE_CXX_FLAGS_RELEASE=-O0"
OFFLINE = {"PIP_NO_INDEX": "1", "PIP_DISABLE_PIP_VERSION_CHECK": "1"}
PROGRAM = """
import numpy as np
import kelvo_audio as ka
from kelvo_audio._library import library
print(library._name, ka.__version__)
assert ka.mel_spectrogram(np.ones(16000)).shape == (80, 101)
"""
HEADER = (PROJECT / "include/kelvo_audio.h").read_text()
VERSION = ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_\w+ (\d+)$", HEADER, re.M))
CLEAN = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "KELVO_AUDIO_LIBRARY")}


def run(*command, may_skip=False, **environment):
    done = subprocess.run(command, env={**CLEAN, **environment}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, cwd="/")
    if done.returncode not in ([0, running.SKIPPED] if may_skip else [0]):
        sys.exit(f"{' '.join(map(str, command))} gives {done.returncode}\n{done.stdout}")
    return done.stdout.strip()


class Wheel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        section = (PROJECT / "python/README.md").read_text().partition("## Install")[2].partition("\n## ")[0]
        cls.python = cls.folder / "env/bin/python"
        for commands in re.findall(r"^```sh\n(.*?)^```", section, re.M | re.S):
            commands = commands.replace("python3 -m", f"{sys.executable} -m").replace("./python", f"{PROJECT}/python")
            commands = re.sub(r"(?<![\w/.-])(env|dist)\b", rf"{cls.folder}/\1", commands)
            # The first command builds the library, here as quickly as that goes; the wheel takes the one of this build.
            library = {"KELVO_AUDIO_LIBRARY": str(LIBRARY)} if "pip wheel" in commands else {"CMAKE_ARGS": QUICK}
            run("sh", "-e", "-c", commands, **library, **OFFLINE)
        cls.built = run(cls.python, "-c", PROGRAM)
        (cls.wheel,) = (cls.folder / "dist").glob("*.whl")
        run(cls.python, "-m", "pip", "install", "--force-reinstall", "--no-deps", cls.wheel, **OFFLINE)

    def test_tag_and_size(self):
        self.assertEqual(self.wheel.name, f"kelvo_audio-{VERSION}-py3-none-manylinux_2_28_{os.uname().machine}.whl")
        print(self.wheel.stat().st_size, "bytes")
        self.assertLessEqual(self.wheel.stat().st_size, LARGEST)

    def test_library_runs_on_older_systems(self):
        with zipfile.ZipFile(self.wheel) as wheel:
            library = wheel.extract("kelvo_audio/libkelvo_audio.so", self.folder)
        needed = re.findall(r"Name: ([A-Z]+)_([\d.]+)", run("readelf", "--wide", "--version-info", library))
        for name, newest in NEWEST.items():
            versions = [tuple(map(int, version.split("."))) for each, version in needed if each == name]
            print(name, max(versions))
            self.assertLessEqual(max(versions), newest, name)
        self.assertNotIn(".symtab", run("readelf", "--wide", "--sections", library))

    def test_metadata(self):
        with zipfile.ZipFile(self.wheel) as wheel:
            metadata = email.message_from_bytes(wheel.read(f"kelvo_audio-{VERSION}.dist-info/METADATA"))
            files = wheel.namelist()
            licence = wheel.read("kelvo_audio/LICENSE")
        self.assertEqual(licence, (PROJECT / "LICENSE").read_bytes())
        for field in ("Summary", "Author", "License", "Requires-Python", "Classifier", "Provides-Extra"):
            self.assertTrue(metadata[field], field)
        self.assertEqual(metadata["Description-Content-Type"], "text/markdown")
        self.assertEqual(re.findall(r"\]\((?!https?:).*?\)", metadata.get_payload()), [])
        sources = PROJECT / "python"
        package = {path.relative_to(sources).as_posix() for path in sources.rglob("kelvo_audio/**/*.py")}
        self.assertEqual(package - set(files), set())
        self.assertIn("kelvo_audio/py.typed", files)

    def test_use_in_an_empty_environment(self):
        inside = run(self.python, "-c", PROGRAM, KELVO_AUDIO_LIBRARY="/nowhere")  # the wheel's own copy all the same
        for found in (self.built, inside):
            library, version = found.split()
            self.assertEqual(version, VERSION)
            self.assertTrue(library.startswith(f"{self.folder}/env/lib/"), library)
        run(self.python, PROJECT / "tests/python/package_test.py", PROJECT, may_skip=True)

    def test_library_is_found_without_a_wheel(self):
        sources = str(PROJECT / "python")
        for expected, environment in (
            (str(LIBRARY), {"KELVO_AUDIO_LIBRARY": str(LIBRARY)}),
            ("libkelvo_audio.so", {"LD_LIBRARY_PATH": str(LIBRARY.parent)}),
        ):
            found = run(sys.executable, "-c", PROGRAM, PYTHONPATH=sources, **environment)
            self.assertEqual(found, f"{expected} {VERSION}")


if subprocess.run([sys.executable, "-c", "import pip, venv, ensurepip"], capture_output=True).returncode != 0:
    print("pip or venv is missing")
    sys.exit(running.SKIPPED)
unittest.main(argv=sys.argv[:1])
