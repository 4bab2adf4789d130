#!/usr/bin/env python3
"""Makes the fuzzers' first inputs from the example device.

make_seeds.py EXAMPLE_FOLDER OUTPUT_FOLDER

Writes OUTPUT_FOLDER/TARGET/NAME. A device of one's own will do as well as the example.
"""
import pathlib
import struct
import sys

# As in host_events_fuzzer.cpp.
COMMON_VALUES = [5, 6, 0, 4, 7, -1]
USECASES = [6, 23, 24, 0, -1]
ROTATIONS = [0, 90, 180, 270, 45, 360, -90]
EVENT_NUMBERS = [2, 4, 8, 21, 22]
CODES = [-5, 1]
LOWEST_ANGLE = -40


def index(values, value):
    """The byte that stands for a value; the first one for a value that has none."""
    return values.index(value) if value in values else 0


def config_bytes(config):
    """The beginning of an input of host_events: the conditions of the configuration's cases."""
    cases = [dict(item.split(":") for item in case.split("|")) for case in config.split()[:6]]
    result = [len(cases) - 1, 2]
    for number, case in enumerate(cases):
        low, high = case["HingeAngle"].split(",")
        rotations = [int(r) // 90 for r in case["ScreenRotation"].split(",")]
        result += [number, int(low), int(high), len(rotations) - 1,
                   sum(r << (2 * i) for i, r in enumerate(rotations))]
    return result


def step_bytes(line):
    """A line of a scenario as input of host_events; none for what that has no byte for."""
    words = line.partition("#")[0].split()
    if not words:
        return []
    verb, arguments = words[0], words[1:]
    if verb in ("announce", "withdraw"):
        return [0 if verb == "announce" else 2, index(COMMON_VALUES, int(arguments[0]))]
    if verb in ("start", "stop"):
        return [3 if verb == "start" else 5, index(USECASES, int(arguments[0]))]
    if verb == "rotation":
        return [6, index(ROTATIONS, int(arguments[0]))]
    if verb == "hinge":
        return [8, (int(arguments[0]) - LOWEST_ANGLE) % 256]
    if verb == "raw" and arguments[0] in ("common", "usecase"):
        number = int(arguments[1])
        choice = EVENT_NUMBERS.index(number) if number in EVENT_NUMBERS else number + 192
        return [11, int(arguments[0] == "usecase"), choice % 256, 1]
    if verb == "dsp" and arguments[0] == "refuse":
        return [12, int(arguments[1]) % 4, index(CODES, int(arguments[2]))]
    if verb == "dsp" and arguments[0] in ("absent", "present"):
        return [13]
    if verb == "dump":
        return [14]
    if verb == "deinit":
        return [15]
    if verb == "init":
        return [15, 0, 0]
    return []


def message(message_type, payload):
    return struct.pack("<iI", message_type, len(payload)) + payload


def response(text):
    numbers = [float(field) for line in text.splitlines() for field in line.split(",")]
    return struct.pack(f"<{len(numbers)}f", *numbers)


def chunk(name, content, order="<"):
    return name + struct.pack(order + "I", len(content)) + content


def audio_files():
    """An impulse response as WAV of 16 bit, as extensible WAV of floats and as AIFF."""
    samples = [0.5 * (-0.9) ** n for n in range(300)]
    whole = [round(32767 * sample) for sample in samples]
    pcm = chunk(b"fmt ", struct.pack("<HHIIHH", 1, 1, 48000, 96000, 2, 16)) + chunk(
        b"data", struct.pack(f"<{len(whole)}h", *whole))
    yield "wav", chunk(b"RIFF", b"WAVE" + pcm)
    guid = struct.pack("<HHIH", 22, 32, 0, 3) + bytes.fromhex("000000001000800000aa00389b71")
    floats = chunk(b"fmt ", struct.pack("<HHIIHH", 0xfffe, 1, 48000, 192000, 4, 32) + guid) + chunk(
        b"data", struct.pack(f"<{len(samples)}f", *samples))
    yield "wavex", chunk(b"RIFF", b"WAVE" + floats)
    rate = bytes.fromhex("400ebb80000000000000")  # 48000 as a number of 80 bits
    aiff = chunk(b"COMM", struct.pack(">hIh", 1, len(whole), 16) + rate, ">") + chunk(
        b"SSND", bytes(8) + struct.pack(f">{len(whole)}h", *whole), ">")
    yield "aiff", chunk(b"FORM", b"AIFF" + aiff, ">")


def measurements():
    """A response in several dresses, and impulse responses."""
    points = [(100 * 2 ** (n / 12), 80 - n / 7, -3 * n) for n in range(40)]
    lines = [f"{hz:.2f} {db:.3f} {degrees:.1f}\n" for hz, db, degrees in points]
    plain = "".join(lines)
    yield "frd", ("* Freq(Hz) SPL(dB) Phase(degrees)\n" + plain).encode()
    yield "comma", ("Frequency;Level\r\n" + plain.replace(" ", ";").replace(".", ",")).encode()
    yield "wide", plain.replace(" ", "\t").encode("utf-16")
    yield "thousands", "".join(f'"{1000 * n:,}.5",80\n' for n in range(1, 9)).encode()
    yield "csv", ("Freq,SPL(dB),Coherence\n" + plain.replace(" ", ", ")).encode()
    yield "impulse", ("0.5 // Peak value\n2.083E-5 // Sample interval\n-0.001 // Start time\n"
                      + "".join(f"{0.5 * 0.8 ** n:.6f}\n" for n in range(60))).encode()
    yield from audio_files()


def main(example, output):
    seeds = {}
    config = (example / "device.conf").read_text().removesuffix("\n")
    seeds["config/device"] = config.encode()
    for number, case in enumerate(config.split(" ")):
        seeds[f"config/case_{number}"] = case.encode()
        # The names that the fuzzer has files for.
        items = [item for item in case.split("|") if "Channel" not in item]
        seeds[f"config/small_{number}"] = "|".join(
            items + ["LeftChannel:a", "RightChannel:c"]).encode()
    # What mutation seldom comes upon: ranges at their limits, and many cases.
    for bounds in ("0,180", "0,181", "-1,180", "90,90", "90,89"):
        seeds[f"config/range_{bounds}"] = (
            f"HingeAngle:{bounds}|LeftChannel:a|RightChannel:c").encode()
    seeds["config/many"] = b"HingeAngle:0,1|LeftChannel:a" + 100 * b" a:b"
    seeds["config/many_good"] = " ".join(
        f"HingeAngle:{n},{n + 1}|LeftChannel:a|RightChannel:long_name.txt"
        for n in range(10)).encode()

    texts = {path.stem: path.read_text() for path in sorted((example / "etc").glob("*.txt"))}
    for name, text in texts.items():
        seeds[f"data_file/{name}"] = "".join(text.splitlines(keepends=True)[:20]).encode()

    seeds["data_file/whole"] = next(iter(texts.values())).encode()

    for path in sorted((example / "scenarios").glob("*.scenario")):
        seeds[f"scenario/{path.stem}"] = path.read_bytes()
        events = config_bytes(config)
        for line in path.read_text().splitlines():
            events += step_bytes(line)
        # Numbers are taken from the end of an input.
        seeds[f"host_events/{path.stem}"] = bytes(reversed(events))

    for name, content in measurements():
        seeds[f"measurement/{name}"] = b"\0" + content
        seeds[f"measurement/{name}_kept"] = b"\x61" + content

    masks = example.parents[1] / "tools/tavi/masks"
    for path in sorted(masks.glob("*.csv")):
        seeds[f"mask/{path.stem}"] = path.read_bytes()

    sources = [*example.glob("*.toml"), *example.parent.glob("*/*.toml")]
    for path in sorted(set(sources)):
        text = path.read_text()
        seeds[f"source/{path.stem}"] = text.encode()[:2900]
        # Each of its postures by itself.
        head, *postures = text.split("[[posture]]")
        for number, posture in enumerate(postures):
            seeds[f"source/{path.stem}_{number}"] = f"{head}[[posture]]{posture}".encode()

    active = message(0, struct.pack("<I", 1))
    responses = [response("\n".join(text.splitlines()[:20])) for text in texts.values()]
    seeds["dsp_messages/status"] = active
    for number in range(0, len(responses) - 1, 2):
        pair = message(16, responses[number]) + message(17, responses[number + 1])
        seeds[f"dsp_messages/case_{number // 2}"] = pair
        seeds[f"dsp_messages/capture_{number // 2}"] = active + pair

    # A call in a log, with the dump and the capture of it behind it.
    engine = "audio_hw_telephony_speaker_compensation"
    keys = "Case Keys : {Name : HingeAngle, Supported Index: {0 } }"
    log = [("audio_hw_compensation", "compensation_init: initialize successfully"),
           ("audio_hw_compensation", "audio_hw_compensation: common event 2"),
           ("audio_hw_compensation", "audio_hw_compensation: use case event 21"),
           (engine, "UpdateModuleStatus: update tuning with size 12"),
           (engine, f"UpdateTuningData: update case keys: {keys}"),
           (engine, "UpdateTuningData: update tuning with size 48"),
           (engine, f"UpdateTuningData: update case keys: previous{keys} -> {keys}"),
           (engine, "UpdateTuningData: fail to update tuning.")]
    text = "".join(f"11-22 00:07:12.{n:03}  1041  2001 I {tag}: {message}\n"
                   for n, (tag, message) in enumerate(log)).encode()
    dump = (b"TelephonySpeakerCompensation :\n  Optional Parameters:\n"
            b"    hinge angle:30, screen rotation:0\n  Supported Scenario Is Active:true\n"
            b"  Previous Case Keys: Null\n  TuningData:\n    Case Keys [0] :\n"
            b"      Name : HingeAngle, Supported Index: {0 }\n    Output [0] :\n"
            b"      FileName: a.txt, Type:0, Data Size:4\n      FileName: , Type:1, Data Size:4\n"
            b"  Parameter Index:\n      HingeAngle {[0~60]:0, }\n")
    call = active + message(16, struct.pack("<2f", 1, 0)) + message(17, struct.pack("<2f", 2, 0))
    head = struct.pack("<12I", 0x0a0d0d0a, 28, 0x1a2b3c4d, 1, 2**32 - 1, 2**32 - 1, 28,
                       1, 20, 147, 0, 20)
    packet = struct.pack("<7I", 6, 44 + 16, 0, 0, 7, 12, 12) + active
    packet += struct.pack("<HH8sII", 1, 8, b"result 0", 0, 44 + 16)
    seeds["material/log"] = text
    seeds["material/brief"] = b"".join(
        f"I/{tag}( 1041): {message}\r\n".encode() for tag, message in log)
    seeds["material/dump"] = dump
    seeds["material/mixed"] = text + dump + call
    seeds["material/pcapng"] = head + packet

    for name, content in seeds.items():
        path = output / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
