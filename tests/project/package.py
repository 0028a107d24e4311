"""The installed package serves CMake projects and pkg-config: README.md's C program builds with either, and runs.

Usage: package.py CMAKE CC PROJECT BUILD
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CONSUMER = """cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C)
find_package(kelvo_audio 1.0 REQUIRED)
add_executable(program program.c)
target_link_libraries(program PRIVATE kelvo_audio::kelvo_audio $<$<PLATFORM_ID:Linux>:m>)
"""


def run(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} gives {done.returncode}\n{done.stdout}")
    return done.stdout


cmake, cc, project, build = sys.argv[1], sys.argv[2], Path(sys.argv[3]), sys.argv[4]
with tempfile.TemporaryDirectory() as folder:
    # Moved after the installation: nothing may point to where the package was made.
    run(cmake, "--install", build, "--prefix", f"{folder}/made")
    prefix, consumer = shutil.move(f"{folder}/made", f"{folder}/moved"), Path(folder) / "consumer"
    consumer.mkdir()
    (consumer / "CMakeLists.txt").write_text(CONSUMER)
    program = re.search(r"^```c\n(.*?)^```", (project / "README.md").read_text(), re.M | re.S)[1]
    (consumer / "program.c").write_text(program)
    run(cmake, "-S", consumer, "-B", consumer / "build", f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_C_COMPILER={cc}")
    run(cmake, "--build", consumer / "build")
    outputs = [run(consumer / "build/program")]

    if shutil.which("pkg-config"):
        (library,) = Path(prefix).rglob("kelvo_audio.pc")
        environment = {**os.environ, "PKG_CONFIG_PATH": library.parent, "LD_LIBRARY_PATH": library.parent.parent}
        flags = run("pkg-config", "--cflags", "--libs", "kelvo_audio", env=environment)
        run(cc, consumer / "program.c", *flags.split(), "-lm", "-o", f"{folder}/program")
        outputs.append(run(f"{folder}/program", env=environment))
print(*outputs, sep="")
# 440 Hz lie in band 11, the loudest: the program prints what README.md says it computes.
sys.exit(any(not re.fullmatch(r"101 frames, band 11 at -?0\.0 dB\n", output) for output in outputs))
