"""python -m kelvo_audio: features, resampling and facts of recordings, and features of a whole folder of them."""

import argparse
import ast
import sys
from pathlib import Path

import numpy as np

from . import __version__, non_silent_pos
from ._library import KelvoAudioError, library
from .corpus import command as corpus
from .corpus.work import Settings
from .recipes import RECIPES, find
from .recordings import at_rate, read


INTERRUPTED = 130  # as shells have it: 128 and the number of the signal


def setting(text: str) -> tuple[str, object]:
    name, equals, given = text.partition("=")
    if not equals:
        raise argparse.ArgumentTypeError(f"expected NAME=VALUE, got {text}")
    try:
        return name, ast.literal_eval(given)
    except (SyntaxError, ValueError):
        raise argparse.ArgumentTypeError(f"{name}: {given} is no number") from None


def channel(text: str) -> str:
    if text != "mean" and not text.isdecimal():
        raise argparse.ArgumentTypeError(f"expected mean or the number of a channel, got {text}")
    return text


def features(arguments: argparse.Namespace) -> int:
    recipe = find(arguments.recipe)
    signal, rate = read(arguments.recording, arguments.channel)
    computed = recipe.compute(at_rate(signal, rate, recipe.sample_rate), **dict(arguments.set))
    low, high = (computed.min(), computed.max()) if computed.size else (np.nan, np.nan)
    print(f"{arguments.recipe}: {computed.shape[0]} x {computed.shape[1]} frames, {low:.4g} to {high:.4g}")
    if arguments.output:
        with open(arguments.output, "wb") as file:
            np.save(file, computed)
    if arguments.plot:
        plot(arguments.plot, computed, f"{arguments.recording.name}: {arguments.recipe}")
    return 0


def plot(path: Path, computed: np.ndarray, title: str) -> None:
    try:
        from matplotlib.figure import Figure
    except ImportError:
        sys.exit("--plot needs matplotlib")
    axes = Figure(figsize=(10, 4), layout="constrained").subplots()
    axes.figure.colorbar(axes.imshow(computed, origin="lower", aspect="auto"))
    axes.set(title=title, xlabel="frame", ylabel="band")
    axes.figure.savefig(path)


def resample(arguments: argparse.Namespace) -> int:
    import soundfile

    signal, rate = read(arguments.recording, arguments.channel)
    resampled = at_rate(signal, rate, arguments.rate)
    soundfile.write(str(arguments.output), resampled, arguments.rate)
    print(f"{signal.size} samples at {rate} Hz to {resampled.size} at {arguments.rate} Hz")
    return 0


def info(arguments: argparse.Namespace) -> int:
    if arguments.recording is None:
        print(f"kelvo_audio {__version__}, {library._name}, NumPy {np.__version__}, recipes {', '.join(RECIPES)}")
        return 0
    import soundfile

    signal, rate = read(arguments.recording)
    facts = soundfile.info(str(arguments.recording))
    print(f"{arguments.recording}: {facts.format} {facts.subtype}, {facts.channels} channel(s), {rate} Hz, "
          f"{signal.size} samples, {signal.size / rate:.3f} s")
    peak = np.abs(signal).max()
    with np.errstate(divide="ignore"):
        print(f"peak {20 * np.log10(peak):.1f} dB, rms {10 * np.log10(np.mean(np.square(signal, dtype=float))):.1f} dB")
    start, length = non_silent_pos(signal, win_n=min(2048, signal.size))
    print("silent" if peak == 0 or length == 0 else f"not silent {start / rate:.2f} to {(start + length) / rate:.2f} s")
    return 0


def run_corpus(arguments: argparse.Namespace) -> int:
    if arguments.verify is not None:
        return corpus.verify(arguments.output, arguments.verify)
    if arguments.folder is None:
        sys.exit("corpus: a FOLDER is needed, unless --verify is given")
    settings = Settings(arguments.recipe, dict(arguments.set), arguments.channel)
    return corpus.run(arguments.folder, arguments.output, settings, zarr=arguments.zarr,
                      scheduler=arguments.scheduler, worker_n=arguments.workers)


def parser() -> argparse.ArgumentParser:
    main_parser = argparse.ArgumentParser(prog="python -m kelvo_audio", description=__doc__.partition(": ")[2])
    main_parser.add_argument("--version", action="version", version=__version__)
    commands = main_parser.add_subparsers(required=True, metavar="COMMAND")

    def add(name, run, text, *examples):
        lines = "\n".join(f"  python -m kelvo_audio {name} {example}" for example in examples)
        sub = commands.add_parser(name, help=text, description=text, epilog=f"examples:\n{lines}",
                                  formatter_class=argparse.RawDescriptionHelpFormatter)
        sub.set_defaults(run=run)
        return sub

    def add_recipe(sub):
        sub.add_argument("--recipe", choices=RECIPES, default="whisper", metavar="NAME",
                         help=f"{', '.join(RECIPES)}; by default whisper")
        sub.add_argument("--set", type=setting, action="append", default=[], metavar="NAME=VALUE",
                         help="a setting of the recipe that is to differ, for instance mel_n=128")

    def add_channel(sub):
        sub.add_argument("--channel", type=channel, default="mean", help="mean, the default, or a number from 0")

    sub = add("features", features, "features of one recording", "speech.flac --recipe whisper -o x.npy",
              "song.wav --recipe librosa --set mel_n=64 --plot x.png")
    sub.add_argument("recording", type=Path)
    add_recipe(sub)
    add_channel(sub)
    sub.add_argument("-o", "--output", type=Path, metavar="FILE.npy")
    sub.add_argument("--plot", type=Path, metavar="FILE.png", help="a picture of them (needs matplotlib)")

    sub = add("resample", resample, "a recording at another sample rate", "song.wav song16.wav --rate 16000")
    sub.add_argument("recording", type=Path)
    sub.add_argument("output", type=Path)
    sub.add_argument("--rate", type=int, required=True, metavar="HZ")
    add_channel(sub)

    sub = add("info", info, "facts of a recording, or of this installation", "speech.flac", "")
    sub.add_argument("recording", type=Path, nargs="?")

    sub = add("corpus", run_corpus, "features of all recordings under a folder; started again, it goes on",
              "recordings --recipe whisper -o features", "recordings -o features --scheduler tcp://10.0.0.1:8786",
              "-o features --verify")
    sub.add_argument("folder", type=Path, nargs="?")
    add_recipe(sub)
    add_channel(sub)
    sub.add_argument("-o", "--output", type=Path, required=True, metavar="OUT", help="folder of the results")
    sub.add_argument("--zarr", action="store_true", help="one Zarr store instead of an .npy a recording")
    sub.add_argument("--workers", type=int, metavar="N", help="local processes, by default one for each core")
    sub.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster, whose workers see the same paths")
    sub.add_argument("--verify", type=int, nargs="?", const=20, metavar="N",
                     help="compute N recordings anew, by default 20, and compare bits")
    return main_parser


def main(words: list[str] | None = None) -> int:
    arguments = parser().parse_args(words)
    try:
        return arguments.run(arguments)
    except (ValueError, TypeError, OSError, MemoryError, KelvoAudioError) as error:
        print(f"kelvo_audio: {error or 'out of memory'}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("kelvo_audio: interrupted", file=sys.stderr)
        return INTERRUPTED
    except ImportError as error:
        print(f"kelvo_audio: {error}; it is an optional dependency", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
