#!/usr/bin/env python3
"""Makes the example's measurements, measured/POSTURE_CHANNEL.frd: models, measurements of nobody's.

A speaker is a small one in a closed box (a high pass of second order at its resonance), which beams
towards high frequencies (a low pass of first order). A posture puts resonances and dips on it (the
slit between the halves, the table, the hand), attenuates it, and sets the microphone's distance. The
noise of a measurement is added, the same one in every run.
"""

import argparse
import cmath
import math
import pathlib
import random
import sys

SOUND = 343.0  # m/s
FROM_HZ, TO_HZ, PER_OCTAVE = 100, 20000, 24
NOISE_DB, NOISE_DEGREES = 0.15, 1.0  # standard deviations

# Resonance in Hz and its Q, corner of the beaming in Hz, level in dB SPL.
SPEAKERS = {"left": (560, 1.1, 9000, 82.0), "right": (430, 0.9, 8000, 85.5)}

# Distance in m, attenuation in dB and the resonances: Hz, dB, Q.
POSTURES = {
    "closed": {
        "left": (0.21, 5.0, [(2500, 14.0, 2.4), (4700, -3.0, 5.0), (6900, -2.0, 1.5)]),
        "right": (0.21, 4.0, [(2450, 13.0, 2.2), (4900, -3.0, 5.0), (7200, -2.5, 1.5)]),
    },
    "desk": {
        "left": (0.24, 0.0, [(900, 1.5, 1.5), (3300, -2.5, 2.0), (5600, 2.0, 4.0)]),
        "right": (0.20, -1.0, [(400, 3.0, 0.8), (1800, -4.0, 2.2), (3900, 2.0, 3.0)]),
    },
    "tent": {
        "left": (0.22, 3.0, [(450, 3.0, 0.9), (1200, 9.0, 1.4), (6500, -7.0, 1.0)]),
        "right": (0.28, 6.0, [(420, 4.0, 0.9), (1150, 9.0, 1.4), (6000, -8.0, 1.0)]),
    },
    "book": {
        "left": (0.22, 0.0, [(1600, 3.0, 1.8), (3600, -2.0, 3.0), (7600, 1.5, 4.0)]),
        "right": (0.22, 0.0, [(1650, 3.0, 1.8), (3400, -2.0, 3.0), (7100, 1.5, 4.0)]),
    },
    "portrait": {
        "left": (0.20, 0.0, [(1050, 1.5, 3.0), (3200, 4.0, 2.0), (6300, -2.5, 6.0)]),
        "right": (0.26, 0.0, [(800, -1.5, 2.0), (2900, 3.0, 2.0), (5900, -2.0, 5.0)]),
    },
    "landscape": {
        "left": (0.21, 0.0, [(1100, 1.0, 3.0), (3100, 3.0, 2.0), (6400, -2.0, 5.0)]),
        "right": (0.21, 0.0, [(850, -1.0, 2.0), (2900, 2.5, 2.0), (6000, -2.0, 5.0)]),
    },
}


def response(hz, speaker, resonances):
    resonance_hz, q, beaming_hz, _ = speaker
    s = 1j * hz / resonance_hz
    value = s * s / (s * s + s / q + 1)
    value /= 1 + 1j * hz / beaming_hz
    for peak_hz, db, peak_q in resonances:
        s = 1j * hz / peak_hz
        root = 10 ** (db / 40)
        value *= (s * s + s * root / peak_q + 1) / (s * s + s / (root * peak_q) + 1)
    return value


def measurement(posture, channel):
    distance, attenuation, resonances = POSTURES[posture][channel]
    speaker = SPEAKERS[channel]
    noise = random.Random(f"{posture} {channel}")
    lines = [
        f"* model of the {channel} speaker, posture {posture}, microphone at {distance:.2f} m",
        "* made by make_measurements.py; measured by nobody",
        "* Freq(Hz) SPL(dB) Phase(degrees)",
    ]
    for i in range(int(PER_OCTAVE * math.log2(TO_HZ / FROM_HZ)) + 1):
        hz = FROM_HZ * 2 ** (i / PER_OCTAVE)
        value = response(hz, speaker, resonances)
        db = speaker[3] - attenuation + 20 * math.log10(abs(value)) + noise.gauss(0, NOISE_DB)
        degrees = math.degrees(cmath.phase(value)) - 360 * hz * distance / SOUND
        degrees = (degrees + noise.gauss(0, NOISE_DEGREES) + 180) % 360 - 180
        lines.append(f"{hz:.2f} {db:.2f} {degrees:.1f}")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description="Makes the example's measurements from models.")
    parser.add_argument(
        "--out",
        type=pathlib.Path,
        metavar="DIR",
        default=pathlib.Path(__file__).resolve().parent / "measured",
        help="folder of the files; default: measured, beside this script",
    )
    folder = parser.parse_args().out
    folder.mkdir(parents=True, exist_ok=True)
    for posture, channels in POSTURES.items():
        for channel in channels:
            path = folder / f"{posture}_{channel}.frd"
            path.write_text(measurement(posture, channel), encoding="ascii", newline="\n")
    print(f"{folder}: wrote {2 * len(POSTURES)} measurements")
    return 0


if __name__ == "__main__":
    sys.exit(main())
