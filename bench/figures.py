"""Draws the time of an FFT against its length, from the tables that bench/run.sh writes.

Usage: figures.py PAGE FIGURE.svg
"""
import re
import sys
from math import log10

SECTIONS = "FFT of a real signal, all bins", "Any length: FFT of a real signal, all bins"
UNITS = {"ns": 1e-9, "µs": 1e-6, "ms": 1e-3}
WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 720, 420, 64, 48, 40, 32
COLOURS = {"kelvo_audio": "#0060a8", "FFTW, the faster of two plans": "#c05000"}


def rows(page):
    """(length, our time, the best peer's time) of each row, seconds."""
    section = ""
    for line in page.splitlines():
        if line.startswith("### "):
            section = line[4:]
        cells = [cell.strip() for cell in line.split("|")]
        if section in SECTIONS and len(cells) > 5 and cells[1].isdigit():
            value, unit = cells[2].split()
            ours = float(value) * UNITS[unit]
            yield int(cells[1]), ours, ours * float(re.match(r"[\d.]+", cells[4])[0])


def is_prime(n):
    return all(n % p for p in range(2, int(n**0.5) + 1))


class Axis:
    """A logarithmic axis over whole decades."""

    def __init__(self, values, first, last):
        self.low, self.high = int(log10(min(values)) // 1), -int(-log10(max(values)) // 1)
        self.first, self.last = first, last

    def __call__(self, value):
        return self.first + (log10(value) - self.low) / (self.high - self.low) * (self.last - self.first)

    def decades(self):
        return [10.0**exponent for exponent in range(self.low, self.high + 1)]


def text_of(seconds):
    for unit, factor in (("ns", 1e-9), ("µs", 1e-6), ("ms", 1e-3)):
        if seconds < 999 * factor:
            return f"{seconds / factor:.0f} {unit}"
    return f"{seconds:.0f} s"


def draw(points):
    x = Axis([n for n, *_ in points], LEFT, WIDTH - RIGHT)
    y = Axis([time for _, *times in points for time in times], HEIGHT - BOTTOM, TOP)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
           'font-size="13">')
    yield f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>'
    for value in x.decades():
        yield f'<path d="M{x(value):.1f} {TOP}V{HEIGHT - BOTTOM}" stroke="#ddd"/>'
        yield f'<text x="{x(value):.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle">{value:.0f}</text>'
    for value in y.decades():
        yield f'<path d="M{LEFT} {y(value):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
        yield f'<text x="{LEFT - 8}" y="{y(value) + 4:.1f}" text-anchor="end">{text_of(value)}</text>'
    for series, (name, colour) in enumerate(COLOURS.items()):
        for n, *times in sorted(points):
            fill = colour if is_prime(n) else "white"
            yield (f'<circle cx="{x(n):.1f}" cy="{y(times[series]):.1f}" r="3.5" stroke="{colour}" fill="{fill}">'
                   f'<title>{n}: {times[series] * 1e6:.3g} µs</title></circle>')
        left = LEFT + 20 + 140 * series
        yield f'<circle cx="{left}" cy="22" r="3.5" stroke="{colour}" fill="{colour}"/>'
        yield f'<text x="{left + 10}" y="26">{name}</text>'
    yield f'<text x="{WIDTH - RIGHT}" y="26" text-anchor="end">filled: prime lengths</text>'
    yield f'<text x="{(LEFT + WIDTH) / 2}" y="{HEIGHT - 10}" text-anchor="middle">samples</text>'
    yield "</svg>"


def main():
    page, figure = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        points = list(rows(file.read()))
    if not points:
        sys.exit(f"{page} has no rows of FFTs")
    with open(figure, "w", encoding="utf-8") as file:
        file.writelines(line + "\n" for line in draw(points))


main()
