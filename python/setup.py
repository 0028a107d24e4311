"""Puts the licence and the shared library into the wheel: that of KELVO_AUDIO_LIBRARY, else one that is built for it."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel

PROJECT = Path(__file__).resolve().parent.parent
HEADER = (PROJECT / "include/kelvo_audio.h").read_text()
VERSION = ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", HEADER, re.M))
LIBRARY_NAME = {"win32": "kelvo_audio.dll", "darwin": "libkelvo_audio.dylib"}.get(sys.platform, "libkelvo_audio.so")


def build_library(folder: str) -> Path:
    # The C++ runtime goes into the library, so that the wheel needs nothing but the C library.
    runtime = [] if sys.platform == "darwin" else ["-DCMAKE_SHARED_LINKER_FLAGS=-static-libstdc++ -static-libgcc"]
    subprocess.run(["cmake", "-S", PROJECT, "-B", folder, "-DCMAKE_BUILD_TYPE=Release", *runtime], check=True)
    subprocess.run(["cmake", "--build", folder, "--parallel", str(os.cpu_count()), "--target", "kelvo_audio"],
                   check=True)
    return Path(folder) / LIBRARY_NAME


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        with tempfile.TemporaryDirectory() as folder:
            library = os.environ.get("KELVO_AUDIO_LIBRARY") or build_library(folder)
            package = Path(self.build_lib) / "kelvo_audio"
            shutil.copyfile(library, package / LIBRARY_NAME)
            shutil.copyfile(PROJECT / "LICENSE", package / "LICENSE")


class PlatformWheel(bdist_wheel):
    """The library is called through ctypes: any Python will do, but not any platform."""

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


class PlatformDistribution(Distribution):
    def has_ext_modules(self):
        return True


# What setuptools writes on the way lies outside the source tree.
scratch = tempfile.TemporaryDirectory()
setup(version=VERSION, cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel},
      distclass=PlatformDistribution,
      options={"egg_info": {"egg_base": scratch.name}, "build": {"build_base": scratch.name}})
