"""The host's program as on a Mac, where it starts itself once more through a link."""

import concurrent.futures
import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

HOST = Path(os.environ["VELORIN_SUBSTITUTE_HOST"])
LINKED_HOST = Path(os.environ["VELORIN_LINKED_HOST"])
LINK = "Autodesk/webdeploy/production/Fusion"
INFO_FILE = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt"


class LinkedHost(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name).resolve()
        self.data = self.folder / "the data"

    def run_host(self, *arguments, program=LINKED_HOST, typed=None, cwd=None):
        result = subprocess.run(
            [program, *arguments], input=typed, capture_output=True, text=True, check=False,
            timeout=60, cwd=cwd or self.folder,
            env={**os.environ, "HOME": str(self.folder), "XDG_DATA_HOME": "",
                 "TMPDIR": str(self.folder)},
        )
        return result.returncode, result.stdout, result.stderr

    def state(self, *arguments, **how):
        status, out, said = self.run_host(*arguments, "-", typed="start\nstate\nstop\n", **how)
        self.assertEqual((0, ""), (status, said))
        return json.loads(next(line for line in out.splitlines() if line.startswith("{")))

    def IsStartedAtThePlaceThatItReports(self):
        state = self.state("--data", self.data)
        self.assertEqual(str(self.data / INFO_FILE), state["infoFile"])
        self.assertTrue((self.data / INFO_FILE).exists())
        self.assertEqual(LINKED_HOST.resolve(), (self.data / LINK).readlink())

    def PlaysWhatTheProgramPlays(self):
        for scenario in ("first-starts", "failing-host"):
            outputs = [
                self.run_host(
                    "--data", self.folder / program.name / scenario, scenario, program=program
                )
                for program in (HOST, LINKED_HOST)
            ]
            self.assertEqual(*[
                (status, out.replace(str(self.folder / program.name), ""), said)
                for program, (status, out, said) in zip((HOST, LINKED_HOST), outputs)
            ])
            self.assertEqual(0, outputs[0][0])

    def PlaysAScenarioInAFreshFolder(self):
        info_file = self.state()["infoFile"]
        self.assertTrue(info_file.endswith(INFO_FILE))
        self.assertFalse(Path(info_file.removesuffix(INFO_FILE)).exists())

    def HostsThatStartAtOnceKeepTheirFolders(self):
        with concurrent.futures.ThreadPoolExecutor(4) as several:
            results = several.map(lambda _: self.run_host("-", typed="start\nstop\n"), range(20))
            self.assertEqual({(0, "")}, {(status, said) for status, _, said in results})
        self.assertEqual([], list(self.folder.glob("velorin-host-*")))

    def PlaysSeveralScenariosEachByItself(self):
        names = ("first-starts", "page-messages")
        self.assertEqual(
            (0, "".join(f"passed: {name}\n" for name in names) + "2 passed, 0 failed\n", ""),
            self.run_host("--language", "1", "--strict", *names),
        )

    def WritesTheResultOfOneScenario(self):
        arguments = ("--junit", "results.xml", "page-messages")
        status, out, said = self.run_host(*arguments)
        self.assertEqual((0, ""), (status, said))
        self.assertEqual(self.run_host("page-messages")[1], out)
        self.assertIn('tests="1" failures="0"', (self.folder / "results.xml").read_text())

    def TakesARelativeFolderAndOneBehindALink(self):
        self.data.mkdir()
        (self.folder / "link").symlink_to(self.data)
        for folder in ("the data", self.folder / "link"):
            self.state("--data", folder)
            (self.data / INFO_FILE).unlink()

    def TurnsALinkToAnotherHost(self):
        link = self.data / LINK
        link.parent.mkdir(parents=True)
        link.symlink_to("/bin/false")
        self.state("--data", self.data)
        self.assertEqual(LINKED_HOST.resolve(), link.readlink())

    def LeavesAnotherFileAlone(self):
        host = self.data / LINK
        host.parent.mkdir(parents=True)
        host.write_text("a host")
        status, _, said = self.run_host("--data", self.data, "first-starts")
        self.assertEqual(2, status)
        self.assertRegex(said, r"\Asubstitute-host: the link .*Fusion to the host cannot be made: [^\n]+\.\n\Z")
        self.assertEqual("a host", host.read_text())

    def RefusesAnotherExecutable(self):
        status, out, said = self.run_host("--executable", "/x/Fusion", "--data", self.data)
        self.assertEqual((2, ""), (status, out))
        self.assertRegex(said, r"\Asubstitute-host: --executable is refused: [^\n]+\.\n\Z")
        self.assertFalse(self.data.exists())


if __name__ == "__main__":
    unittest.main()
