"""The command: which recordings are to be done, who does them, what is told about it."""

import contextlib
import random
import signal
import sys
import time
from collections.abc import Generator, Iterator
from pathlib import Path

from ..recordings import suffixes
from . import schedulers, work
from .manifest import Manifest
from .work import PARTIAL, Settings, Task


def find_recordings(folder: Path) -> list[str]:
    readable = suffixes()
    return sorted(path.relative_to(folder).as_posix() for path in folder.rglob("*")
                  if path.suffix.lower() in readable and path.is_file())


def is_done(task: Task, manifest: Manifest) -> bool:
    row = manifest.rows.get(task.recording)
    return (row is not None and row["settings"] == task.settings.key() and row["state"] == work.state_of(task.source())
            and task.target().exists())


def remove_partial_results(output: Path) -> None:
    for path in list(output.rglob(f"*{PARTIAL}")):
        work.remove(path)


def prepare_zarr(output: Path, recordings: list[str]) -> None:
    """Groups down to each recording's array, which the workers then put in whole."""
    import zarr

    root = zarr.open_group(str(output), mode="a")
    for folder in sorted({str(Path(recording).parent.as_posix()) for recording in recordings} - {"."}):
        root.require_group(folder)


def until_interrupted(rows: Generator[dict, None, None]) -> Iterator[dict]:
    """The rows, which Control-C ends after the next one. Raised at any moment, it could leave the pool of workers waiting
    for ever for a task that was handed over by half. A second one is raised at once."""
    caught = []

    def note(*_) -> None:
        caught.append(True)
        signal.signal(signal.SIGINT, before)

    before = signal.signal(signal.SIGINT, note)
    try:
        with contextlib.closing(rows):  # which waits for what is under way
            for row in rows:
                yield row
                if caught:
                    raise KeyboardInterrupt
    finally:
        signal.signal(signal.SIGINT, before)


def progress(rows: Iterator[dict], total: int, done: int) -> Iterator[dict]:
    from tqdm import tqdm

    return tqdm(rows, total=total, initial=done, unit="rec", disable=None if sys.stderr.isatty() else False,
                mininterval=0.1 if sys.stderr.isatty() else 10)


def run(folder: Path, output: Path, settings: Settings, *, zarr: bool = False, scheduler: str | None = None,
        worker_n: int | None = None) -> int:
    """Exit code: 0, or 1 when a recording has no features."""
    if not folder.is_dir():
        sys.exit(f"{folder}: no such folder")
    folder, output = folder.resolve(), output.resolve()
    output.mkdir(parents=True, exist_ok=True)
    recordings = find_recordings(folder)
    if zarr:
        prepare_zarr(output, recordings)
    manifest = Manifest(output)
    tasks = [Task(recording, str(folder), str(output), zarr, settings) for recording in recordings]
    left = [task for task in tasks if not is_done(task, manifest)]
    manifest.begin(settings, folder, set(recordings) - {task.recording for task in left})
    start = time.perf_counter()
    rows = (schedulers.dask(work.run, left, scheduler) if scheduler else
            schedulers.local(work.run, left, worker_n))
    failures, computed = [], []
    for row in progress(until_interrupted(rows), len(tasks), len(tasks) - len(left)):
        if "error" in row:
            failures.append(row)
        else:
            manifest.add(row)
            computed.append(row)
    failed = {row["recording"] for row in failures}
    for task in tasks:
        if task.recording in failed:  # what was computed of an earlier state of the recording
            work.remove(task.target())
    manifest.end(set(recordings) - failed)
    remove_partial_results(output)  # of workers that were killed, in this run or in one before
    tell(computed, failures, len(tasks) - len(left), time.perf_counter() - start)
    return 1 if failures else 0


def tell(computed: list[dict], failures: list[dict], kept: int, seconds: float) -> None:
    reading, computing = (sum(row[name] for row in computed) for name in ("read_s", "compute_s"))
    audio = sum(row["sample_n"] / row["sample_rate"] for row in computed)
    print(f"{len(computed)} recordings computed, {audio / 3600:.2f} hours in {seconds:.1f} s; "
          f"{kept} were there before, {len(failures)} failed")
    if computed:
        print(f"reading took {100 * reading / (reading + computing):.0f} % of the workers' time")
    for row in sorted(failures, key=lambda each: each["recording"]):
        print(f"{row['recording']}: {row['error']}", file=sys.stderr)


def verify(output: Path, sample_n: int) -> int:
    """Computes a sample anew and compares it with what is stored and with the manifest. Exit code 1 at a difference."""
    manifest = Manifest(output.resolve())
    if not manifest.rows or not manifest.header:
        sys.exit(f"{output}: no manifest, or an empty one")
    header = manifest.header
    settings = Settings(header["recipe"], header["changed"], header["channel"])
    faults = []
    if settings.key() != header["key"]:
        print(f"computed with version {header['version']}, this is {settings.version}", file=sys.stderr)
    recordings = random.Random(0).sample(sorted(manifest.rows), min(sample_n, len(manifest.rows)))
    for recording in recordings:
        row = manifest.rows[recording]
        task = Task(recording, header["folder"], str(output.resolve()),
                    not Path(output, f"{recording}.npy").exists(), settings)
        try:
            _, anew = work.compute(task)
            stored = work.hash_of(work.load(task))
        except Exception as error:
            faults.append(f"{recording}: {error}")
            continue
        if anew["samples"] != row["samples"]:
            faults.append(f"{recording}: other samples, from a changed recording or another decoder")
        elif anew["features"] != row["features"]:
            faults.append(f"{recording}: other features of the same samples")
        if stored != row["features"]:
            faults.append(f"{recording}: stored features are not those of the manifest")
    print(f"{len(recordings)} of {len(manifest.rows)} recordings computed anew, {len(faults)} differences")
    print(*faults, sep="\n", end="\n" if faults else "", file=sys.stderr)
    return 1 if faults else 0
