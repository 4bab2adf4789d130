#!/usr/bin/env python3
"""Makes the frequency responses of the example device, etc/spk_*.txt.

Each posture has a chain of filters for the speaker in the upper half (the left channel) and one for
the speaker in the lower half (the right channel). A chain's response is the product of its filters'
responses, taken at BIN_COUNT frequencies from 0 Hz to half the sampling rate. A file holds one bin
a line, "real,imaginary".

To make your own, edit POSTURES and run the script without arguments; it needs Python 3.8 and
nothing else.
"""

import argparse
import cmath
import math
import pathlib
import re
import sys
from dataclasses import dataclass

SAMPLING_RATE = 48000  # Hz
BIN_COUNT = 257  # of an FFT of 512 points: bin 0 is 0 Hz, bin 256 is 24000 Hz
MAX_GAIN_DB = 12.0  # no bin may reach it: the amplifiers have no more headroom
DECIMALS = 8  # of the numbers in the files; what is smaller is written as 0

BUTTERWORTH = math.sqrt(0.5)  # the q of a filter without a bump at its corner


# Every filter has response(z1): its complex response where one sample's delay is z1, a point of the
# unit circle. The second-order filters are the analogue prototypes under the bilinear transform,
# warped so that `hz` stays where it is.


@dataclass(frozen=True)
class Gain:
    """The same gain at every frequency."""

    db: float

    def response(self, z1):
        return from_db(self.db)


@dataclass(frozen=True)
class Delay:
    """A delay in whole samples (20.8 us, or 7 mm of air, each).

    Half a sample has no real response at half the sampling rate, which the last bin must have.
    """

    samples: int

    def response(self, z1):
        if not isinstance(self.samples, int) or self.samples < 0:
            raise ValueError(f"{self}: a delay is a whole number of samples, 0 or more")
        return z1**self.samples


@dataclass(frozen=True)
class HighPass:
    """Takes away what lies below `hz`, 12 dB an octave."""

    hz: float
    q: float = BUTTERWORTH

    def response(self, z1):
        cosine, alpha = corner(self)
        edge = (1 + cosine) / 2
        return second_order(z1, (edge, -2 * edge, edge), (1 + alpha, -2 * cosine, 1 - alpha))


@dataclass(frozen=True)
class Peak:
    """Lifts or cuts the surroundings of `hz`; the higher `q`, the narrower."""

    hz: float
    db: float
    q: float

    def response(self, z1):
        cosine, alpha = corner(self)
        a = from_db(self.db / 2)
        return second_order(
            z1,
            (1 + alpha * a, -2 * cosine, 1 - alpha * a),
            (1 + alpha / a, -2 * cosine, 1 - alpha / a),
        )


@dataclass(frozen=True)
class LowShelf:
    """Lifts or cuts what lies below `hz`, where half of `db` is reached."""

    hz: float
    db: float
    q: float = BUTTERWORTH

    def response(self, z1):
        return shelf(self, z1, side=1)


@dataclass(frozen=True)
class HighShelf:
    """Lifts or cuts what lies above `hz`, where half of `db` is reached."""

    hz: float
    db: float
    q: float = BUTTERWORTH

    def response(self, z1):
        return shelf(self, z1, side=-1)


# The postures are those of device.conf. A posture's name is part of its files' names.
POSTURES = {
    # The halves lie on each other. Both speakers play into the slit between them: it resonates at
    # about 2.5 kHz and swallows treble. The bass lift stays small, as a slit rattles.
    "closed": {
        "left": [
            HighPass(hz=220),
            LowShelf(hz=350, db=2),
            Peak(hz=2500, db=-6, q=2.2),
            HighShelf(hz=6000, db=3),
        ],
        "right": [
            HighPass(hz=130),
            LowShelf(hz=300, db=2.5),
            Peak(hz=2500, db=-5, q=2),
            HighShelf(hz=6000, db=3.5),
        ],
    },
    # The lower half lies on the table, the upper half stands. The table lifts the lower speaker's
    # bass and its reflection takes out 1.8 kHz; being nearer to the user it is held back.
    "desk": {
        "left": [
            HighPass(hz=200),
            Peak(hz=3200, db=2, q=1),
            HighShelf(hz=7000, db=1.5),
        ],
        "right": [
            HighPass(hz=120),
            LowShelf(hz=300, db=-3),
            Peak(hz=1800, db=3, q=1.8),
            Gain(db=-2),
            Delay(samples=6),
        ],
    },
    # Both outer ends stand on the table and the hinge is on top. The speakers, in the ends, face
    # the table: too much bass, no treble, and a hollow sound from under the tent. The upper half
    # faces the user and leads; the lower half, behind it, only fills in.
    "tent": {
        "left": [
            HighPass(hz=200),
            LowShelf(hz=350, db=-4),
            Peak(hz=1200, db=-3, q=1.4),
            HighShelf(hz=4500, db=5),
        ],
        "right": [
            HighPass(hz=120),
            LowShelf(hz=400, db=-5),
            Peak(hz=1200, db=-4, q=1.4),
            HighShelf(hz=4500, db=2),
            Gain(db=-4),
            Delay(samples=9),
        ],
    },
    # The device stands on its long edge like an open book, a speaker on either side. A pair, so the
    # small speaker is brought up to the large one. The wedge between the halves lifts 1.6 kHz.
    "book": {
        "left": [
            HighPass(hz=180),
            LowShelf(hz=350, db=4),
            Peak(hz=1600, db=-3, q=1.5),
            HighShelf(hz=8000, db=1),
        ],
        "right": [
            HighPass(hz=180),
            LowShelf(hz=250, db=1),
            Peak(hz=1600, db=-3, q=1.5),
            HighShelf(hz=8000, db=2),
            Gain(db=-1.5),
        ],
    },
    # Open and upright in the hand. The speakers share the work: the lower, larger one has the bass,
    # the upper one the consonants; the lower one is nearer and held back.
    "portrait": {
        "left": [
            HighPass(hz=300),
            Peak(hz=3000, db=2.5, q=0.9),
            HighShelf(hz=8000, db=2),
            Gain(db=-1),
        ],
        "right": [
            HighPass(hz=100),
            LowShelf(hz=220, db=4),
            Peak(hz=3000, db=-1.5, q=0.9),
            Delay(samples=8),
        ],
    },
    # Open and on its side: a pair at equal distance, as in "book" but without the wedge.
    "landscape": {
        "left": [
            HighPass(hz=180),
            LowShelf(hz=350, db=5),
            HighShelf(hz=8000, db=1.5),
        ],
        "right": [
            HighPass(hz=180),
            LowShelf(hz=250, db=1.5),
            Peak(hz=3000, db=1.5, q=0.9),
            HighShelf(hz=8000, db=2.5),
            Gain(db=-1.5),
        ],
    },
}


def from_db(db):
    return 10 ** (db / 20)


def corner(section):
    """The cosine of the corner frequency's angle, and half the bandwidth, sin / 2q."""
    if not 0 < section.hz < SAMPLING_RATE / 2:
        raise ValueError(
            f"{section}: hz must lie between 0 and half the sampling rate, {SAMPLING_RATE // 2}"
        )
    if not section.q > 0:
        raise ValueError(f"{section}: q must be above 0")
    angle = 2 * math.pi * section.hz / SAMPLING_RATE
    return math.cos(angle), math.sin(angle) / (2 * section.q)


def second_order(z1, above, below):
    (b0, b1, b2), (a0, a1, a2) = above, below
    return (b0 + z1 * (b1 + z1 * b2)) / (a0 + z1 * (a1 + z1 * a2))


def shelf(section, z1, side):
    """side 1 is a low shelf; -1 mirrors it into a high shelf."""
    cosine, alpha = corner(section)
    a = from_db(section.db / 2)
    up, down = a + 1, (a - 1) * side
    slope = 2 * math.sqrt(a) * alpha
    turn = cosine * side
    return second_order(
        z1,
        (
            a * (up - (a - 1) * turn + slope),
            2 * a * (down - up * cosine),
            a * (up - (a - 1) * turn - slope),
        ),
        (
            up + (a - 1) * turn + slope,
            -2 * (down + up * cosine),
            up + (a - 1) * turn - slope,
        ),
    )


def frequency(bin_number):
    return bin_number * SAMPLING_RATE / 2 / (BIN_COUNT - 1)


def response_of(chain):
    # Exact at both ends of the half circle, so that the first and the last bin are real.
    ends = {0: 1.0, BIN_COUNT - 1: -1.0}
    bins = []
    for k in range(BIN_COUNT):
        z1 = ends[k] if k in ends else cmath.exp(-1j * math.pi * k / (BIN_COUNT - 1))
        value = complex(math.prod(section.response(z1) for section in chain))
        if not cmath.isfinite(value):
            raise ValueError(f"the response at {frequency(k):g} Hz is not finite")
        if abs(value) >= from_db(MAX_GAIN_DB):
            raise ValueError(
                f"the gain at {frequency(k):g} Hz is {20 * math.log10(abs(value)):+.1f} dB; "
                f"it must stay below {MAX_GAIN_DB:+g} dB"
            )
        bins.append(value)
    return bins


def number_text(number):
    # Adding 0 turns -0.0 into 0.0.
    return f"{round(number, DECIMALS) + 0.0:.{DECIMALS}f}".rstrip("0").rstrip(".")


def all_files():
    """File name to file content."""
    files = {}
    for posture, channels in POSTURES.items():
        if sorted(channels) != ["left", "right"]:
            raise ValueError(f'posture "{posture}" needs exactly "left" and "right"')
        for channel, chain in channels.items():
            try:
                bins = response_of(chain)
            except (ArithmeticError, AttributeError, TypeError, ValueError) as error:
                raise ValueError(f'posture "{posture}", {channel}: {error}') from error
            files[f"spk_{posture}_{channel}.txt"] = "".join(
                f"{number_text(value.real)},{number_text(value.imag)}\n" for value in bins
            )
    return files


def write_files(folder, files):
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in files.items():
        (folder / name).write_bytes(content.encode("ascii"))
    print(f"{folder}: wrote {len(files)} responses, {BIN_COUNT} bins each")


def fault_of(path, wanted):
    """What is wrong with the file, or None."""
    try:
        lines = path.read_bytes().decode("ascii").split("\n")
    except FileNotFoundError:
        return f"{path}: is missing"
    except UnicodeDecodeError as error:
        return f"{path}: byte {error.start + 1} is no ASCII character"
    wanted_lines = wanted.split("\n")
    for at, (line, wanted_line) in enumerate(zip(lines, wanted_lines), start=1):
        if not is_same_bin(line, wanted_line):
            return f'{path}:{at}: is "{printable(line)}", should be "{wanted_line}"'
    if len(lines) != len(wanted_lines):
        return f"{path}: has {len(lines) - 1} line ends, should have {len(wanted_lines) - 1}"
    return None


def is_same_bin(line, wanted):
    """The last decimal may differ by one, as it may between mathematical libraries."""
    if line == wanted:
        return True
    number = r"(-?\d+(?:\.\d+)?)"
    fields = re.fullmatch(f"{number},{number}", line, re.ASCII)
    return (
        fields is not None
        and wanted != ""
        and all(
            abs(float(field) - float(wanted_field)) < 1.5 * 10**-DECIMALS
            for field, wanted_field in zip(fields.groups(), wanted.split(","))
        )
    )


def printable(line):
    return line.encode("unicode_escape").decode("ascii")


def check_files(folder, files):
    if not folder.is_dir():
        print(f"{folder}: is no folder", file=sys.stderr)
        return 1
    faults = [fault_of(folder / name, content) for name, content in files.items()]
    faults += [
        f"{path}: no posture has this file"
        for path in sorted(folder.glob("spk_*.txt"))
        if path.name not in files
    ]
    faults = [fault for fault in faults if fault]
    for fault in faults:
        print(fault, file=sys.stderr)
    if not faults:
        print(f"{folder}: all {len(files)} responses are what this script makes")
    return 1 if faults else 0


def main():
    parser = argparse.ArgumentParser(
        description="Makes the frequency responses of the example device from the filters that "
        "stand in this script.",
        epilog="Exit code: 0 done, 1 --check found a difference, 2 bad usage, a filter that "
        "cannot be made or a file that cannot be read or written.",
    )
    parser.add_argument(
        "--out",
        type=pathlib.Path,
        metavar="DIR",
        default=pathlib.Path(__file__).resolve().parent / "etc",
        help="folder of the files; default: etc, beside this script",
    )
    parser.add_argument(
        "--check",
        action="store_true",
        help="write nothing; say whether the files on disk are what this script makes",
    )
    options = parser.parse_args()
    try:
        files = all_files()
        if options.check:
            return check_files(options.out, files)
        write_files(options.out, files)
    except (OSError, ValueError) as error:
        print(f"{parser.prog}: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
