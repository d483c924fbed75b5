"""docs/own-add-in.md: its files are written as they stand there, its commands typed, and what it
shows compared with what is printed."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
BUILD = Path(os.environ["VELORIN_BUILD"])
PAGE = (SOURCE / "docs/own-add-in.md").read_text()


class OwnAddIn(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        (self.folder / "host").symlink_to(SOURCE / "host")
        (self.folder / "build").mkdir()
        (self.folder / "build/release").symlink_to(BUILD)
        for name, _, content in re.findall(r"^`([^`]+)`:\n\n```(\w+)\n(.*?)```", PAGE, re.M | re.S):
            (self.folder / name).write_text(content)

    def type(self, command):
        return subprocess.run(command, shell=True, cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)

    def IsBuiltAndPlayedAsThePageSays(self):
        blocks = re.findall(r"^```(\w+)\n(.*?)```", PAGE, re.M | re.S)
        commands = [content for language, content in blocks if language == "sh"]
        build, play, sweep, ci = commands
        self.assertEqual((0, ""), (self.type(build).returncode, self.type(build).stderr))
        shown = {command: PAGE.split(command)[1].split("```text\n")[1].split("```")[0]
                 for command in (play, sweep)}
        played = self.type(play)
        self.assertEqual((0, shown[play], ""), (played.returncode, played.stdout, played.stderr))
        for option in "--data Autodesk/x", "--executable Autodesk/x":  # nothing is said of a file
            other = self.type(f"{play.strip()} {option}")
            self.assertEqual((shown[play], ""), (other.stdout, other.stderr))
        swept = self.type(sweep)
        self.assertEqual(3, swept.returncode)
        for line in shown[sweep].splitlines():
            self.assertIn(line, swept.stdout.splitlines())
        self.assertEqual(0, self.type(ci).returncode)
        self.assertIn("<testcase", (self.folder / "results.xml").read_text())


if __name__ == "__main__":
    unittest.main()
