"""Draws figures of the tables that bench/run.sh writes: the time of an FFT against its length, and the cost of a frame
against the number of frames. Copies some of their ratios to a table of the same jobs.

Usage: figures.py PAGE LENGTHS.svg FRAMES.svg README.md
"""
import collections
import re
import sys
from math import log10

UNITS = {"ns": 1e-9, "µs": 1e-6, "ms": 1e-3}
WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 720, 420, 64, 48, 40, 32
OURS, PEER = "#0060a8", "#c05000"
FFT_SECTIONS = "FFT of a real signal, all bins", "Any length: FFT of a real signal, all bins", "Large"
FRAMES_SECTION = "Long recordings, 400/160"
# Jobs of the README: the section and the row that they stand for.
SHORT_TABLE = {
    "mel spectrogram, 16 kHz, 400/160/80": ("Mel spectrogram, 10 s", "16 kHz 400/160/80"),
    "mel spectrogram, 22.05 kHz, 1024/256/80": ("Mel spectrogram, 10 s", "22.05 kHz 1024/256/80"),
    "spectrogram 400/160, 1000 frames, power 2": ("Spectrogram, 1000 frames", "400/160 power 2"),
    "spectrogram 400/160, 12000 frames, complex": (FRAMES_SECTION, "complex, 12000 frames"),
    "mel spectrogram, 16 kHz, 400/160/80, 30 minutes": (FRAMES_SECTION, "mel, 80 bands, 180000 frames"),
    "inverse spectrogram 400/160": ("Inverse spectrogram, 1000 frames", "400/160"),
    "transform of 1024 samples, all bins": (FFT_SECTIONS[0], "1024"),
    "transform of 1009 samples, all bins": (FFT_SECTIONS[1], "1009"),
    "resampling, 44.1 to 16 kHz": ("Resampling, 10 s", "44.1 to 16 kHz"),
    "recursive filter, order 4, [where it settles](docs/filters.md#speed)": ("Linear filter, 65536 samples", "order 4"),
    "zero-phase filter, order 4, the same": ("Linear filter, 65536 samples", "zero phase, order 4"),
}


def rows(page):
    """(section, job, ratio as it is printed, our time, the best peer's time) of each row, seconds."""
    section = ""
    for line in page.splitlines():
        if line.startswith("### "):
            section = line[4:]
        cells = [cell.strip() for cell in line.split("|")]
        ratio = re.match(r"[\d.]+", cells[4]) if len(cells) > 5 else None
        if ratio and cells[2].split()[-1] in UNITS:
            value, unit = cells[2].split()
            ours = float(value) * UNITS[unit]
            yield section, cells[1], ratio[0], ours, ours * float(ratio[0])


def is_prime(n):
    return all(n % p for p in range(2, int(n**0.5) + 1))


class Axis:
    """A logarithmic axis over whole decades, or from the least to the greatest value."""

    def __init__(self, values, first, last, whole_decades=True):
        self.low, self.high = log10(min(values)), log10(max(values))
        if whole_decades:
            self.low, self.high = int(self.low // 1), -int(-self.high // 1)
        self.first, self.last = first, last

    def __call__(self, value):
        return self.first + (log10(value) - self.low) / (self.high - self.low) * (self.last - self.first)

    def decades(self):
        return [10.0**exponent for exponent in range(int(self.low), int(self.high) + 1)]


def text_of(seconds):
    for unit, factor in (("ns", 1e-9), ("µs", 1e-6), ("ms", 1e-3)):
        if seconds < 999 * factor:
            return f"{seconds / factor:.0f} {unit}"
    return f"{seconds:.0f} s"


def frame(x, y, x_ticks, y_ticks, x_title):
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
           'font-size="13">')
    yield f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>'
    for value in x_ticks:
        yield f'<path d="M{x(value):.1f} {TOP}V{HEIGHT - BOTTOM}" stroke="#ddd"/>'
        yield f'<text x="{x(value):.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle">{value:.0f}</text>'
    for value in y_ticks:
        yield f'<path d="M{LEFT} {y(value):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
        yield f'<text x="{LEFT - 8}" y="{y(value) + 4:.1f}" text-anchor="end">{text_of(value)}</text>'
    yield f'<text x="{(LEFT + WIDTH) / 2}" y="{HEIGHT - 10}" text-anchor="middle">{x_title}</text>'


def draw_lengths(points):
    """points: (length, our time, the peer's)"""
    x = Axis([n for n, *_ in points], LEFT, WIDTH - RIGHT)
    y = Axis([time for _, *times in points for time in times], HEIGHT - BOTTOM, TOP)
    yield from frame(x, y, x.decades(), y.decades(), "samples")
    for series, (name, colour) in enumerate((("kelvo_audio", OURS), ("FFTW, the faster of two plans", PEER))):
        for n, *times in sorted(points):
            fill = colour if is_prime(n) else "white"
            yield (f'<circle cx="{x(n):.1f}" cy="{y(times[series]):.1f}" r="3.5" stroke="{colour}" fill="{fill}">'
                   f'<title>{n}: {times[series] * 1e6:.3g} µs</title></circle>')
        left = LEFT + 20 + 140 * series
        yield f'<circle cx="{left}" cy="22" r="3.5" stroke="{colour}" fill="{colour}"/>'
        yield f'<text x="{left + 10}" y="26">{name}</text>'
    yield f'<text x="{WIDTH - RIGHT}" y="26" text-anchor="end">filled: prime lengths</text>'
    yield "</svg>"


def draw_frames(jobs):
    """jobs: {name: [(frames, our time, the peer's)]}"""
    points = [(n, ours / n, peer / n) for job in jobs.values() for n, ours, peer in job]
    x = Axis([n for n, *_ in points], LEFT, WIDTH - RIGHT - 40, whole_decades=False)
    y = Axis([time for _, *times in points for time in times], HEIGHT - BOTTOM, TOP, whole_decades=False)
    y_ticks = [t * 1e-9 for t in (50, 100, 200, 500, 1000, 2000, 5000) if y.low <= log10(t * 1e-9) <= y.high]
    yield from frame(x, y, sorted({n for n, *_ in points}), y_ticks, "frames in one call")
    styles = "", "8 4", "2 3", "8 3 2 3"
    for style, (name, job) in zip(styles, jobs.items()):
        for series, colour in enumerate((OURS, PEER)):
            path = " L".join(f"{x(n):.1f} {y(times[series] / n):.1f}" for n, *times in sorted(job))
            yield f'<path d="M{path}" stroke="{colour}" stroke-width="2" stroke-dasharray="{style}" fill="none"/>'
    for i, (style, name) in enumerate(zip(styles, jobs)):
        left = LEFT + 135 * i
        yield f'<path d="M{left} 22h30" stroke="black" stroke-width="2" stroke-dasharray="{style}"/>'
        yield f'<text x="{left + 36}" y="26">{name}</text>'
    for i, (name, colour) in enumerate((("kelvo_audio", OURS), ("FFTW pipeline", PEER))):
        yield f'<text x="{WIDTH - RIGHT}" y="{20 + 16 * i}" text-anchor="end" fill="{colour}">{name}</text>'
    yield "</svg>"


def copy_ratios(path, table):
    """table: {(section, job): ratio as it is printed}"""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for job, key in SHORT_TABLE.items():
        text, count = re.subn(rf"^(\| {re.escape(job)} \|.*\| )[\d.]+( \|)$", rf"\g<1>{table[key]}\2", text, flags=re.M)
        if count != 1:
            sys.exit(f"{path} has {count} rows for {job}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def write(path, lines):
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(line + "\n" for line in lines)


def main():
    page, lengths_path, frames_path, readme = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        table = list(rows(file.read()))
    lengths, jobs = [], collections.defaultdict(list)
    for section, job, _, *times in table:
        power = re.fullmatch(r"FFT, 2\^(\d+) samples", job)
        if section in FFT_SECTIONS and (job.isdigit() or power):
            lengths.append((2**int(power[1]) if power else int(job), *times))
        if section == FRAMES_SECTION:
            name, count = job.removesuffix(" frames").rsplit(", ", 1)
            jobs[name].append((int(count), *times))
    if not lengths or not jobs:
        sys.exit(f"{page} has no rows of FFTs or of long recordings")
    write(lengths_path, draw_lengths(lengths))
    write(frames_path, draw_frames(jobs))
    copy_ratios(readme, {(section, job): ratio for section, job, ratio, *_ in table})


main()
