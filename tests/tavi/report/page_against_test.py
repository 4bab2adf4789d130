#!/usr/bin/env python3
"""The report's page in a real browser, laid against an older configuration.

    page_against_test.py TAVI EXAMPLE_DEVICE_FOLDER
"""

import math
import pathlib
import shutil
import sys
import tempfile
import unittest

import webdriver
from page_fixture import EXAMPLE, PageFixture, decibels, lines, read_bins


class PageAgainstTest(PageFixture):
    def test_against_an_older_configuration(self):
        old = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        shutil.copytree(EXAMPLE / "etc", old / "etc")
        text = (EXAMPLE / "device.conf").read_text().replace("0,44", "0,34").replace("45,", "35,")
        # The first case is the last one, and louder; the second one has no use any more.
        first, second, *rest = text.split()
        (old / "device.conf").write_text(" ".join([second, *rest, first]))
        loud = [2 * value for value in read_bins(EXAMPLE / "etc/spk_closed_left.txt")]
        (old / "etc/spk_closed_left.txt").write_text(lines(loud))
        self.open_example("--against", old)
        self.assertIn("another case is taken in 40 of 728", self.browser.text("#against-note"))
        # In the map, by more than a colour.
        marks = self.in_all(".changed[role=gridcell]", "[node.title, node.innerText]")
        self.assertEqual([mark for mark in marks if "0°, hinge" in mark[0]][0],
                         ["Rotation 0°, hinge 35 to 44°: case 0 (old: case 0)", "0\n0"])
        self.assertEqual(len(marks), 4)
        # The case's own old curve, and where another one was taken that one's.
        closed, change = self.curves("left-magnitude"), self.curves("left-change")
        self.assertEqual([curve["label"] for curve in closed], ["Case 0", "Old case 5"])
        for bin in range(1, 257):
            self.assertAlmostEqual(closed[1]["y"][bin - 1], decibels(loud[bin]), delta=2e-4)
            self.assertAlmostEqual(change[0]["y"][bin - 1], -20 * math.log10(2), delta=4e-4)
        self.assertIn("−6.02 dB", self.browser.text("#left .time"))
        self.assertIn("The same is sent", self.browser.text("#right .time"))
        self.choose("#hinge", webdriver.RIGHT, 42)
        self.assertIn("takes case 0 here", self.browser.text("#taken-notes"))
        desk = read_bins(EXAMPLE / "etc/spk_desk_left.txt")
        self.assertEqual([curve["label"] for curve in self.curves("left-phase")], ["Case 0", "Old case 0"])
        self.assertAlmostEqual(self.curves("left-magnitude")[1]["y"][99], decibels(desk[100]), delta=2e-4)
        # On paper each case has the one that it was.
        self.browser.run("window.dispatchEvent(new Event('beforeprint'))")
        labels = self.browser.run(
            "return [...document.querySelectorAll('#printed .channel:first-child canvas:first-child')]"
            ".map(canvas => Chart.getChart(canvas).data.datasets.map(set => set.label)[1])"
        )
        self.assertEqual(labels[::3], [f"Old case {case}" for case in (5, 0, 1, 2, 3, 4)])
        self.browser.run("window.dispatchEvent(new Event('afterprint'))")
        # Another case in its place, and neither; a link has it.
        for value, seen in (("2", ["Case 0", "Case 2"]), ("", ["Case 0"])):
            self.browser.run("const select = document.getElementById('overlay'); select.value = arguments[0];"
                             "select.dispatchEvent(new Event('change'))", value)
            self.assertEqual([curve["label"] for curve in self.curves("left-magnitude")], seen)
            self.assertEqual(self.in_all(".plot.change", "node.offsetHeight"), [0, 0])
        self.browser.wait("location.hash.includes('with=none')")
        for width in (1400, 390):
            for theme in ("light", "dark"):
                self.browser.emulate(width, 900, theme)
                self.browser.settle()
                self.assert_fits()
                self.browser.screenshot(self.pictures / f"against-{theme}-{width}.png")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
