"""./run and ./test as they are typed. What they would install, build and start is only written down:
stand-ins for cmake, ctest and dpkg-query are first on PATH, in a copy of the scripts."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
# Writes its name and arguments down, one a line and an empty line at the end.
STAND_IN = """#!/bin/sh
{{ printf '%s\\n' {name} "$@"; echo; }} >>{log}
"""
ALL_BUILDS = [["release"], ["sanitize"], ["macos", "--target", "package"]]


class Command(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.log = self.folder / "log"
        for name in ("run", "test", "packages.txt", "CMakePresets.json", "cmake/setup.sh"):
            (self.folder / name).parent.mkdir(exist_ok=True)
            shutil.copy(SOURCE / name, self.folder / name)
        (self.folder / "build/release").mkdir(parents=True)
        for name in ("cmake", "ctest", "apt-get"):
            self.stand_in(self.folder / "bin" / name)

    def stand_in(self, path):
        path.parent.mkdir(exist_ok=True)
        path.write_text(STAND_IN.format(name=path.name, log=self.log))
        path.chmod(0o755)

    def program(self, name):
        self.stand_in(self.folder / "build/release" / name)

    def type(self, *words, **variables):
        """Runs a script; what it started is in self.started then, a list of words each."""
        environment = {
            key: value for key, value in os.environ.items()
            if key not in ("DISPLAY", "WAYLAND_DISPLAY", "VELORIN_WERROR")
        }
        environment |= {
            "PATH": f"{self.folder}/bin:{environment['PATH']}", "VELORIN_ASSUME_PACKAGES": "1",
            **variables,
        }
        self.log.write_text("")
        result = subprocess.run(
            [self.folder / words[0], *words[1:]], env=environment, stdin=subprocess.DEVNULL,
            capture_output=True, text=True, check=False,
        )
        self.started = [part.split("\n") for part in self.log.read_text().split("\n\n")[:-1]]
        return result

    def built(self):
        """The presets that were built, each with its target if one was named."""
        return [words[3:] for words in self.started if words[:2] == ["cmake", "--build"]]

    def expect_refused(self, result, words):
        self.assertEqual(2, result.returncode)
        self.assertEqual("", result.stdout)
        self.assertRegex(result.stderr, r"\A[^\n]*--help[^\n]*\n\Z")
        self.assertIn(words, result.stderr)
        self.assertEqual([], self.started)


class TestCommand(Command):
    def options(self, *words):
        """The options of ctest that ./test WORDS adds to its own."""
        result = self.type("test", *words)
        self.assertEqual("", result.stderr)
        self.assertEqual(0, result.returncode)
        called = self.started[-1]
        self.assertEqual(["ctest", "--test-dir"], called[:2])
        self.assertIn("--no-tests=error", called)
        called.remove("--no-tests=error")
        return called[called.index("-j") + 2:]

    def HelpBuildsNothing(self):
        for words in (["--help"], ["-h"], ["-R", "Info", "--quick", "--help"]):
            result = self.type("test", *words)
            self.assertEqual(0, result.returncode)
            self.assertIn("usage: ./test", result.stdout)
            self.assertEqual([], self.started)

    def HelpNamesTheLabels(self):
        lists = "\n".join(file.read_text() for file in (SOURCE / "tests").glob("**/CMakeLists.txt"))
        labels = set(re.findall(r"LABELS ([a-z]+)", lists))
        self.assertTrue(labels)
        for label in labels:
            self.assertIn(f'"{label}"', self.type("test", "--help").stdout)

    def BuildsEveryConfiguration(self):
        self.assertEqual([], self.options())
        self.assertEqual(ALL_BUILDS, self.built())
        tests = (self.folder / "build/CTestTestfile.cmake").read_text()
        self.assertEqual("subdirs(release sanitize macos)\n", tests)

    def SaysWhichBuildOfHowMany(self):
        said = self.type("test").stdout
        builds = "Building 1 of 3: release\nBuilding 2 of 3: sanitize\nBuilding 3 of 3: macos\n"
        self.assertIn(builds, said)

    def WarningsAreErrorsWhateverWasConfiguredBefore(self):
        (self.folder / "build/release/build.ninja").touch()
        self.type("test", "--quick")
        self.assertEqual("--build", self.started[0][1])
        self.type("test", "--quick", VELORIN_WERROR="ON")
        self.assertEqual(["cmake", "--preset", "release"], self.started[0][:3])

    def QuickIsTheReleaseWithoutTheLongTests(self):
        for words in (["--quick", "-R", "Info"], ["-R", "Info", "--quick"]):
            self.assertEqual(["-R", "Info", "-LE", "long"], self.options(*words))
            self.assertEqual([["release"]], self.built())

    def QuickLeavesOutFurtherLabels(self):
        for words in (["--quick", "-LE", "a"], ["--quick", "--label-exclude=a"]):
            self.assertEqual(["-LE", "a|long"], self.options(*words))

    def TheLinterRunsWhenItIsAskedFor(self):
        for words in (["--lint", "-R", "Info"], ["-R", "Info", "--lint"]):
            self.assertCountEqual(["-C", "lint", "-R", "Info"], self.options(*words))
            self.assertEqual(ALL_BUILDS, self.built())

    def PassesOptionsOnInBothSpellings(self):
        for short, long in (("-R", "--tests-regex"), ("-E", "--exclude-regex"),
                            ("-L", "--label-regex")):
            self.assertEqual([short, "a b"], self.options(short, "a b"))
            self.assertEqual([long, "a b"], self.options(long, "a b"))
            self.assertEqual([long, "a=b"], self.options(f"{long}=a=b"))
        for words in (["-LE", "a"], ["--label-exclude", "a"], ["--label-exclude=a"]):
            self.assertEqual(["-LE", "a"], self.options(*words))
        for words in (["-j", "3"], ["-j3"], ["--parallel", "3"], ["--parallel=3"]):
            self.assertIn(self.options(*words), (["-j", "3"], ["--parallel", "3"]))
        for word in ("-V", "--verbose"):
            self.assertEqual([word, "-R", "x"], self.options(word, "-R", "x"))

    def PassesOnWhatFollowsTheDashes(self):
        self.assertEqual(
            ["-V", "--repeat", "until-fail:3", "--quick"],
            self.options("-V", "--", "--repeat", "until-fail:3", "--quick"),
        )
        self.assertEqual(ALL_BUILDS, self.built())

    def RefusesTheRest(self):
        for words in (["--fast"], ["-N"], ["InfoFile"], ["-R", "x", "--repeat", "2"], [""]):
            self.expect_refused(self.type("test", *words), f"'{words[-1]}'"
                                if words[-1] != "2" else "'--repeat'")

    def RefusesAnOptionWithoutItsValue(self):
        for words in (["-R"], ["--tests-regex"], ["--label-regex="], ["-V", "-E", ""]):
            self.expect_refused(self.type("test", *words), "needs a value")
        for words in (["-j", "many"], ["--parallel=0x2"], ["-j2x"]):
            self.expect_refused(self.type("test", *words), "needs a number")

    def EndsWithTheStatusOfCtest(self):
        (self.folder / "bin/ctest").write_text("#!/bin/sh\nexit 8\n")
        self.assertEqual(8, self.type("test").returncode)


class RunCommand(Command):
    def HelpBuildsNothing(self):
        for words in (["--help"], ["-h"], ["--data", "x", "--help"], ["--desktop", "--help"]):
            result = self.type("run", *words)
            self.assertEqual(0, result.returncode)
            self.assertIn("usage: ./run", result.stdout)
            self.assertEqual([], self.started)

    def HelpEndsWithThatOfTheProgramThatIsBuilt(self):
        self.program("substitute-host")
        self.program("substitute-desktop")
        self.type("run", "--help")
        self.assertEqual([["substitute-host", "--help"]], self.started)
        self.type("run", "--help", "--desktop")
        self.assertEqual([["substitute-desktop", "--help"]], self.started)

    def ItsOwnOptionsAreKnownInAnyPosition(self):
        self.program("substitute-host")
        self.program("substitute-desktop")
        for words in (["--headless", "--data", "x"], ["--data", "--headless", "x"],
                      ["--data", "x", "--headless"]):
            self.assertEqual(0, self.type("run", *words).returncode)
            self.assertEqual(["substitute-host", "--data", "x"], self.started[-1])
            self.assertEqual([["release", "--target", "substitute-host"]], self.built())
        self.type("run", "--data", "x", "--desktop")
        self.assertEqual(["substitute-desktop", "--data", "x"], self.started[-1])
        self.assertEqual([["release", "--target", "hosts"]], self.built())

    def PassesTheRestOn(self):
        self.program("substitute-host")
        for words in (["--trace", "a b", "-"], ["--", "--desktop", "--help"]):
            self.type("run", *words)
            self.assertEqual(["substitute-host", *words], self.started[-1])

    def WithoutArgumentsTheFirstStartsArePlayed(self):
        self.program("substitute-host")
        for words in ([], ["--headless"]):
            self.type("run", *words)
            program, option, _, scenario = self.started[-1]
            self.assertEqual(("substitute-host", "--data", "first-starts"),
                             (program, option, scenario))

    def MacosIsEmulated(self):
        self.stand_in(self.folder / "bin/qemu-aarch64")
        self.assertEqual(0, self.type("run", "--data", "x", "--macos").returncode)
        built = self.folder / "build/macos"
        self.assertEqual(
            ["qemu-aarch64", f"{built}/emulation/macos-loader", f"{built}/substitute-host",
             "--data", "x"],
            self.started[-1],
        )
        self.assertEqual([["macos", "--target", "hosts"]], self.built())

    def RefusesTwoPlacesAtOnce(self):
        self.expect_refused(self.type("run", "--headless", "--desktop"), "exclude")


if __name__ == "__main__":
    unittest.main()
