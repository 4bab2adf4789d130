"""The report's page in a real browser, for the tests of it.

    TEST.py TAVI EXAMPLE_DEVICE_FOLDER

They fail when there is no browser. Every page that a test opens must be silent: nothing on the console, and no request but the one for
itself. With TAVI_SCREENSHOTS=FOLDER the pictures that the tests take are kept there.
"""

import cmath
import math
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

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


class PageFixture(unittest.TestCase):
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
