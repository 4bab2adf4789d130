#!/usr/bin/env python3
"""The report's page in a real browser: views, findings, sound, themes and widths.

    page_views_test.py TAVI EXAMPLE_DEVICE_FOLDER
"""

import cmath
import math
import os
import struct
import subprocess
import sys
import unittest
import wave

import webdriver
from page_fixture import CHARTS, EXAMPLE, TAVI, PageFixture, decibels, lines, read_bins


class PageViewsTest(PageFixture):
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

    def place(self, x, y):
        """In the window, from shares of the left channel's chart of magnitude."""
        left, top, width, height = self.browser.run(
            "const chart = Chart.getChart('left-magnitude'), area = chart.chartArea;"
            "chart.canvas.scrollIntoView({block: 'center'});"
            "const box = chart.canvas.getBoundingClientRect();"
            "return [box.x + area.left, box.y + area.top, area.width, area.height]"
        )
        return [left + x * width, top + y * height]

    def windows(self, chart="right-magnitude"):
        """What is seen of a chart: parts of its axes, as shares of their whole lengths."""
        low, high, bottom, top = self.browser.run(
            "const {x, y} = Chart.getChart(arguments[0]).scales; return [x.min, x.max, y.min, y.max]",
            chart,
        )
        whole = math.log(24000 / 93.75)
        return [math.log(low / 93.75) / whole, math.log(high / 93.75) / whole, bottom, top]

    def assert_windows(self, across, scale):
        for value, expected, delta in zip(self.windows(), [*across, *scale], (0.02, 0.02, 0.6, 0.6)):
            self.assertAlmostEqual(value, expected, delta=delta)

    def test_charts_are_zoomed_by_pointer_and_fingers(self):
        self.open_example()
        *_, bottom, top = self.windows()
        height = top - bottom
        self.browser.drag(self.place(0.7, 0.5), self.place(0.2, 0.53))
        self.assert_windows((0.2, 0.7), (bottom, top))
        self.choose("#reset-zoom", webdriver.SPACE)
        self.browser.drag(self.place(0.2, 0.25), self.place(0.7, 0.75))
        self.assert_windows((0.2, 0.7), (bottom + height / 4, top - height / 4))
        self.browser.emulate(390, 844, is_phone=True)
        self.open_example()
        at = self.place
        self.browser.touch((at(0.2, 0.5), at(0.7, 0.5)))
        self.assert_windows((0.2, 0.7), (bottom, top))
        self.choose("#reset-zoom", webdriver.SPACE)
        self.browser.touch((at(0.4, 0.5), at(0.2, 0.5)), (at(0.6, 0.5), at(0.8, 0.5)))
        self.assert_windows((1 / 3, 2 / 3), (bottom, top))
        self.browser.touch((at(0.2, 0.5), at(0.4, 0.5)), (at(0.8, 0.5), at(0.6, 0.5)))
        self.assert_windows((0, 1), (bottom, top))
        self.browser.touch((at(0.25, 0.3), at(0.25, 0.1)), (at(0.75, 0.7), at(0.75, 0.9)))
        self.assert_windows((0, 1), (bottom + height / 4, top - height / 4))
        self.choose("#reset-zoom", webdriver.SPACE)
        start, end = at(0.5, 0.9), at(0.5, 0.1)
        scrolled = self.browser.run("return scrollY")
        self.browser.touch((start, end))
        self.assert_windows((0, 1), (bottom, top))
        self.assertGreater(self.browser.run("return scrollY"), scrolled, "a finger moves the page")
        self.assertEqual(self.browser.run("return visualViewport.scale"), 1)

    def test_designs_on_screen_and_paper(self):
        source = EXAMPLE.parent / "measured" / "measured.toml"
        page = self.folder / "tuning" / "report.html"
        subprocess.run([TAVI, "build", source, "-o", page.parent], check=True, stdout=subprocess.DEVNULL)
        self.url = page.as_uri()
        self.browser.emulate(1400, 900, "dark")
        self.browser.open(self.url)
        labels = ["measured", "target", "correction", "corrected", "mask, upper limit", "mask, lower limit"]
        chart = "Chart.getChart(document.querySelector(arguments[0]))"
        self.assertEqual(self.browser.run(f"return {chart}.data.datasets.map(set => set.label)",
                                          "#design-right canvas"), labels)
        dark = self.browser.run(f"return {chart}.options.scales.x.ticks.color", "#design-right canvas")
        self.browser.run("window.dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(len(self.in_all("#printed-designs canvas", "node.id")), 12)
        self.assertNotEqual(
            self.browser.run(f"return {chart}.options.scales.x.ticks.color", "#printed-designs canvas"), dark)
        self.browser.run("window.dispatchEvent(new Event('afterprint'))")
        self.assertEqual(self.in_all("#printed-designs canvas", "node.id"), [])

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
