"""The work on one recording: read, resample, compute, store. It runs in worker processes and on other machines."""

import hashlib
import json
import os
import secrets
import shutil
import time
from dataclasses import asdict, dataclass, field
from pathlib import Path
from typing import Any

import numpy as np

from .. import __version__
from .._checks import Floats
from ..recipes import find
from ..recordings import at_rate, read

PARTIAL = ".partial"  # suffix of what is being written


@dataclass(frozen=True)
class Settings:
    """All that decides the bits of a result, beside the recording."""

    recipe: str
    changed: dict[str, Any] = field(default_factory=dict)  # settings of the recipe that differ
    channel: str = "mean"
    version: str = __version__

    def key(self) -> str:
        return hashlib.sha256(json.dumps(asdict(self), sort_keys=True).encode()).hexdigest()[:16]


@dataclass(frozen=True)
class Task:
    recording: str  # relative to the folder, with slashes
    folder: str
    output: str
    zarr: bool
    settings: Settings

    def source(self) -> Path:
        return Path(self.folder, self.recording)

    def target(self) -> Path:
        return Path(self.output, self.recording if self.zarr else f"{self.recording}.npy")


def hash_of(array: np.ndarray) -> str:
    """Of the values, little-endian, and the shape."""
    digest = hashlib.sha256(repr(array.shape).encode())
    digest.update(np.ascontiguousarray(array, array.dtype.newbyteorder("<")))
    return digest.hexdigest()


def state_of(path: Path) -> list[int]:
    """What changes when a recording does."""
    state = path.stat()
    return [state.st_size, state.st_mtime_ns]


def compute(task: Task) -> tuple[Floats, dict[str, Any]]:
    """Features, and their row of the manifest."""
    state = state_of(task.source())
    start = time.perf_counter()
    signal, rate = read(task.source(), task.settings.channel)
    read_at = time.perf_counter()
    recipe = find(task.settings.recipe)
    features = recipe.compute(at_rate(signal, rate, recipe.sample_rate), **task.settings.changed)
    end = time.perf_counter()
    return features, {
        "recording": task.recording, "state": state, "settings": task.settings.key(), "version": __version__,
        "shape": list(features.shape), "samples": hash_of(signal), "features": hash_of(features),
        "sample_rate": rate, "sample_n": signal.size, "read_s": read_at - start, "compute_s": end - read_at,
    }


def _write_npy(path: Path, features: Floats) -> None:
    with open(path, "wb") as file:
        np.save(file, features)


def _write_zarr(path: Path, features: Floats) -> None:
    import zarr

    # One chunk, which is what a training step reads; a chunk cannot be empty.
    chunks = tuple(max(1, length) for length in features.shape)
    array = zarr.open_array(str(path), mode="w", shape=features.shape, chunks=chunks, dtype="<f4")
    array[...] = features


def remove(path: Path) -> None:
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


def store(task: Task, features: Floats) -> None:
    """Writes beside the target and renames: whoever looks sees a whole result, the old one or none."""
    target = task.target()
    target.parent.mkdir(parents=True, exist_ok=True)
    # Not by process id, which workers of two machines may share.
    partial, replaced = (target.with_name(f"{target.name}.{secrets.token_hex(8)}{PARTIAL}") for _ in range(2))
    try:
        (_write_zarr if task.zarr else _write_npy)(partial, features)
        if target.is_dir():  # which no rename replaces
            os.replace(target, replaced)
        os.replace(partial, target)
    finally:
        remove(partial)
        remove(replaced)


def load(task: Task) -> Floats:
    if task.zarr:
        import zarr

        return zarr.open_array(str(task.target()), mode="r")[...]
    return np.load(task.target())


def run(task: Task) -> dict[str, Any]:
    """The row of a recording whose features are stored, or the reason why there are none."""
    try:
        if task.settings.version != __version__:
            raise ValueError(f"a worker has version {__version__} of kelvo_audio, not {task.settings.version}")
        features, row = compute(task)
        store(task, features)
        return row
    except Exception as error:  # whatever a decoder thinks of: one recording never stops the others
        return {"recording": task.recording, "error": f"{type(error).__name__}: {error}".replace("\n", " ")}
