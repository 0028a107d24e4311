"""Features of a folder of recordings: the same bits whoever computes them, nothing lost or half written whoever dies.

Usage: corpus_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import dataclasses
import importlib.util
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock
from pathlib import Path

import numpy as np
import running

RECORDINGS = 500
BAD = ["broken.wav", "empty.wav"]


def has(*modules):
    return all(importlib.util.find_spec(module) for module in modules)


def corpus(*arguments):
    done = subprocess.run([sys.executable, "-m", "kelvo_audio", "corpus", *map(str, arguments)], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    return done.returncode, done.stdout, done.stderr


def start(*arguments):
    return subprocess.Popen([sys.executable, "-m", "kelvo_audio", "corpus", *map(str, arguments)],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)


def rows(output):
    whole = (output / "manifest.jsonl").read_text().rpartition("\n")[0]
    return {row["recording"]: row for row in map(json.loads, whole.splitlines()[1:])}


def wait_for_rows(process, output, number):
    while process.poll() is None and (not (output / "manifest.jsonl").exists() or len(rows(output)) < number):
        time.sleep(0.002)


def workers_of(parent, words):
    """Process ids of the children, and theirs, whose command holds the words."""
    found, children = [], {}
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            children.setdefault(int(stat.read_text().rpartition(")")[2].split()[1]), []).append(int(stat.parent.name))
        except OSError:  # it has ended meanwhile
            pass
    waiting = [parent]
    while waiting:
        for child in children.get(waiting.pop(), []):
            waiting.append(child)
            try:
                if words in Path(f"/proc/{child}/cmdline").read_text():
                    found.append(child)
            except OSError:
                pass
    return found


def kill_a_worker(parent):
    """Of those that are there, since the command may be replacing one that has died."""
    deadline = time.monotonic() + 30
    while not (workers := workers_of(parent, "spawn_main")):
        if time.monotonic() > deadline:
            raise AssertionError("no worker to kill")
    os.kill(workers[0], signal.SIGKILL)


def write_recordings(folder):
    import soundfile

    noise = np.random.default_rng(2).standard_normal(48000) * 0.1
    for i in range(RECORDINGS):
        path = folder / f"speaker{i % 9}" / f"{i}.{'aif' if i == 2 else ('wav', 'flac', 'WAV')[i % 3]}"
        path.parent.mkdir(exist_ok=True)
        rate = (16000, 44100, 8000, 48000)[i % 4]
        frames = noise[i : i + rate // 3 * (1 + i % 2)].reshape(-1, 1 + i % 2)
        soundfile.write(path, frames, rate, subtype="PCM_24" if i % 5 == 0 else "PCM_16",
                        format="AIFF" if path.suffix == ".aif" else None)
    (folder / "broken.wav").write_bytes(b"RIFF\xff\xff\xff\xffWAVEfmt ")
    (folder / "notes.txt").write_text("no recording")
    soundfile.write(folder / "empty.wav", np.zeros((0, 1)), 16000)


def deadly(task):
    """Work of which three recordings kill the worker, two of them not for ever."""
    deaths = len(list(Path(task.output).glob(f"{task.recording}-*")))
    if deaths < {"once": 1, "twice": 2, "never": 99}.get(task.recording, 0):
        Path(task.output, f"{task.recording}-{deaths}").touch()
        os.kill(os.getpid(), signal.SIGKILL)
    return {"recording": task.recording}


class Corpus(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.top = Path(temporary.name)
        cls.recordings = cls.top / "recordings"
        cls.recordings.mkdir()
        write_recordings(cls.recordings)
        cls.output = cls.top / "features"
        cls.first = corpus(cls.recordings, "-o", cls.output, "--workers", 2)
        cls.expected = {name: row["features"] for name, row in rows(cls.output).items()}

    def check_complete(self, output):
        self.assertEqual({name: row["features"] for name, row in rows(output).items()}, self.expected)
        self.assertEqual([path for path in output.rglob("*.partial")], [])
        code, said, _ = corpus("-o", output, "--verify", RECORDINGS)
        self.assertEqual((code, said), (0, f"{RECORDINGS} of {RECORDINGS} recordings computed anew, 0 differences\n"))

    def test_all_but_bad_recordings(self):
        code, said, told = self.first
        self.assertEqual(code, 1)
        self.assertIn(f"{RECORDINGS} recordings computed", said)
        self.assertRegex(told, rf"{RECORDINGS + 2}/{RECORDINGS + 2} \[\d\d:\d\d<00:00, +[\d.]+rec/s\]")
        self.assertRegex(said, r"reading took \d+ % of the workers' time")
        self.assertEqual([line.split(":")[0] for line in told.splitlines() if ".wav: " in line], BAD)
        self.assertIn("empty.wav: holds no samples\n", told)
        self.assertEqual(len(self.expected), RECORDINGS)
        self.check_complete(self.output)
        # What the command stores is what the functions give.
        import kelvo_audio as ka
        from kelvo_audio import recipes, recordings
        signal, rate = recordings.read(self.recordings / "speaker0/0.wav")
        np.testing.assert_array_equal(np.load(self.output / "speaker0/0.wav.npy"), recipes.log_mel(signal))
        signal, rate = recordings.read(self.recordings / "speaker1/1.flac", "1")
        self.assertEqual((signal.ndim, rate), (1, 44100))
        self.assertEqual(recordings.at_rate(signal, rate, 8000).size, ka.resample_len(
            ka.resample_len(signal.size, dst_sample_rate=16000, src_sample_rate=44100), dst_sample_rate=8000,
            src_sample_rate=16000))

    def test_killed_workers_and_commands(self):
        output = self.top / "killed"
        for number, end in ((20, signal.SIGKILL), (100, signal.SIGKILL), (150, signal.SIGINT)):  # the whole command
            process = start(self.recordings, "-o", output, "--workers", 2)
            wait_for_rows(process, output, number)
            (os.killpg if end == signal.SIGINT else os.kill)(process.pid, end)  # Control-C reaches the workers too
            _, told = process.communicate()
            print(len(rows(output)), "recordings done before the command was ended")
            self.assertEqual(process.returncode, 130 if end == signal.SIGINT else -end, told)
            if end == signal.SIGINT:  # a worker that is just starting may say more
                self.assertEqual(told.splitlines()[-1], "kelvo_audio: interrupted")
            for path in output.rglob("*.npy"):
                self.assertEqual(np.load(path).shape[0], 80)
        with open(output / "manifest.jsonl", "a") as manifest:  # as a command leaves it that is killed while it writes
            manifest.write('{"recording": "spea')
        process = start(self.recordings, "-o", output, "--workers", 2)
        for number in (250, 320):  # one worker, twice
            wait_for_rows(process, output, number)
            kill_a_worker(process.pid)
            (output / f"{number}.wav.npy.partial").touch()  # as a worker leaves it that is killed while it writes
        said, told = process.communicate()
        self.assertEqual(process.returncode, 1)
        self.assertEqual([line.split(":")[0] for line in told.splitlines() if ".wav: " in line], BAD)
        self.assertRegex(said, r"; [1-9]\d* were there before, 2 failed")
        self.check_complete(output)

    def test_recording_that_kills_its_worker(self):
        from kelvo_audio.corpus import schedulers
        from kelvo_audio.corpus.work import Settings, Task

        with tempfile.TemporaryDirectory() as folder:
            # The first of those that kill is not among those in flight when another one kills.
            names = ["twice", *map(str, range(20)), "once", *map(str, range(20, 30)), "never", "last"]
            tasks = [Task(name, folder, folder, False, Settings("whisper")) for name in names]
            outcome = {row["recording"]: "error" in row for row in schedulers.local(deadly, tasks, 2)}
        self.assertEqual(outcome, {name: name == "never" for name in names})

    @unittest.skipUnless(has("distributed"), "python3-distributed is missing")
    def test_dask_cluster(self):
        from distributed import LocalCluster

        output = self.top / "dask"
        with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
            process = start(self.recordings, "-o", output, "--scheduler", cluster.scheduler_address)
            wait_for_rows(process, output, 100)
            kill_a_worker(os.getpid())
            _, told = process.communicate()
        self.assertEqual([line.split(":")[0] for line in told.splitlines() if ".wav: " in line], BAD, told)
        self.check_complete(output)

    @unittest.skipUnless(has("zarr"), "python3-zarr is missing")
    def test_zarr(self):
        import zarr

        output = self.top / "store"
        self.assertEqual(corpus(self.recordings, "-o", output, "--workers", 2, "--zarr")[0], 1)
        self.check_complete(output)
        store = zarr.open_group(str(output), mode="r")
        np.testing.assert_array_equal(store["speaker0/0.wav"][...], np.load(self.output / "speaker0/0.wav.npy"))
        self.assertEqual(store["speaker0/0.wav"].chunks, store["speaker0/0.wav"].shape)
        output = self.top / "speaker-store"
        for mel_n in (80, 64):  # an array takes the place of another
            code, said, _ = corpus(self.recordings / "speaker0", "-o", output, "--zarr", "--set", f"mel_n={mel_n}")
            self.assertEqual((code, said.partition(",")[0]), (0, "56 recordings computed"))
            self.assertEqual(zarr.open_group(str(output), mode="r")["0.wav"].shape[0], mel_n)
            self.assertEqual(list(output.rglob("*.partial")), [])

    def test_changes_are_computed_anew(self):
        import soundfile

        from kelvo_audio.corpus import command, schedulers, work

        few, output = self.top / "few", self.top / "few-features"
        few.mkdir()
        for i in range(3):
            soundfile.write(few / f"{i}.wav", np.sin(np.arange(8000) * (i + 1) / 9), 16000)

        def computed(*more):
            return int(re.match(r"\d+", corpus(few, "-o", output, "--workers", 1, *more)[1])[0])

        self.assertEqual(computed(), 3)
        self.assertEqual(computed(), 0)
        before = rows(output)["1.wav"]
        soundfile.write(few / "1.wav", np.sin(np.arange(9000) / 5), 16000)
        self.assertEqual(computed(), 1)
        self.assertNotEqual(rows(output)["1.wav"]["samples"], before["samples"])
        (output / "2.wav.npy").unlink()
        self.assertEqual(computed(), 1)
        self.assertEqual(computed("--set", "mel_n=64"), 3)
        self.assertEqual(np.load(output / "0.wav.npy").shape[0], 64)
        (few / "2.wav").write_bytes(b"RIFF")
        self.assertEqual(computed("--set", "mel_n=64"), 0)
        self.assertFalse((output / "2.wav.npy").exists())
        (few / "0.wav").unlink()
        self.assertEqual(computed("--set", "mel_n=64"), 0)
        self.assertEqual(set(rows(output)), {"1.wav"})

        # Killed between a result and its row: the new result must not pass for the one of the row that was there.
        def run_without_row(run, tasks, worker_n):
            run(tasks[0])
            raise KeyboardInterrupt

        before = np.load(output / "1.wav.npy")
        with unittest.mock.patch.object(schedulers, "local", run_without_row), self.assertRaises(KeyboardInterrupt):
            command.run(few, output, work.Settings("whisper", {"mel_n": 40}))
        self.assertEqual(np.load(output / "1.wav.npy").shape[0], 40)
        self.assertEqual(computed("--set", "mel_n=64"), 1)
        np.testing.assert_array_equal(np.load(output / "1.wav.npy"), before)

        features = np.load(output / "1.wav.npy")
        features[5, 5] = np.nextafter(features[5, 5], np.float32(np.inf))
        np.save(output / "1.wav.npy", features)

        def told_by_verify():
            code, _, told = corpus("-o", output, "--verify")
            self.assertEqual(code, 1)
            return told

        self.assertEqual(told_by_verify(), "1.wav: stored features are not those of the manifest\n")
        self.assertEqual(computed("--set", "mel_n=64"), 0)  # it looks at the recordings, not into the results
        soundfile.write(few / "1.wav", np.sin(np.arange(9000) / 6), 16000)
        self.assertIn("1.wav: other samples, from a changed recording", told_by_verify())
        self.assertEqual(computed("--set", "mel_n=64"), 1)
        self.assertEqual(corpus("-o", output, "--verify")[0], 0)
        manifest = output / "manifest.jsonl"
        digest = rows(output)["1.wav"]["features"]
        manifest.write_text(manifest.read_text().replace(digest, digest[::-1]))
        self.assertIn("1.wav: other features of the same samples\n", told_by_verify())

    def test_damaged_manifests_and_links(self):
        output, beside = self.top / "damaged", self.top / "beside"
        output.mkdir()
        beside.mkdir()
        (beside / "kept").write_text("kept")
        header = (self.output / "manifest.jsonl").read_text().partition("\n")[0]
        for line in ("{", "[]", "5", "\xff", "[" * 100_000, '{"recording": "1.wav"}', '{"recording": []}',
                     header.replace('"changed": {}', '"changed": 5')):
            (output / "manifest.jsonl").write_text(f"{line}\n")
            for words in (("-o", output, "--verify"), (beside, "-o", output)):
                code, _, told = corpus(*words)
                self.assertEqual((code, told.count("\n")), (1, 1))
                self.assertIn("manifest.jsonl: line 1 is damaged", told)
        (output / "manifest.jsonl").unlink()
        (output / "manifest.jsonl.partial").symlink_to(beside / "kept")
        (output / "folder.partial").symlink_to(beside)
        self.assertEqual(corpus(beside, "-o", output)[0], 0)
        self.assertEqual((beside / "kept").read_text(), "kept")
        self.assertEqual([path.name for path in output.iterdir()], ["manifest.jsonl"])

    def test_worker_of_another_version(self):
        from kelvo_audio.corpus import work

        settings = work.Settings("whisper", version="0.0.1")
        task = work.Task("speaker0/0.wav", str(self.recordings), str(self.top), False, settings)
        self.assertIn("not 0.0.1", work.run(task)["error"])
        self.assertNotEqual(settings.key(), dataclasses.replace(settings, version="0.0.2").key())


if __name__ == "__main__":
    if not has("soundfile", "tqdm"):
        print("python3-soundfile or python3-tqdm is missing")
        sys.exit(running.SKIPPED)
    running.main()
