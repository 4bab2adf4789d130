#!/usr/bin/env python3
"""The report's page in a real browser: postures, curves and channels.

    page_test.py TAVI EXAMPLE_DEVICE_FOLDER
"""

import cmath
import math
import sys
import unittest

import webdriver
from page_fixture import EXAMPLE, PageFixture, decibels, lines, read_bins, unwrapped_degrees


class PageTest(PageFixture):
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
