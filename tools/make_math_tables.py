#!/usr/bin/env python3
"""Prints src/math/tables.h: the constants of the elementary functions, from their definitions and mpmath's arithmetic alone.

Usage: tools/make_math_tables.py > src/math/tables.h
"""
import struct

from mpmath import atan, atan2, cos, floor, log, lu_solve, matrix, mp, mpf, nint, pi, sin, sqrt, tan

mp.prec = 400


def to_hex(value):
    return float(value).hex() if value else "0.0"


def to_scaled(value):
    return to_hex(value * mpf(2)**1023)


def interpolate(function, low, high, count):
    """Coefficients, lowest first, of the polynomial through the function at the Chebyshev points of [low, high]: within
    a small factor of the best one. No point may be 0, where the functions have a gap."""
    low *= 1 + mpf(2)**-20
    points = [(low + high) / 2 + (high - low) / 2 * cos((2 * i + 1) * pi / (2 * count)) for i in range(count)]
    rows = matrix(count, count)
    for i, x in enumerate(points):
        for k in range(count):
            rows[i, k] = x**k
    return list(lu_solve(rows, matrix([function(x) for x in points])))


def print_array(comment, name, values, kind="double", per_line=4):
    print(f"\n// {comment}")
    print(f"alignas(64) constexpr {kind} {name}[] = {{")
    for i in range(0, len(values), per_line):
        print("    " + ", ".join(values[i:i + per_line]) + ("};" if i + per_line >= len(values) else ","))


def print_polynomial(comment, name, function, low, high, count):
    print_array(comment, name, [to_hex(c) for c in interpolate(function, low, high, count)])


def split(value):
    high = mpf(float(value))
    return [to_hex(high), to_hex(value - high)]


def words(value, count, fraction_bits):
    scaled = int(floor(value * mpf(2)**fraction_bits))
    return [f"0x{scaled >> (32 * i) & 0xFFFFFFFF:08x}" for i in range(count)]


def print_logarithm():
    # 16 equal steps of the bits from kLogFirst on, the tenth of which has 1 inside, as far from both ends as may be.
    # Seen from 1 a step is 1/32 below and 1/16 above.
    below_one = mpf(0x54000) / 2**24
    ends = [1 - below_one - mpf(9 - i) / 32 for i in range(10)] + [1 + (mpf(1) / 32 - below_one) * 2 + mpf(i) / 16
                                                                     for i in range(7)]
    first = 0x3FF0000000000000 - (0x54000 + 9 * 0x80000) * 2**29
    print("\n// The bits of the double from which the steps of the logarithm's tables are counted.")
    print(f"constexpr unsigned long long kLogFirst = 0x{first:016x};")
    # 20 bits: the product with a float is exact.
    inverse = [mpf(int(nint(2 / (a + b) * 2**20))) / 2**20 for a, b in zip(ends, ends[1:])]
    inverse[9] = mpf(1)
    reach = max(abs(x * c - 1) for c, a, b in zip(inverse, ends, ends[1:]) for x in (a, b))
    print_array("The reciprocals of the steps' centres, times 2^1023.", "kInverseCentres", [to_scaled(c) for c in inverse])
    print_array("The logarithms of the centres.", "kLogCentres", [to_hex(-log(c)) for c in inverse])
    print_array("Their decimal logarithms, each as the sum of two.", "kLog10Centres",
                [part for c in inverse for part in split(-log(c, 10))], per_line=2)
    print_polynomial("(log(1 + r) - r) / r^2", "kLogPolynomial",
                     lambda r: (log(1 + r) - r) / r**2, -reach, reach, 5)
    print_polynomial("(log(1 + r) - r + r^2 / 2) / r^3, to the last bit of a double", "kLogTail",
                     lambda r: (log(1 + r) - r + r**2 / 2) / r**3, -reach, reach, 10)

    # 40 bits: times the exponent of a double it is exact.
    high = mpf(int(floor(log(2, 10) * mpf(2)**41))) / mpf(2)**41
    print_array("log10(2) as the sum of two, the first of 40 bits.", "kLog10OfTwo",
                [to_hex(high), to_hex(log(2, 10) - high)])
    print_array("1 / log(10) as the sum of two.", "kInverseLog10", split(1 / log(10)))


def print_fine_logarithm():
    # The same in 256 steps, for tables in memory. Seen from 1 a step is 1/512 below and 1/256 above.
    below_one = mpf(0x5500) / 2**24
    ends = [1 - below_one - mpf(170 - i) / 512 for i in range(171)] + [1 + (mpf(1) / 512 - below_one) * 2 + mpf(i) / 256
                                                                         for i in range(86)]
    first = 0x3FF0000000000000 - int((below_one + mpf(170) / 512) * 2**53)
    print("\n// The same for steps a sixteenth as long.")
    print(f"constexpr unsigned long long kFineLogFirst = 0x{first:016x};")
    inverse = [mpf(int(nint(2 / (a + b) * 2**20))) / 2**20 for a, b in zip(ends, ends[1:])]
    inverse[170] = mpf(1)
    reach = max(abs(x * c - 1) for c, a, b in zip(inverse, ends, ends[1:]) for x in (a, b))
    print_array("The reciprocals of these steps' centres, times 2^1023, each followed by the logarithm of the centre.",
                "kFineLogSteps", [part for c in inverse for part in (to_scaled(c), to_hex(-log(c)))])
    for comment, name, count in (("(log(1 + r) - r) / r^2 within such a step", "kFineLogPolynomial", 4),
                                 ("The same, shorter", "kShortFineLogPolynomial", 3)):
        print_polynomial(comment, name, lambda r: (log(1 + r) - r) / r**2, -reach, reach, count)


def print_power():
    # Steps from 1 to 2: no power needs a logarithm whose error is small beside it.
    unit = mpf(float(1 / log(2)))
    inverse = [mpf(float(32 * unit / (33 + 2 * i))) for i in range(16)]
    print_array("log2(e) times the reciprocals of the middles of 16 steps from 1 to 2.", "kInverseMiddles",
                [to_hex(c) for c in inverse])
    print_array("The binary logarithms of these middles.", "kBinaryLogMiddles", [to_hex(-log(c / unit, 2)) for c in inverse])
    print_polynomial("(log2(1 + s log(2)) - s) / s^2 within such a step", "kBinaryLogPolynomial",
                     lambda s: (log(1 + s / unit) * unit - s) / s**2, -unit / 33, unit / 33, 5)
    roots = [int.from_bytes(bytes.fromhex(f"{bits(mpf(2)**(mpf(i) / 16)) - (i << 48):016x}"), "big") for i in range(16)]
    print_array("The bits of 2^(i / 16) less i 2^48: what adding k 2^48 with k = i modulo 16 turns into 2^(k / 16).",
                "kRootBits", [f"0x{root:016x}" for root in roots], kind="unsigned long long")
    print_polynomial("(2^(f / 16) - 1) / f", "kExpPolynomial",
                     lambda f: (mpf(2)**(f / 16) - 1) / f, mpf(-1) / 2, mpf(1) / 2, 5)
    print_polynomial("2^(f / 16), with fewer bits", "kShortExpPolynomial", lambda f: mpf(2)**(f / 16), mpf(-1) / 2,
                     mpf(1) / 2, 5)


def bits(value):
    return struct.unpack(">Q", struct.pack(">d", float(value)))[0]


def print_trigonometry():
    # The directions between which a share x / (|x| + |y|) in fourteenths ends, and those that halve the angle between.
    def end(fourteenths):
        share = fourteenths / mpf(14)
        return atan2(1 - abs(share), share)

    angles = [mpf(float((end(min(14, 15 - 2 * j)) + end(max(-14, 13 - 2 * j))) / 2)) for j in range(15)]
    angles[0], angles[14] = mpf(0), mpf(float(pi))
    reach = max(abs(angles[j] - e) for j in range(15) for e in (end(min(14, 15 - 2 * j)), end(max(-14, 13 - 2 * j))))
    reach *= 1 + mpf(2)**-20
    angles.append(angles[14])
    print_array("The directions near which angles are computed, counted from that of x / (|x| + |y|) = 1 in steps of 1/7.",
                "kDirections", [to_hex(a) for a in angles])
    print_array("Their cosines.", "kDirectionCosines", [to_hex(cos(a)) for a in angles])
    print_array("Their sines.", "kDirectionSines", [to_hex(sin(a)) for a in angles])

    def root(function):
        return lambda z: function(sqrt(z))

    print_polynomial("(atan(q) / q - 1) / q^2 in q^2", "kAtanPolynomial",
                     root(lambda q: (atan(q) / q - 1) / q**2), mpf(2)**-60, tan(reach)**2, 5)
    print_polynomial("(sin(r) / r - 1) / r^2 in r^2", "kSinPolynomial",
                     root(lambda r: (sin(r) / r - 1) / r**2), mpf(2)**-60, reach**2, 4)
    print_polynomial("(cos(r) - 1) / r^2 in r^2", "kCosPolynomial",
                     root(lambda r: (cos(r) - 1) / r**2), mpf(2)**-60, reach**2, 4)
    print_array("sin(i / 64) and cos(i / 64), each as the sum of two.", "kSinCosSteps",
                [part for i in range(52) for f in (sin, cos) for part in split(f(mpf(i) / 64))], per_line=4)
    # Three pieces; a count of quarter turns below 2^20 times either of the first two is exact.
    pieces, rest = [], pi / 2
    for _ in range(2):
        pieces.append(mpf(int(floor(rest * mpf(2)**(32 + 33 * len(pieces))))) / mpf(2)**(32 + 33 * len(pieces)))
        rest -= pieces[-1]
    print_array("pi / 2 as the sum of three; the first two have 33 bits.", "kHalfPiPieces",
                [to_hex(piece) for piece in pieces + [rest]], per_line=3)


def print_wide():
    for comment, name, value in (("pi / 2", "kWideHalfPi", pi / 2), ("2 / pi", "kWideInverseHalfPi", 2 / pi),
                                 ("log(2)", "kWideLog2", log(2)), ("1 / log(2)", "kWideInverseLog2", 1 / log(2)),
                                 ("1 / log(10)", "kWideInverseLog10", 1 / log(10))):
        print_array(f"{comment} as a fixed-point number: 224 bits after the point, lowest word first.", name,
                    words(value, 8, 224), kind="unsigned")


def main():
    print("// The constants of the elementary functions. Printed by tools/make_math_tables.py; a test compares the two.")
    print("// clang-format off\n#pragma once\n\nnamespace kelvo::Math {")
    print_logarithm()
    print_fine_logarithm()
    print_power()
    print_trigonometry()
    print_wide()
    print("\n}  // namespace kelvo::Math")


main()
