"""Citations in code and documents have their entry in docs/references.md, links lead to files, and README.md lists the
header's functions.

Usage: documents.py PROJECT
"""
import re
import sys
from pathlib import Path

CITATION = re.compile(r"\[((?:[A-Z][\w'. ]+ \d{4}(?:, |(?=\])))+)\]")

project = Path(sys.argv[1])
code = [path for folder in ("include", "src", "examples", "python") for path in (project / folder).rglob("*.*")
        if path.suffix in (".h", ".cpp", ".py")]
documents = [project / "README.md", *(project / "docs").glob("*.md"), *(project / "examples").rglob("*.md"),
             project / "python/README.md"]
entries = re.findall(r"^- \*\*(.+?)\*\*", (project / "docs/references.md").read_text(), re.M)
faults = [f"docs/references.md: {key} stands twice" for key in entries if entries.count(key) > 1]

cited = set()
for path in code + documents:
    # A citation may be broken over two comment lines.
    text = re.sub(r"\n\s*(?://|\*)?\s*", " ", path.read_text())
    for keys in CITATION.findall(text):
        cited.update(keys.split(", "))
        faults += [f"{path.relative_to(project)}: {key} has no entry" for key in keys.split(", ") if key not in entries]
faults += [f"docs/references.md: {key} is cited nowhere" for key in entries if key not in cited]

for path in documents:
    for target in re.findall(r"\]\(([^)#:]+)\)", path.read_text()):
        if not (path.parent / target).exists():
            faults.append(f"{path.relative_to(project)}: no file {target}")

functions = set(re.findall(r"^KELVO_AUDIO_API int (\w+)\(", (project / "include/kelvo_audio.h").read_text(), re.M))
table = re.findall(r"`(kelvoAudio\w+)`", (project / "README.md").read_text())
faults += [f"README.md: {name} is in its table or the header, but not in both" for name in functions ^ set(table)]
print("\n".join(sorted(faults)) or f"{len(entries)} sources, {len(functions)} functions")
sys.exit(bool(faults))
