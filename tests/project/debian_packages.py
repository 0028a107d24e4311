"""The Debian packages that CPack makes of the build: installed by dpkg into a system of its own, README.md's C program
is compiled against the one and runs with the other.

Usage: debian_packages.py CPACK CC PROJECT BUILD
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

cpack, cc, project, build = sys.argv[1], sys.argv[2], Path(sys.argv[3]), Path(sys.argv[4])
if not all(map(shutil.which, ("dpkg", "dpkg-shlibdeps", "pkg-config"))):
    print("dpkg-dev or pkg-config is missing")
    sys.exit(77)


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} gives {done.returncode}\n{done.stdout}")
    return done.stdout.strip()


def expect(what, found, pattern):
    print(f"{what}: {found}")
    if not re.fullmatch(pattern, found):
        sys.exit(f"{what}: {found}, not {pattern}")


header = (project / "include/kelvo_audio.h").read_text()
version = ".".join(re.findall(r"^#define KELVO_AUDIO_VERSION_\w+ (\d+)$", header, re.M))
program = re.search(r"^```c\n(.*?)^```", (project / "README.md").read_text(), re.M | re.S)[1]
with tempfile.TemporaryDirectory() as temporary:
    folder = Path(temporary)
    run(cpack, "-G", "DEB", "--config", build / "CPackConfig.cmake", "-B", folder)
    library, development = sorted(folder.glob("*.deb"), key=lambda path: "-dev_" in path.name)
    for package, name, depends in ((library, r"libkelvo-audio[\d.]+", r".*libc6 \(>= 2\.\d+\).*libstdc\+\+6 .*"),
                                   (development, "libkelvo-audio-dev", rf"libkelvo-audio[\d.]+ \(= {version}\)")):
        expect("name", run("dpkg-deb", "--field", package, "Package"), name)
        expect("version", run("dpkg-deb", "--field", package, "Version"), re.escape(version))
        expect("depends", run("dpkg-deb", "--field", package, "Depends"), depends)

    root = folder / "root"
    (root / "var/lib/dpkg").mkdir(parents=True)
    for database in ("status", "available"):
        (root / "var/lib/dpkg" / database).touch()
    # The C library of this system stands in for that of the other; a trigger has nobody to run it there.
    run("dpkg", f"--root={root}", "--force-depends", "--force-not-root", "--force-script-chrootless", "--no-triggers",
        "--log=/dev/null", "--install", library, development)
    (shared,) = [path for path in root.rglob("libkelvo_audio.so.*") if not path.is_symlink()]
    # The description finds its prefix from where it lies, so the root comes in without a word about it.
    environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(shared.parent / "pkgconfig")}
    flags = run("pkg-config", "--cflags", "--libs", "kelvo_audio", env=environment)
    (folder / "program.c").write_text(program)
    run(cc, "-std=c99", folder / "program.c", *flags.split(), "-lm", "-o", folder / "program")
    expect("program", run(folder / "program", env={**os.environ, "LD_LIBRARY_PATH": str(shared.parent)}),
           r"101 frames, band 11 at -?0\.0 dB")
    expect("stripped", str(".symtab" in run("readelf", "--wide", "--sections", shared)), "False")
