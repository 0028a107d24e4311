"""Puts the licence and the shared library into the wheel: that of KELVO_AUDIO_LIBRARY, else one that is built for it.

KELVO_AUDIO_WHEEL_PLATFORM is the platform's tag where the library is for another system than this one. CMAKE_ARGS has
options for CMake where the library is built.
"""

import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution

try:
    from setuptools.command.bdist_wheel import bdist_wheel
except ImportError:  # setuptools before 70.1
    from wheel.bdist_wheel import bdist_wheel

PYTHON = Path(__file__).resolve().parent
PROJECT = PYTHON.parent
HEADER = (PROJECT / "include/kelvo_audio.h").read_text()
VERSION = ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", HEADER, re.M))
# Links lead to files of the source tree, which the wheel's metadata has not.
README = re.sub(r"\[([^]]+)\]\((?!https?:)[^)]+\)", r"\1", (PYTHON / "README.md").read_text())
# By the suffix of the library given, else by the system that the wheel is built on.
LIBRARY_NAMES = {".dll": "kelvo_audio.dll", ".dylib": "libkelvo_audio.dylib"}
SUFFIX = {"win32": ".dll", "darwin": ".dylib"}.get(sys.platform, ".so")
# What the policy manylinux_2_28 finds on every system that it names.
MANYLINUX = {"GLIBC": (2, 28), "GLIBCXX": (3, 4, 24), "CXXABI": (1, 3, 11), "GCC": (8, 0, 0)}


def build_library(folder: Path) -> Path:
    subprocess.run(["cmake", "-S", PROJECT, "-B", folder / "build", "-DCMAKE_BUILD_TYPE=Release",
                    *shlex.split(os.environ.get("CMAKE_ARGS", ""))], check=True)
    subprocess.run(["cmake", "--build", folder / "build", "--parallel", str(os.cpu_count()), "--target", "kelvo_audio"],
                   check=True)
    return folder / "build" / LIBRARY_NAMES.get(SUFFIX, "libkelvo_audio.so")


def needs_at_most_manylinux(library: Path) -> bool:
    versions = subprocess.run(["readelf", "--version-info", library], check=True, capture_output=True, text=True).stdout
    return all(tuple(map(int, version.split("."))) <= MANYLINUX[name]
               for name, version in re.findall(r"Name: (GLIBC|GLIBCXX|CXXABI|GCC)_([\d.]+)", versions))


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        with tempfile.TemporaryDirectory() as folder:
            library = Path(os.environ.get("KELVO_AUDIO_LIBRARY") or build_library(Path(folder)))
            packed = Path(self.build_lib) / "kelvo_audio" / LIBRARY_NAMES.get(library.suffix, "libkelvo_audio.so")
            shutil.copyfile(library, packed)
        shutil.copyfile(PROJECT / "LICENSE", packed.with_name("LICENSE"))
        asked = os.environ.get("KELVO_AUDIO_WHEEL_PLATFORM", "")
        if sys.platform == "linux" and not asked:
            subprocess.run(["strip", "--strip-unneeded", packed], check=True)
        if sys.platform == "linux" and (not asked or asked.startswith("manylinux_2_28")):
            PlatformWheel.manylinux = needs_at_most_manylinux(packed)
            if asked and not PlatformWheel.manylinux:
                raise SystemExit(f"{library} needs newer libraries than {asked} promises")


class PlatformWheel(bdist_wheel):
    """The library is called through ctypes: any Python will do, but not any platform."""

    manylinux = False

    def get_tag(self):
        own = super().get_tag()[2]
        tag = own.replace("linux_", "manylinux_2_28_", 1) if self.manylinux else own
        return "py3", "none", os.environ.get("KELVO_AUDIO_WHEEL_PLATFORM", tag)


class PlatformDistribution(Distribution):
    def has_ext_modules(self):
        return True


# What setuptools writes on the way lies outside the source tree.
scratch = tempfile.TemporaryDirectory()
setup(version=VERSION, long_description=README, long_description_content_type="text/markdown",
      cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel}, distclass=PlatformDistribution,
      options={"egg_info": {"egg_base": scratch.name}, "build": {"build_base": scratch.name}})
