"""clang-tidy finds nothing in the library, by the checks in .clang-tidy.

Usage: clang_tidy.py RUN_CLANG_TIDY BUILD_DIR SRC
"""
import json
import os
import re
import subprocess
import sys
from pathlib import Path

run_clang_tidy, build_dir, src = sys.argv[1:]
commands = json.loads(Path(build_dir, "compile_commands.json").read_text())
# Kernels once: the levels differ in flags only.
chosen = [
    command
    for command in commands
    if command["file"].startswith(src) and not re.search(r"KELVO_LEVEL=(?!scalar)", command["command"])
]
folder = Path(build_dir, "clang_tidy")
folder.mkdir(exist_ok=True)
(folder / "compile_commands.json").write_text(json.dumps(chosen))
run = subprocess.run(
    [run_clang_tidy, "-quiet", "-j", str(os.cpu_count()), "-p", folder], capture_output=True, text=True)
findings = re.findall(r"^.*(?:warning|error): .*$", re.sub(r"\x1b\[[0-9;]*m", "", run.stdout), re.M)
print("\n".join(sorted(set(findings))) or f"{len(chosen)} files, no finding")
sys.exit(bool(findings) or run.returncode != 0 or not chosen)
