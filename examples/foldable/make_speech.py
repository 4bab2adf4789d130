#!/usr/bin/env python3
"""Makes audio that is like speech and says nothing: for examples and tests.

    make_speech.py [--seconds S] [--rate HZ] -o FILE.wav

No recording of a person is in it. Syllables of a voiced source (a pulse a period, its pitch falling
over a phrase) through resonators at the formants of a vowel that glides into the next one, with
hissed and burst consonants (noise through one resonator) between them, and pauses. One channel, 16
bit. The same arguments give the same bytes.
"""
import argparse
import math
import random
import struct
import sys
import wave

# The first four formants in Hz, and their bandwidths.
VOWELS = [(730, 1090, 2440, 3400), (270, 2290, 3010, 3700), (300, 870, 2240, 3300),
          (530, 1840, 2480, 3500), (570, 840, 2410, 3300), (440, 1020, 2240, 3200)]
BANDWIDTHS = (80, 100, 140, 250)
# The noise's length in seconds, its centre and bandwidth in Hz, its level.
CONSONANTS = [(0.09, 5500, 2500, 0.16), (0.08, 2800, 1200, 0.14), (0.02, 1500, 1500, 0.20),
              (0.015, 4000, 3000, 0.22), (0.03, 900, 900, 0.10)]
PEAK = 0.5


class Resonator:
    """Two poles, and a gain of 1 at 0 Hz."""

    def __init__(self, rate):
        self.rate = rate
        self.first = self.second = 0.0

    def play(self, sample, hz, bandwidth):
        radius = math.exp(-math.pi * bandwidth / self.rate)
        b = 2 * radius * math.cos(2 * math.pi * hz / self.rate)
        c = -radius * radius
        out = (1 - b - c) * sample + b * self.first + c * self.second
        self.first, self.second = out, self.first
        return out


def voiced(rate, seconds, start, end, pitch, rng):
    formants = [Resonator(rate) for _ in BANDWIDTHS]
    count = int(seconds * rate)
    phase = 0.0
    tilt = 0.0
    out = []
    for i in range(count):
        at = i / count
        phase += pitch * (1 - 0.1 * at) * (1 + 0.01 * rng.uniform(-1, 1)) / rate
        pulse = 0.0
        if phase >= 1:
            phase -= 1
            pulse = 1.0
        tilt += 0.35 * (pulse + 0.004 * rng.uniform(-1, 1) - tilt)  # a voice has less treble
        sample = tilt
        for resonator, a, b, bandwidth in zip(formants, start, end, BANDWIDTHS):
            if max(a, b) < rate / 2:
                sample = resonator.play(sample, a + (b - a) * at, bandwidth)
        out.append(sample * math.sin(math.pi * at) ** 0.5)
    return scaled(out, 1.0)


def noise(rate, seconds, hz, bandwidth, level, rng):
    resonator = Resonator(rate)
    count = max(1, int(seconds * rate))
    out = []
    before = 0.0
    for i in range(count):
        sample = resonator.play(rng.uniform(-1, 1), min(hz, 0.45 * rate), bandwidth)
        out.append((sample - before) * math.sin(math.pi * i / count))
        before = sample
    return scaled(out, level)


def scaled(samples, peak):
    most = max((abs(sample) for sample in samples), default=0.0) or 1.0
    return [sample * peak / most for sample in samples]


def speech(rate, seconds):
    rng = random.Random(1)
    out = []
    vowel = VOWELS[0]
    while len(out) < seconds * rate:
        pitch = rng.uniform(115, 135)
        for _ in range(rng.randint(4, 8)):
            following = rng.choice(VOWELS)
            out += noise(rate, *rng.choice(CONSONANTS), rng)
            out += voiced(rate, rng.uniform(0.10, 0.26), vowel, following, pitch, rng)
            out += [0.0] * int(rng.uniform(0.0, 0.03) * rate)
            vowel = following
            pitch *= 0.96
        out += [0.0] * int(rng.uniform(0.15, 0.35) * rate)
    return scaled(out[:int(seconds * rate)], PEAK)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=12.0, help="default: 12")
    parser.add_argument("--rate", type=int, default=48000, help="default: 48000")
    parser.add_argument("-o", "--output", required=True, metavar="FILE")
    options = parser.parse_args()
    if not 0 < options.seconds <= 3600 or not 8000 <= options.rate <= 192000:
        parser.error("up to an hour, at 8000 to 192000 Hz")
    samples = speech(options.rate, options.seconds)
    try:
        with wave.open(options.output, "wb") as file:
            file.setnchannels(1)
            file.setsampwidth(2)
            file.setframerate(options.rate)
            file.writeframes(struct.pack(f"<{len(samples)}h",
                                         *(round(sample * 32767) for sample in samples)))
    except OSError as error:
        sys.exit(f"make_speech: {options.output}: {error.strerror}")


if __name__ == "__main__":
    main()
