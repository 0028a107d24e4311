"""The manifest: a line of JSON for each finished recording, and one for the settings before them.

Lines are appended as results come in, so that a run that is killed has lost at most the line it was writing; a complete
run leaves them sorted.
"""

import json
import os
import secrets
from dataclasses import asdict
from pathlib import Path
from typing import Any

from .work import PARTIAL, Settings

NAME = "manifest.jsonl"


# What is read of a row, and of the line for the settings.
ROW = {"recording": str, "state": list, "settings": str, "samples": str, "features": str}
HEADER = {"folder": str, "key": str, "recipe": str, "changed": dict, "channel": str, "version": str}


def _checked(line: bytes) -> dict[str, Any] | None:
    try:
        row = json.loads(line)
    except (ValueError, RecursionError):
        return None
    types = ROW if isinstance(row, dict) and "recording" in row else HEADER
    is_whole = isinstance(row, dict) and all(isinstance(row.get(name), kind) for name, kind in types.items())
    return row if is_whole else None


class Manifest:
    def __init__(self, output: Path):
        self.path = output / NAME
        self.header: dict[str, Any] = {}
        self.rows: dict[str, dict[str, Any]] = {}
        whole = self.path.read_bytes().rpartition(b"\n")[0] if self.path.exists() else b""
        for number, line in enumerate(whole.splitlines(), 1):
            row = _checked(line)
            if row is None:
                raise ValueError(f"{self.path}: line {number} is damaged; without the file all is computed anew")
            if "recording" in row:
                self.rows[row["recording"]] = row
            else:
                self.header = row

    def begin(self, settings: Settings, source: Path, done: set[str]) -> None:
        """Rewrites the file, which ends in half a line where a run was killed.

        Rows of what is to be computed anew go first: killed between a result and its row, the run would leave a new
        result with the old row, which a later run with the old settings would take for its own.
        """
        self.rows = {recording: row for recording, row in self.rows.items() if recording in done}
        self.header = {"folder": str(source), "key": settings.key(), **asdict(settings)}
        self._rewrite()
        self.file = open(self.path, "a", encoding="utf-8")

    def add(self, row: dict[str, Any]) -> None:
        self.rows[row["recording"]] = row
        self.file.write(json.dumps(row) + "\n")
        self.file.flush()

    def end(self, present: set[str]) -> None:
        self.file.close()
        self.rows = {recording: row for recording, row in self.rows.items() if recording in present}
        self._rewrite()

    def _rewrite(self) -> None:
        # A name that nothing has: a link of a known name would be followed.
        partial = self.path.with_name(f"{NAME}.{secrets.token_hex(8)}{PARTIAL}")
        rows = [self.header, *(self.rows[recording] for recording in sorted(self.rows))]
        with open(partial, "x", encoding="utf-8") as file:
            file.writelines(json.dumps(row) + "\n" for row in rows)
            file.flush()
            os.fsync(file.fileno())
        os.replace(partial, self.path)
