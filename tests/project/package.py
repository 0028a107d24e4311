"""The library serves other projects: README.md's C program, outside the tree, is built and run in every way there is.

The shared library of the build is installed, and its prefix moved; the static one is built and installed as a part of
the consumer. Each is then used through find_package, pkg-config and bare compiler flags.

Usage: package.py CMAKE CC NM PROJECT BUILD
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

# 440 Hz lie in band 11, the loudest: the program prints what README.md says it computes.
SMALL_PROGRAM_BYTES = 150_000
EXPECTED = r"101 frames, band 11 at -?0\.0 dB\n"

cmake, cc, nm, project, build = sys.argv[1], sys.argv[2], sys.argv[3], Path(sys.argv[4]), sys.argv[5]
header = (project / "include/kelvo_audio.h").read_text()
functions = sorted(re.findall(r"^KELVO_AUDIO_API int (\w+)\(", header, re.M))
version = ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_\w+ (\d+)$", header, re.M))
faults = []


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} gives {done.returncode}\n{done.stdout[-4000:]}")
    return done.stdout


def expect(what, found, expected):
    print(f"{what}: {found if isinstance(found, str) else len(found)}".strip())
    if found != expected:
        faults.append(f"{what}: {found}, not {expected}")


def expect_program(what, path, **options):
    output = run(path, **options)
    print(f"{what}: {output}".strip())
    if not re.fullmatch(EXPECTED, output):
        faults.append(f"{what}: wrong output")


def pkg_config(folder, *arguments):
    return run("pkg-config", *arguments, "kelvo_audio", env={**os.environ, "PKG_CONFIG_PATH": str(folder)}).strip()


def configure(source, target, *settings):
    run(cmake, "-S", source, "-B", target, f"-DCMAKE_C_COMPILER={cc}", *settings)
    return target


def use(kind, prefix, bare_libraries):
    """Builds the program against an installed library in three ways."""
    by_cmake = configure(consumer, folder / f"{kind}-cmake", f"-DCMAKE_PREFIX_PATH={prefix}",
                         f"-DLIBRARY_VERSION={version}")
    run(cmake, "--build", by_cmake)
    expect_program(f"{kind}, find_package", by_cmake / "program")

    libraries = next(prefix.rglob("libkelvo_audio.*")).parent
    environment = {**os.environ, "LD_LIBRARY_PATH": str(libraries)}
    command = [cc, "-std=c99", consumer / "program.c", "-o", folder / "program"]
    run(*command, f"-I{prefix}/include", f"-L{libraries}", "-lkelvo_audio", *bare_libraries)
    expect_program(f"{kind}, bare flags", folder / "program", env=environment)
    if shutil.which("pkg-config"):
        static = ["--static"] if kind == "static" else []
        flags = pkg_config(libraries / "pkgconfig", "--cflags", "--libs", *static)
        run(*command, *flags.split(), "-lm")
        expect_program(f"{kind}, pkg-config", folder / "program", env=environment)
        expect(f"{kind}, version", pkg_config(libraries / "pkgconfig", "--modversion"), version)


def check_small_program(prefix, archive):
    """A program that calls one function holds that function's part of the library, not all of it."""
    (folder / "small.c").write_text("#include <kelvo_audio.h>\n"
                                    "int main(void) { float x = 1.0f; return kelvoAudioLog1p(&x, &x, 1); }\n")
    run(cc, folder / "small.c", "-o", folder / "small", f"-I{prefix}/include", archive, "-Wl,--gc-sections", "-s",
        "-lstdc++", "-lm")
    run(folder / "small")
    size = (folder / "small").stat().st_size
    print(f"static, a program that calls one function: {size} bytes")
    if size > SMALL_PROGRAM_BYTES:
        faults.append(f"a program that calls one function has {size} bytes")


with tempfile.TemporaryDirectory() as temporary:
    folder = Path(temporary)
    consumer = Path(shutil.copytree(project / "tests/consumer", folder / "consumer"))
    program = re.search(r"^```c\n(.*?)^```", (project / "README.md").read_text(), re.M | re.S)[1]
    (consumer / "program.c").write_text(program)

    # Moved after the installation: nothing may point to where the package was made.
    run(cmake, "--install", build, "--prefix", folder / "made")
    use("shared", Path(shutil.move(folder / "made", folder / "moved")), ["-lm"])

    # One level is enough here, and quickly built.
    fetched = configure(consumer, folder / "fetched", f"-DLIBRARY_SOURCE={project}", "-DBUILD_SHARED_LIBS=OFF",
                        "-DKELVO_AUDIO_INSTALL=ON", "-DKELVO_AUDIO_MAX_LEVEL=scalar", "-DCMAKE_BUILD_TYPE=Debug",
                        "-DCMAKE_CXX_FLAGS_DEBUG=-O1")
    run(cmake, "--build", fetched, "--parallel", "2")
    expect_program("static, FetchContent", fetched / "program")
    run(cmake, "--install", fetched, "--prefix", folder / "static")
    (archive,) = (folder / "static").rglob("libkelvo_audio.a")
    symbols = run(nm, "--defined-only", "--extern-only", archive).splitlines()
    expect("static, names to be seen", sorted(line.split()[-1] for line in symbols if " " in line), functions)
    check_small_program(folder / "static", archive)
    use("static", folder / "static", pkg_config(archive.parent / "pkgconfig", "--libs-only-l", "--static").split()[1:]
        if shutil.which("pkg-config") else ["-lstdc++", "-lm"])

    # Folders outside the prefix, as some distributions have them, are named as they are.
    if shutil.which("pkg-config"):
        elsewhere = configure(project, folder / "elsewhere", "-DCMAKE_INSTALL_LIBDIR=/elsewhere/lib",
                              "-DCMAKE_INSTALL_INCLUDEDIR=/elsewhere/include")
        expect("absolute folders", pkg_config(elsewhere, "--cflags", "--libs"),
               "-I/elsewhere/include -L/elsewhere/lib -lkelvo_audio")
print(*faults, sep="\n")
sys.exit(bool(faults))
