"""Where tasks run: in processes of this machine, or on a Dask cluster. Both give rows in the order they are done."""

import multiprocessing
import os
import signal
import threading
from collections import Counter, deque
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import FIRST_COMPLETED, Future, ProcessPoolExecutor, wait
from concurrent.futures.process import BrokenProcessPool
from multiprocessing.connection import wait as wait_for_end
from typing import Any

from .work import Task

Row = dict[str, Any]
AHEAD = 4  # tasks handed out to each worker, so that none waits and few are lost when one dies
ATTEMPTS = 2  # deaths of a worker that was alone with a recording


def _end_with_parent() -> None:
    """A worker whose command was killed would wait for its next task for ever. One that is interrupted with its command
    ends as soon as that does, its task done."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)

    def watch() -> None:
        parent = multiprocessing.parent_process()
        if parent is not None:
            wait_for_end([parent.sentinel])
            os._exit(1)

    threading.Thread(target=watch, daemon=True).start()


def _pool(worker_n: int) -> ProcessPoolExecutor:
    # Fresh interpreters: a fork would copy the locks of the progress bar's thread.
    return ProcessPoolExecutor(worker_n, multiprocessing.get_context("spawn"), _end_with_parent)


def _in_turn(pool: ProcessPoolExecutor, work: Callable[[Task], Row], tasks: deque[Task], ahead: int,
             lost: list[Task]) -> Iterator[Row]:
    """Until no task is left or a worker dies, after which lost holds what was under way."""
    running: dict[Future, Task] = {}
    try:
        while tasks or running:
            while tasks and len(running) < ahead:
                running[pool.submit(work, tasks[0])] = tasks[0]
                tasks.popleft()
            done, _ = wait(running, return_when=FIRST_COMPLETED)
            for future in done:
                row = future.result()
                del running[future]
                yield row
    except BrokenProcessPool:
        for future, task in running.items():
            if future.done() and not future.cancelled() and future.exception() is None:
                yield future.result()
            else:
                lost.append(task)


def local(work: Callable[[Task], Row], tasks: Iterable[Task], worker_n: int | None = None) -> Iterator[Row]:
    """When a worker dies, what was under way is done again by itself: a recording that kills its worker twice is named,
    and the others are not."""
    if worker_n is None:
        worker_n = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1
    waiting, suspects, deaths = deque(tasks), deque[Task](), Counter[str]()
    while waiting or suspects:
        alone, lost = bool(suspects), []
        with _pool(1 if alone else worker_n) as pool:
            yield from _in_turn(pool, work, suspects if alone else waiting, 1 if alone else AHEAD * worker_n, lost)
        for task in lost:
            deaths[task.recording] += alone
            if deaths[task.recording] < ATTEMPTS:
                suspects.append(task)
            else:
                yield {"recording": task.recording, "error": "its worker was killed, or crashed, each time"}


def dask(work: Callable[[Task], Row], tasks: Iterable[Task], address: str) -> Iterator[Row]:
    """Folder and output must have the same paths on all workers. Dask repeats what a dead worker was doing."""
    from distributed import Client, as_completed

    waiting = deque(tasks)
    with Client(address) as client:
        ahead = AHEAD * max(1, sum(client.nthreads().values()))
        names: dict[str, str] = {}

        def submit() -> Future:
            task = waiting.popleft()
            future = client.submit(work, task, pure=False)
            names[future.key] = task.recording
            return future

        running = as_completed([submit() for _ in range(min(ahead, len(waiting)))])
        for future in running:
            recording = names.pop(future.key)
            error = future.exception()
            yield future.result() if error is None else {"recording": recording, "error": f"{error}"}
            future.release()
            if waiting:
                running.add(submit())
