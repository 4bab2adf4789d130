#!/usr/bin/env python3
"""The report's page in a real browser. Fails when there is none.

    page_test.py TAVI EXAMPLE_DEVICE_FOLDER

Every page that a test opens must be silent: nothing on the console, and no request but the one for
itself. With TAVI_SCREENSHOTS=FOLDER the pictures that the tests take are kept there.
"""

import cmath
import math
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest
import wave

import webdriver

TAVI = pathlib.Path(sys.argv[1])
EXAMPLE = pathlib.Path(sys.argv[2])
CHARTS = ("left-magnitude", "left-phase", "right-magnitude", "right-phase")

# The curves of a chart: the numbers that the charting library was given.
CURVES = """
return Chart.getChart(arguments[0]).data.datasets.map(set => ({
  label: set.label, x: set.data.map(p => p.x),
  y: set.data.map(p => Number.isNaN(p.y) ? null : p.y)}));
"""


def read_bins(path):
    return [complex(*map(float, line.split(","))) for line in path.read_text().split()]


def decibels(value):
    return 20 * math.log10(abs(value))


def unwrapped_degrees(bins):
    """The phase of every bin, None where there is none: by the turn from each bin to the next."""
    phases, last = [], None
    for value in bins:
        if value == 0 or cmath.isnan(value):
            phases.append(None)
            continue
        phase = (
            cmath.phase(value) if last is None else phases[last] + cmath.phase(value / bins[last])
        )
        phases.append(phase)
        last = len(phases) - 1
    return [None if phase is None else math.degrees(phase) for phase in phases]


def lines(bins):
    return "".join(f"{value.real!r},{value.imag!r}\n" for value in bins)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = webdriver.Browser()
        cls.addClassCleanup(cls.browser.close)
        folder = tempfile.TemporaryDirectory(prefix="tavi_test_")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.pictures = pathlib.Path(os.environ.get("TAVI_SCREENSHOTS", cls.folder))

    def setUp(self):
        self.url = None
        self.browser.emulate(1400, 900)

    def tearDown(self):
        if self.url is not None:
            self.assertEqual(self.browser.complaints(), [])
            requests = {request.split("#")[0] for request in self.browser.requests()}
            self.assertEqual(requests, {self.url})
        self.browser.open("about:blank")
        self.browser.requests()

    # ---- Pages ----------------------------------------------------------------------------------

    def open_report(self, config, data_root, *arguments):
        page = self.folder / "report.html"
        command = [TAVI, "report", "--config", config, "--data-root", data_root, "-o", page]
        subprocess.run([*command, *arguments], check=True, stdout=subprocess.DEVNULL)
        self.url = page.as_uri()
        self.browser.open(self.url)
        return page

    def open_example(self, *arguments):
        return self.open_report(EXAMPLE / "device.conf", EXAMPLE / "etc", *arguments)

    def open_config(self, text, files, *arguments):
        root = tempfile.mkdtemp(dir=self.folder)
        for name, content in files.items():
            path = os.path.join(os.fsencode(root), os.fsencode(name))
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(content.encode())
        config = os.path.join(root, "device.conf")
        with open(config, "wb") as file:
            file.write(os.fsencode(text))
        return self.open_report(config, root, *arguments)

    # ---- What is on them ------------------------------------------------------------------------

    def focus(self, selector):
        self.browser.run("document.querySelector(arguments[0]).focus()", selector)

    def choose(self, selector, key, times=1):
        self.focus(selector)
        self.browser.press(*[key] * times)

    def property(self, selector, name):
        return self.browser.run(
            "return document.querySelector(arguments[0])[arguments[1]]", selector, name
        )

    def in_all(self, selector, expression):
        """The values of a script's expression of each `node` there is."""
        return self.browser.run(
            f"return [...document.querySelectorAll(arguments[0])].map(node => {expression})",
            selector,
        )

    def curves(self, chart):
        return self.browser.run(CURVES, chart)

    def assert_posture(self, name, case):
        """The selected posture and what is taken there; `case` is a number or None."""
        self.assertEqual(self.browser.text("#posture-name"), name)
        taken = self.browser.text("#taken")
        if case is None:
            self.assertEqual(taken, "No case")
        else:
            self.assertIn(f"Case {case} ", taken)
        marked = self.in_all(".cell[aria-selected=true]", "node.ariaLabel")
        self.assertEqual(len(marked), 1)
        self.assertRegex(marked[0], f": {'no case' if case is None else f'case {case}'}\\b")

    def assert_curves(self, channel, expected, rate):
        """The curves of a channel: a list of a case and the bins of its data file for each."""
        magnitudes, phases = self.curves(f"{channel}-magnitude"), self.curves(f"{channel}-phase")
        for curves in (magnitudes, phases):
            self.assertEqual(
                [curve["label"] for curve in curves], [f"Case {case}" for case, _ in expected]
            )
        for (_, bins), magnitude, phase in zip(expected, magnitudes, phases):
            # Bin 0 has no place on a logarithmic axis.
            self.assertEqual(magnitude["x"], [bin * rate / 512 for bin in range(1, len(bins))])
            self.assertEqual(phase["x"], magnitude["x"])
            degrees = unwrapped_degrees(bins)
            for bin in range(1, len(bins)):
                if degrees[bin] is None:
                    self.assertIsNone(magnitude["y"][bin - 1], f"bin {bin}")
                    self.assertIsNone(phase["y"][bin - 1], f"bin {bin}")
                else:
                    self.assertAlmostEqual(magnitude["y"][bin - 1], decibels(bins[bin]), delta=2e-4)
                    self.assertAlmostEqual(phase["y"][bin - 1], degrees[bin], delta=1e-3)

    def assert_fits(self):
        width, window = self.browser.run(
            "return [document.documentElement.scrollWidth, innerWidth]"
        )
        self.assertLessEqual(width, window, "it is to be scrolled sideways")

    # ---- The tests' own means -------------------------------------------------------------------

    def test_complaints_and_requests_would_be_seen(self):
        page = self.folder / "noisy.html"
        page.write_text(
            "<script>console.warn('a warning')</script><img src='http://127.0.0.1:9/image.png'>"
        )
        self.browser.open(page.as_uri())
        self.assertIn("http://127.0.0.1:9/image.png", self.browser.requests())
        complaints = self.browser.complaints()
        self.assertTrue(any("a warning" in complaint for complaint in complaints))
        self.assertTrue(any("image.png" in complaint for complaint in complaints))

    def test_the_page_could_ask_for_nothing(self):
        self.open_example()
        self.browser.run(
            "new Image().src = 'http://127.0.0.1:9/image.png';"
            "fetch('http://127.0.0.1:9/data.json').catch(() => {});"
        )
        self.browser.settle()
        complaints = self.browser.complaints()
        for name in ("image.png", "data.json"):
            refusals = [text for text in complaints if name in text]
            self.assertTrue(refusals)
            for text in refusals:
                self.assertIn("Content Security Policy", text)
        self.url = None  # it was made to ask

    # ---- Postures -------------------------------------------------------------------------------

    def test_slider_and_rotations_by_keyboard(self):
        self.open_example()
        self.assert_posture("Hinge 0°, rotation 0°", 0)
        self.choose("#hinge", webdriver.RIGHT, 44)
        self.assert_posture("Hinge 44°, rotation 0°", 0)
        self.browser.press(webdriver.RIGHT)
        self.assert_posture("Hinge 45°, rotation 0°", 1)
        self.assertEqual(self.property("#hinge", "ariaValueText"), "45°, case 1")
        delivery = self.browser.text("#delivery")
        for message in (
            "Status type 0: the scenario is active 12",
            "Left type 16, 257 bins, spk_desk_left.txt 2064",
            "Right type 17, 257 bins, spk_desk_right.txt 2064",
            "one write of 4128 bytes",
        ):
            self.assertIn(message, delivery)
        self.assertEqual(self.property("#shown", "value"), "1")

        for rotation, case in ((90, 3), (180, 2), (270, 3)):
            self.choose("#rotations input:checked", webdriver.RIGHT)
            self.assert_posture(f"Hinge 45°, rotation {rotation}°", case)
        self.choose("#hinge", webdriver.END)
        self.assert_posture("Hinge 180°, rotation 270°", 5)
        self.choose("#no-reading", webdriver.SPACE)
        self.assert_posture("Before the first reading, rotation 270°", None)
        self.assertIn("The DSP keeps", self.browser.text("#delivery"))
        self.assertNotIn("type 16", self.browser.text("#delivery"))
        self.choose("#hinge", webdriver.HOME)  # a reading
        self.assert_posture("Hinge 0°, rotation 270°", 0)

    def test_map_by_pointer_and_keyboard(self):
        self.open_example()
        # Below "no reading" and the rotations 0 and 90.
        box = self.in_all(
            "#map [role=row]:nth-child(4) .map-track", "node.getBoundingClientRect()"
        )[0]
        self.browser.point(box["x"] + 100.5 / 181 * box["width"], box["y"] + box["height"] / 2)
        self.browser.click_here()
        self.assert_posture("Hinge 100°, rotation 180°", 2)
        # By the arrow keys from one stretch of angles to the next.
        for key, name, case in (
            (webdriver.RIGHT, "Hinge 135°, rotation 180°", 4),
            (webdriver.UP, "Hinge 135°, rotation 90°", 5),
            (webdriver.LEFT, "Hinge 134°, rotation 90°", 3),
            (webdriver.HOME, "Hinge 0°, rotation 90°", 0),
            (webdriver.UP, "Hinge 0°, rotation 0°", 0),
            (webdriver.UP, "Before the first reading, rotation 0°", None),
            (webdriver.RIGHT, "Before the first reading, rotation 90°", None),
            (webdriver.DOWN, "Hinge 0°, rotation 0°", 0),
            (webdriver.END, "Hinge 180°, rotation 0°", 4),
        ):
            self.browser.press(key)
            self.assert_posture(name, case)

    def test_overlap_and_gap(self):
        self.open_config(
            "HingeAngle:0,90|LeftChannel:a|RightChannel:a"
            " HingeAngle:80,100|LeftChannel:b|RightChannel:b",
            {"a": lines([1] * 257), "b": lines([0.5] * 257)},
        )
        row = "#map [role=row]:nth-child(2) .cell"
        cells = self.in_all(row, "[node.ariaLabel, node.innerText]")
        self.assertEqual(
            cells,
            [
                ["Rotation 0°, hinge 0 to 90°: case 0, alternating with case 1", "0 ⇄ 1"],
                ["Rotation 0°, hinge 91 to 100°: case 1", "1"],
                ["Rotation 0°, hinge 101 to 180°: no case", "none"],
            ],
        )
        looks = self.in_all(row, "getComputedStyle(node).backgroundImage")
        self.assertEqual(len(set(looks)), 3, "told apart by a pattern, not by colour alone")
        taken = self.browser.text("#taken")
        self.assertRegex(taken, r"Case 0 .*\n.*by turns with\n1\nCase 1 ")
        self.assertIn("case 1", self.browser.text("#delivery"))
        self.choose("#hinge", webdriver.END)
        self.assert_posture("Hinge 180°, rotation 0°", None)
        self.assertIn("Not the case of the selected posture", self.browser.text("#shown-note"))

    # ---- Responses ------------------------------------------------------------------------------

    def test_curves_are_the_data_files(self):
        self.open_example("--rate", "44100")
        self.assertIn("44100 Hz", self.browser.text("#facts"))

        def files(case, name):
            return {
                channel: [(case, read_bins(EXAMPLE / "etc" / f"spk_{name}_{channel}.txt"))]
                for channel in ("left", "right")
            }

        closed, tent = files(0, "closed"), files(2, "tent")
        for channel in ("left", "right"):
            self.assert_curves(channel, closed[channel], 44100)
        # Another case beside it.
        self.choose("#overlay", webdriver.DOWN, 2)
        self.assertEqual(self.property("#overlay", "value"), "2")
        for channel in ("left", "right"):
            self.assert_curves(channel, closed[channel] + tent[channel], 44100)
            self.assertIn(f"spk_tent_{channel}.txt", self.browser.text(f"#{channel} .legend"))
        dashed = self.browser.run(
            "const sets = Chart.getChart('left-phase').data.datasets;"
            "return sets.map(set => set.borderDash.length > 0)"
        )
        self.assertEqual(dashed, [False, True])
        # The chosen case follows the posture.
        self.choose("#hinge", webdriver.RIGHT, 45)
        self.assert_curves("right", files(1, "desk")["right"] + tent["right"], 44100)
        axis = self.browser.run(
            "const {x} = Chart.getChart('left-magnitude').scales; return [x.type, x.min, x.max]"
        )
        self.assertEqual(axis, ["logarithmic", 44100 / 512, 22050])

    def exact(self, bins, bin):
        """How the page writes a bin's value."""
        degrees = unwrapped_degrees(bins)[bin]
        return f"{decibels(bins[bin]):.3f} dB, {degrees:.2f}°".replace("-", "−")

    def test_exact_values_under_pointer_and_keys(self):
        self.open_example()
        left = read_bins(EXAMPLE / "etc" / "spk_closed_left.txt")
        right = read_bins(EXAMPLE / "etc" / "spk_closed_right.txt")
        # To where the charting library has bin 37.
        x, y = self.browser.run(
            "const chart = Chart.getChart('left-magnitude');"
            "chart.canvas.scrollIntoView({block: 'center'});"
            "const box = chart.canvas.getBoundingClientRect();"
            "return [box.x + chart.scales.x.getPixelForValue(37 * 93.75), box.y + 40]"
        )
        self.browser.point(x, y)
        self.browser.settle()
        tooltip = self.browser.run(
            "const tip = Chart.getChart('left-magnitude').tooltip;"
            "return [tip.opacity, tip.title, tip.body.flatMap(item => item.lines)]"
        )
        self.assertEqual(tooltip[0], 1)
        self.assertEqual(tooltip[1], ["Bin 37, 3468.75 Hz"])
        self.assertEqual([text.strip() for text in tooltip[2]], [f"Case 0: {self.exact(left, 37)}"])
        for channel, bins in (("left", left), ("right", right)):
            readout = self.browser.text(f"#{channel} .readout")
            self.assertIn(self.exact(bins, 37), readout)
            self.assertIn("magnitude 0, no phase", readout, "of bin 0")

        self.choose("#right-phase", webdriver.HOME)
        self.browser.press(webdriver.RIGHT, webdriver.RIGHT)
        self.assertIn(
            f"Bin 3\n281.25 Hz\n{self.exact(right, 3)}", self.browser.text("#right .readout")
        )
        self.assertIn(self.exact(right, 3), self.property("#right-phase", "ariaValueText"))
        self.browser.press(webdriver.END)
        self.assertIn("Bin 256\n24000 Hz", self.browser.text("#left .readout"))

    def test_channels_without_a_curve(self):
        nan = complex("nan")
        gaps = [cmath.rect(0.5 + bin / 257, -bin / 9) for bin in range(257)]
        gaps[40] = nan
        gaps[41] = complex(1, math.nan)
        gaps[90] = gaps[92] = 0j
        self.open_config(
            "ScreenRotation:0|LeftChannel:missing|RightChannel:good"
            " ScreenRotation:90|LeftChannel:empty|RightChannel:gaps"
            " ScreenRotation:180|LeftChannel:nothing|RightChannel:single"
            " ScreenRotation:270|LeftChannel:good|RightChannel:good",
            {
                "good": lines([1, 2, 4j]),
                "empty": "\n",
                "gaps": lines(gaps),
                "nothing": lines([nan] * 257),
                "single": lines([1]),
            },
        )

        def see(channel):
            """The notices of a channel, and whether its curves are to be seen."""
            notices = self.browser.text(f"#{channel} .notices")
            return notices, self.property(f"#{channel} .plots", "offsetHeight") > 0

        notice, has_plots = see("left")
        self.assertRegex(
            notice, "^Case 0 is sent flat: 257 bins of 1 \\+ 0i, for missing cannot be used"
        )
        self.assertTrue(has_plots)
        (flat,) = self.curves("left-magnitude")
        self.assertEqual((flat["label"], set(flat["y"])), ("Case 0, flat", {0}))
        self.assertRegex(
            self.browser.text("#verdict"),
            r"accepts all 4 cases; 1 channel flat, 1 channel not sent, 2 channels with NaN, \d other",
        )
        self.assertIn("flat for want of a usable missing 2064", self.browser.text("#delivery"))
        self.assertEqual(see("right"), ("", True))
        self.assert_curves("right", [(0, [1, 2, 4j])], 48000)

        self.choose("#rotations input:checked", webdriver.RIGHT)
        notice, has_plots = see("left")
        self.assertRegex(notice, "^Case 1 is not sent on this channel: empty holds no data")
        self.assertFalse(has_plots)
        self.assertIn("Left not sent: empty holds no data", self.browser.text("#delivery"))
        notice, has_plots = see("right")
        self.assertRegex(notice, "^Case 1 is not finite: bins 40 and 41 of gaps hold NaN")
        self.assertIn("has magnitude 0 in bins 90 and 92", notice)
        self.assertTrue(has_plots)
        self.assert_curves("right", [(1, gaps)], 48000)
        self.choose("#right-magnitude", webdriver.HOME)
        self.browser.press(*[webdriver.RIGHT] * 39)
        self.assertIn("not a number", self.browser.text("#right .readout"))

        self.choose("#rotations input:checked", webdriver.RIGHT)
        self.assertRegex(see("left")[0], "^Case 2 is not finite: bins 0 to 256 ")
        self.assertFalse(see("left")[1])
        self.assertEqual(
            see("right"),
            ("Case 2 has bin 0 only, which a logarithmic axis has no place for.", False),
        )
        self.assertIn("0.000 dB, 0.00°", self.browser.text("#right .readout"))
        # What it is compared with has its curve all the same.
        self.choose("#overlay", webdriver.DOWN, 3)
        self.assert_curves("left", [(3, [1, 2, 4j])], 48000)
        self.assertTrue(see("left")[1])

    def test_views_zoom_and_address(self):
        self.open_example()
        seen = "node.offsetHeight > 0 && node.id"

        def visible_charts():
            return [name for name in self.in_all("canvas", seen) if name]

        self.assertEqual(visible_charts(), list(CHARTS))
        scale = "const {x, y} = Chart.getChart(arguments[0]).scales; return [x.min, x.max, y.min, y.max]"
        whole = self.browser.run(scale, "left-magnitude")
        self.choose("#cases tr[data-case='2'] button", webdriver.ENTER)
        self.assertEqual(self.browser.run(scale, "right-magnitude"), whole, "one scale for all cases")
        # By keys about bin 11, in every chart; and back by the button.
        self.choose("#left-phase", "+", 3)
        zoomed = self.browser.run(scale, "right-magnitude")
        self.assertTrue(whole[0] <= zoomed[0] < 11 * 93.75 < zoomed[1] < whole[1], zoomed)
        self.assertEqual(zoomed[2:], whole[2:])
        self.choose("#reset-zoom", webdriver.SPACE)
        self.assertEqual(self.browser.run(scale, "right-magnitude"), whole)
        # By the wheel where the chart was chosen.
        self.focus("#left-magnitude")
        self.browser.run(
            "const canvas = document.activeElement, box = canvas.getBoundingClientRect();"
            "canvas.dispatchEvent(new WheelEvent('wheel', {deltaY: -1, cancelable: true,"
            " clientX: box.x + box.width / 2, clientY: box.y + 50}))"
        )
        self.assertGreater(self.browser.run(scale, "left-phase")[0], whole[0])
        self.choose("#left-magnitude", "0")

        self.choose("#views input:checked", webdriver.RIGHT, 2)
        self.assertEqual(visible_charts(), ["left-impulse", "right-impulse"])
        (impulse,) = self.curves("right-impulse")
        self.assertEqual(impulse["x"], list(range(512)))
        self.assertEqual(impulse["y"].index(max(impulse["y"])), 9, "held back 9 samples")
        self.assertIn("Energy outside of the first 257 taps", self.browser.text("#right .time"))
        self.browser.press(webdriver.RIGHT)
        self.assertEqual(visible_charts(), ["pair-magnitude", "pair-difference"])
        left, right = (read_bins(EXAMPLE / f"etc/spk_tent_{name}.txt") for name in ("left", "right"))
        (difference,) = self.curves("pair-difference")
        for bin in range(1, 257):
            self.assertAlmostEqual(
                difference["y"][bin - 1], decibels(right[bin]) - decibels(left[bin]), delta=4e-4
            )
        self.assertIn("Right comes 0.19", self.browser.text("#pair .time"))
        self.choose("#pair-magnitude", "+")
        window = self.browser.run(scale, "pair-difference")
        self.browser.wait("location.hash.includes('hz=')")
        address = self.browser.run("return location.hash")
        # The same at another time, and by a link followed later.
        self.browser.open("about:blank")
        self.browser.open(self.url + address)
        self.assert_posture("Hinge 45°, rotation 180°", 2)
        self.assertEqual(visible_charts(), ["pair-magnitude", "pair-difference"])
        for value, wanted in zip(self.browser.run(scale, "pair-difference"), window):
            self.assertAlmostEqual(value / wanted, 1, delta=1e-4)
        self.browser.run("location.hash = '#case=5&view=delay&with=99&hz=9..1&bin=x'")
        self.browser.wait("document.querySelector('#shown').value === '5'")
        self.assertEqual(visible_charts(), ["left-delay", "right-delay"])
        self.assertEqual(self.property("#overlay", "value"), "")
        self.assert_fits()

    def test_on_paper_every_case_has_its_curves(self):
        self.open_example()
        self.browser.run("window.dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(len(self.in_all("#printed h3", "node.textContent")), 6)
        labels = self.browser.run(
            "return [...document.querySelectorAll('#printed canvas')]"
            ".map(canvas => Chart.getChart(canvas).data.datasets.map(set => set.label))"
        )
        self.assertEqual(labels, [[f"Case {case}"] for case in range(6) for _ in CHARTS])
        self.browser.run("window.dispatchEvent(new Event('afterprint'))")
        self.assertEqual(self.in_all("#printed canvas", "node.id"), [])

    # ---- Findings and cases ---------------------------------------------------------------------

    def test_findings_lead_to_their_cases(self):
        good = "HingeAngle:0,90|ScreenRotation:0|LeftChannel:good|RightChannel:good"
        self.open_config(
            f"{good} HingeAngle:91,180|ScreenRotation:90|LeftChannel:missing|RightChannel:good"
            f" HingeAngle:91,180|Rotation:0|LeftChannel:good|RightChannel:good {good}",
            {"good": lines([1] * 257)},
        )
        self.assertIn("first 2 cases of 4 only", self.browser.text("#verdict"))

        def follow(name):
            names = self.in_all(".finding-name", "node.textContent")
            finding = names.index(name)
            self.choose(f".finding:nth-child({finding + 1}) button", webdriver.ENTER)

        self.assertRegex(self.browser.text(".finding"), "^error\n", "the worst first")
        follow("flat-response")
        self.assert_posture("Hinge 91°, rotation 90°", 1)
        self.assertIn("is sent flat", self.browser.text("#left .notices"))
        follow("uncovered-posture")
        self.assertEqual(self.browser.text("#taken"), "No case")
        follow("unknown-condition")  # of a case that is not in force
        self.assertEqual(self.property("#shown", "value"), "2")
        self.assertIn("Case 2 is not in force", self.browser.text("#right .notices"))
        self.choose("#cases tr[data-case='0'] button", webdriver.ENTER)
        self.assert_posture("Hinge 0°, rotation 0°", 0)
        self.assertEqual(
            self.browser.text("#cases tr[data-case='1']").split("\n"),
            [
                "1",
                "hinge 91,180; rotation 90 hinge 91 to 180°, rotation 90° missing",
                "sent flat",
                "good",
            ],
        )

    def test_no_case(self):
        for text, verdict, delivery in (
            ("", "finds no case", "Nothing"),
            ("junk HingeAngle:0,90|LeftChannel:a|RightChannel:a", "finds no case", "Nothing"),
            (
                "HingeAngle:90,0|LeftChannel:a|RightChannel:a",
                "refuses the first case",
                "No corrections",
            ),
        ):
            with self.subTest(text=text):
                self.open_config(text, {"a": lines([1])})
                self.assertIn(verdict, self.browser.text("#verdict"))
                self.assertIn(delivery, self.browser.text("#delivery"))
                self.assert_posture("Hinge 0°, rotation 0°", None)
                self.choose("#hinge", webdriver.END)
                self.assert_posture("Hinge 180°, rotation 0°", None)
                self.assertEqual(self.curves("left-magnitude"), [])
                self.assert_fits()

    def test_hostile_names_are_only_text(self):
        names = [
            "</script><script>window.hacked=1</script>",
            "<img/src=x/onerror=window.hacked=1>",
            "\"'><b>&lt;&amp;",
            "@@script@@",
            "\\u003c\\n",
            "right\u202eto\u2028left",
            os.fsdecode(b"\xff\xc3\x28\x01"),
            "n" * 300,  # one long word
        ]
        self.open_config(
            " ".join(
                f"HingeAngle:{10 * i},{10 * i + 9}|LeftChannel:{name}|RightChannel:{name}"
                for i, name in enumerate(names)
            )
            + " <b>|x",
            {names[0]: lines([1]), names[1]: lines([1])},
        )
        shown = ["\ufffd\ufffd(\\x01" if "\x01" in name else name for name in names]
        shown[5] = "right\\u{202e}to\\u{2028}left"
        cells = self.in_all("#cases td:nth-child(4) code", "node.textContent")
        self.assertEqual(cells[: len(shown)], shown)
        self.choose("#hinge", webdriver.RIGHT, 10)
        self.assertIn(names[1], self.browser.text("#delivery"))
        self.assertIsNone(self.browser.run("return window.hacked"))
        self.assertEqual(self.in_all("main img, main b, main script", "node.tagName"), [])
        self.browser.emulate(360, 740)
        self.assert_fits()

    # ---- Listening ------------------------------------------------------------------------------

    def heard(self):
        """The peak of each channel of what is chosen, in samples that the browser decodes."""
        return self.browser.run(
            "const bytes = Uint8Array.from(atob(document.querySelector('audio').src.split(',')[1]),"
            " c => c.charCodeAt(0));"
            "return new OfflineAudioContext(2, 1, 48000).decodeAudioData(bytes.buffer).then(sound =>"
            " [0, 1].map(n => Math.max(...sound.getChannelData(n).map(Math.abs))))"
        )

    def test_the_cases_are_heard(self):
        audio = self.folder / "pulse.wav"
        with wave.open(str(audio), "wb") as file:
            file.setparams((1, 2, 48000, 0, "NONE", ""))
            file.writeframes(struct.pack("<24000h", *[8192] + [0] * 23999))
        files = {"a.txt": lines([1] * 257), "b.txt": lines([0.5] * 257), "one.txt": lines([1])}
        text = " ".join(
            f"HingeAngle:{10 * number},{10 * number + 9}|LeftChannel:{left}|RightChannel:{right}"
            for number, (left, right) in enumerate(
                [("a.txt", "b.txt"), ("a.txt", "one.txt"), ("a.txt", "b.txt"), ("b.txt", "b.txt")]
            )
        )
        self.open_config(text, files, "--listen", audio)
        self.assertEqual(self.in_all("#listen-choices label", "node.textContent"),
                         ["Bypassed", "Case 0 and 2", "Case 3"])
        self.assertIn("without case 1,", self.browser.text("#listen-note"))
        for choice, peaks in enumerate([(0.25, 0.25), (0.25, 0.125), (0.125, 0.125)]):
            if choice > 0:
                self.choose("#listen-choices input:checked", webdriver.RIGHT)
            for peak, expected in zip(self.heard(), peaks):
                self.assertAlmostEqual(peak, expected, delta=1e-4)
            self.browser.run("return new Promise(done => { const player ="
                             " document.querySelector('audio'); player.onseeked = done;"
                             " player.currentTime = 0.2; })")
        self.assertEqual(self.property("audio", "error"), None)
        self.assertAlmostEqual(self.property("audio", "duration"), 0.5, delta=0.01)
        self.assert_fits()
        # Without audio there is nothing to be heard.
        self.open_example()
        self.assertTrue(self.property("#listen", "hidden"))

    def test_many_cases(self):
        cases = [
            f"HingeAngle:{2 * (i // 4 % 90)},{2 * (i // 4 % 90) + 1}|ScreenRotation:{i % 4 * 90}"
            f"|LeftChannel:f{i % 7}|RightChannel:f{i % 5}"
            for i in range(400)
        ]
        files = {
            f"f{i}": lines([cmath.rect(1 + i / 10, -bin * i / 50) for bin in range(257)])
            for i in range(7)
        }
        page = self.open_config(" ".join(cases), files)
        self.assertLess(page.stat().st_size, 1_500_000, "equal responses are to stand once")
        self.choose("#cases tr[data-case='359'] button", webdriver.ENTER)
        self.assert_posture("Hinge 178°, rotation 270°", 359)
        self.browser.emulate(360, 740)
        self.assert_fits()

    # ---- Looks ----------------------------------------------------------------------------------

    def looks(self):
        """The page's colours, and those of its charts' labels."""
        return self.browser.run(
            "const {backgroundColor, color} = getComputedStyle(document.documentElement);"
            "const probe = document.body.appendChild(document.createElement('i'));"
            "const rgb = text => {"
            "  probe.style.color = text; return getComputedStyle(probe).color; };"
            "const charts = arguments[0].map(id => Chart.getChart(id));"
            "const labels = charts.flatMap(chart => Object.values(chart.options.scales)"
            "  .flatMap(axis => [axis.ticks.color, axis.title.color])).map(rgb);"
            "const lines = charts.flatMap(chart => chart.data.datasets)"
            "  .map(set => rgb(set.borderColor));"
            "probe.remove();"
            "return [backgroundColor, color, labels, lines];",
            CHARTS,
        )

    def assert_contrast(self, on, colours, least):
        def luminance(colour):
            parts = [int(part) / 255 for part in colour[colour.index("(") + 1 : -1].split(",")[:3]]
            parts = [
                part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
                for part in parts
            ]
            return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]

        for colour in colours:
            low, high = sorted((luminance(on), luminance(colour)))
            self.assertGreaterEqual((high + 0.05) / (low + 0.05), least, f"{colour} on {on}")

    def test_themes_and_widths(self):
        self.open_example()
        pages = {}
        for theme in ("light", "dark"):
            for width in (1400, 390, 360):
                # The page stands open: it is to follow the change.
                self.browser.emulate(width, 900, theme)
                self.browser.settle()
                self.assert_fits()
                self.browser.screenshot(self.pictures / f"report-{theme}-{width}.png")
            pages[theme], text, labels, _ = self.looks()
            self.assert_contrast(pages[theme], [text, *labels], 4.5)
            for case in range(6):
                self.choose(f"#cases tr[data-case='{case}'] button", webdriver.ENTER)
                self.assert_contrast(pages[theme], self.looks()[3], 3)
        self.assertEqual(pages["light"], "rgb(255, 255, 255)")
        self.assert_contrast("rgb(255, 255, 255)", [pages["dark"]], 10)
        # On paper a dark page is a light one.
        self.browser.run("window.dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(self.looks()[0], pages["light"])
        self.assert_contrast(pages["light"], self.looks()[2], 4.5)
        self.browser.run("window.dispatchEvent(new Event('afterprint'))")
        self.assertEqual(self.looks()[0], pages["dark"])

    def test_every_control_is_reached_by_the_tab_key(self):
        self.open_example()
        reached = []
        for _ in range(40):
            self.browser.press(webdriver.TAB)
            name = self.browser.run(
                "const at = document.activeElement; return at === document.body ? null"
                " : at.id || at.getAttribute('role') || at.name || at.className || at.tagName"
            )
            if name is None:
                break
            reached.append(name)
        for control in (
            "gridcell",
            "hinge",
            "no-reading",
            "rotation",
            "shown",
            "overlay",
            *CHARTS,
            "link",
            "case-button",
        ):
            self.assertIn(control, reached)
        self.assertEqual(reached.count("gridcell"), 1, "the map is one stop")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
