"""Citations in code and documents have their entry in docs/references.md, links lead to files, and the lists of
functions in README.md and in the tests are complete.

Usage: documents.py PROJECT
"""
import re
import sys
from pathlib import Path

CITATION = re.compile(r"\[((?:[A-Z][\w'. ]+ \d{4}(?:, |(?=\])))+)\]")

project = Path(sys.argv[1])
code = [path for folder in ("include", "src", "examples", "python") for path in (project / folder).rglob("*.*")
        if path.suffix in (".h", ".cpp", ".py")]
documents = [project / "README.md", project / "CONTRIBUTING.md", *(project / "docs").glob("*.md"),
             *(project / "examples").rglob("*.md"), project / "python/README.md"]
# Where a function may be missing without an error of the compiler: the names there, without the prefix.
LISTS = {
    "README.md": r"`kelvoAudio(\w+)`",
    "tests/reliability/calls.cpp": r'Describe\(\s*"\w+", kelvoAudio(\w+)',
    "fuzz/fuzz_calls.cpp": r'"([A-Z]\w+)"',
}
entries = re.findall(r"^- \*\*(.+?)\*\*", (project / "docs/references.md").read_text(), re.M)
faults = [f"docs/references.md: {key} is listed twice" for key in entries if entries.count(key) > 1]

cited = set()
for path in code + documents:
    # A citation may continue on the next comment line.
    text = re.sub(r"\n\s*(?://|\*)?\s*", " ", path.read_text())
    for keys in CITATION.findall(text):
        cited.update(keys.split(", "))
        faults += [f"{path.relative_to(project)}: {key} has no entry" for key in keys.split(", ") if key not in entries]
faults += [f"docs/references.md: {key} is cited nowhere" for key in entries if key not in cited]

for path in documents:
    for target in re.findall(r"\]\(([^)#:]+)\)", path.read_text()):
        if not (path.parent / target).exists():
            faults.append(f"{path.relative_to(project)}: no file {target}")

header = (project / "include/kelvo_audio.h").read_text()
functions = set(re.findall(r"^KELVO_AUDIO_API int kelvoAudio(\w+)\(", header, re.M))
for file, pattern in LISTS.items():
    listed = set(re.findall(pattern, (project / file).read_text()))
    faults += [f"{file}: kelvoAudio{name} is there or in the header, but not in both" for name in functions ^ listed]
print("\n".join(sorted(faults)) or f"{len(entries)} sources, {len(functions)} functions")
sys.exit(bool(faults))
