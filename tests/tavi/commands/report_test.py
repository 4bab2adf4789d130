#!/usr/bin/env python3
"""tavi report as a command: what it writes, and its exit code.

    command_test.py TAVI EXAMPLE_DEVICE_FOLDER
"""

import hashlib
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TAVI = pathlib.Path(sys.argv[1])
EXAMPLE = pathlib.Path(sys.argv[2])


class CommandTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavi_test_")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.page = self.folder / "report.html"

    def report(self, *arguments, config=EXAMPLE / "device.conf", exit_code=0):
        command = [TAVI, "report", "--config", config, "--data-root", EXAMPLE / "etc", *arguments]
        done = subprocess.run(command, capture_output=True, check=False)
        self.assertEqual(done.returncode, exit_code, done.stderr)
        if exit_code != 0:
            self.assertNotEqual(done.stderr, b"", "it does not say why")
        return done

    def broken(self):
        config = self.folder / "broken.conf"
        config.write_text("HingeAngle:0,90|LeftChannel:no.txt|RightChannel:no.txt junk")
        return config

    def test_writes_the_page_and_says_so_in_a_line(self):
        done = self.report("-o", self.page)
        self.assertEqual(
            done.stdout.decode(),
            f"{self.page}: 6 of 6 cases in force; 0 errors, 0 warnings, 3 notes\n",
        )
        self.assertEqual(done.stderr, b"")
        self.assertTrue(self.page.read_bytes().startswith(b"<!DOCTYPE html>"))

    def test_the_same_input_gives_the_same_bytes(self):
        for extra in ([], ["--format", "json"]):
            first = self.report("-o", "-", *extra).stdout
            self.assertEqual(first, self.report("-o", "-", *extra).stdout)
            self.assertNotIn(b"\xff", first)

    def test_json_is_what_the_page_holds(self):
        done = self.report("--format", "json", "--rate", "44100")
        data = json.loads(done.stdout)
        self.assertEqual(data["rate_hz"], 44100)
        self.assertEqual(data["frequency_hz"][256], 22050)
        self.assertRegex(done.stderr.decode(), r"^report: 6 of 6 cases in force; .*\n$")
        self.report("--rate", "44100", "-o", self.page)
        held = re.search(
            r'<script type="application/json"[^>]*>(.*?)</script>', self.page.read_text(), re.DOTALL
        )
        self.assertEqual(json.loads(held[1]), data)
        self.report("--format", "json", "--rate", "44100", "-o", self.folder / "data.json")
        self.assertEqual((self.folder / "data.json").read_bytes(), done.stdout)

    def test_reports_on_a_broken_configuration(self):
        done = self.report("-o", self.page, config=self.broken())
        self.assertRegex(
            done.stdout.decode(),
            r": 1 of 2 cases in force; [1-9]\d* errors?, \d+ warnings?, \d+ notes?\n$",
        )
        self.assertIn(b"malformed-item", self.page.read_bytes())

    def test_the_gain_limit_is_the_checks(self):
        def findings(*arguments):
            data = json.loads(self.report("--format", "json", *arguments).stdout)
            return {finding["name"] for finding in data["findings"]}

        self.assertNotIn("high-gain", findings())
        self.assertIn("high-gain", findings("--max-gain", "-60"))
        self.assertIn("steep-bin", findings("--max-step", "0.5"))

    def test_hashes_are_those_of_the_files(self):
        data = json.loads(self.report("--format", "json").stdout)

        def sha256(path):
            return hashlib.sha256(path.read_bytes()).hexdigest()

        self.assertEqual(data["configuration"]["sha256"], sha256(EXAMPLE / "device.conf"))
        self.assertEqual(len(data["data_files"]), 12)
        for each in data["data_files"]:
            self.assertEqual(each["sha256"], sha256(EXAMPLE / "etc" / each["file"]))

    def test_against_an_older_configuration(self):
        old = self.folder / "old"
        shutil.copytree(EXAMPLE / "etc", old / "etc")
        text = (EXAMPLE / "device.conf").read_text().replace("0,44", "0,43").replace("45,", "44,")
        (old / "device.conf").write_text(text)
        said = self.report("-o", self.page, "--against", old).stdout.decode().splitlines()
        self.assertEqual(
            said[1:],
            [f"against {old}/device.conf: another case is taken in 4 of 728 postures, something "
             "else is sent in 4; 2 channels differ"],
        )
        said = self.report("-o", self.page, "--against", EXAMPLE).stdout.decode()
        self.assertIn("the DSP is sent the same in every posture", said)
        data = old / "etc" / "spk_desk_left.txt"
        for arguments in (["--against", data], ["--against", self.folder / "none"],
                          ["--old-root", old], ["--against", old, "-o", data, "--force"]):
            with self.subTest(arguments=arguments):
                self.report("-o", self.page, *arguments, exit_code=2)
        self.assertEqual(data.read_bytes(), (EXAMPLE / "etc" / data.name).read_bytes())

    def test_bad_usage(self):
        for rate in ("0", "-48000", "nan", "inf", "1e999", "fast", ""):
            with self.subTest(rate=rate):
                self.report("-o", self.page, f"--rate={rate}", exit_code=2)
        self.report(exit_code=2)  # a page, and no word of where to
        self.report("-o", self.page, "--format", "pdf", exit_code=2)
        self.report("-o", self.page, "--max-gain", "loud", exit_code=2)
        self.report("-o", self.page, config=self.folder / "none.conf", exit_code=2)
        self.assertFalse(self.page.exists())

    def test_what_cannot_be_written(self):
        for path in (self.folder, self.folder / "none" / "report.html", "/dev/full"):
            with self.subTest(path=path):
                self.report("-o", path, exit_code=2)
        config = self.broken()
        text = config.read_bytes()
        self.report("-o", config, config=config, exit_code=2)
        self.assertEqual(config.read_bytes(), text)
        data = self.folder / "data.txt"
        data.write_text("1,0\n")
        text = "HingeAngle:0,90|LeftChannel:data.txt|RightChannel:data.txt"
        command = [TAVI, "report", "--config-text", text, "--data-root", self.folder, "-o", data]
        done = subprocess.run(command, capture_output=True, check=False)
        self.assertEqual((done.returncode, data.read_text()), (2, "1,0\n"), done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
