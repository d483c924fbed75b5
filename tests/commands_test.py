"""./run and ./test as they are typed, and what they install. What they would install, build and
start is only written down: stand-ins are first on PATH, in a copy of the scripts."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
QUICK = [["release"]]
ALL_BUILDS = [["release"], ["sanitize"], ["macos", "--target", "package"]]
HOST = [["release", "--target", "substitute-host"]]


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
        (self.folder / "bin").mkdir()

    def stand_in(self, *names, script=None):
        """Commands that do what `script` says; else they write down their name and arguments, one a
        line, and an empty line."""
        for name in names:
            path = self.folder / name
            record = f"{{ printf '%s\\n' {path.name} \"$@\"; echo; }} >>'{self.log}'"
            path.write_text(f"#!{shutil.which('bash')}\n{script or record}\n")
            path.chmod(0o755)

    def run_it(self, command, path, **variables):
        """What came of a command; what it started is in self.started then, a list of words each."""
        left_out = ("DISPLAY", "WAYLAND_DISPLAY", "VELORIN_WERROR", "VELORIN_ASSUME_PACKAGES")
        environment = {key: value for key, value in os.environ.items() if key not in left_out}
        environment |= {"PATH": path, "TMPDIR": str(self.folder), **variables}
        self.log.write_text("")
        result = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, check=False)
        self.started = [part.split("\n") for part in self.log.read_text().split("\n\n")[:-1]]
        return result


class Typed(Command):
    def setUp(self):
        super().setUp()
        self.stand_in("bin/cmake", "bin/ctest", "bin/apt-get", "bin/qemu-aarch64")

    def type(self, *words, **variables):
        path = f"{self.folder}/bin:{os.environ['PATH']}"
        return self.run_it([self.folder / words[0], *words[1:]], path,
                           VELORIN_ASSUME_PACKAGES="1", **variables)

    def built(self):
        """The presets that were built, each with its target if one was named."""
        return [words[3:] for words in self.started if words[:2] == ["cmake", "--build"]]

    def expect_help(self, *words):
        result = self.type(*words)
        self.assertEqual(0, result.returncode)
        self.assertIn(f"usage: ./{words[0]}", result.stdout)
        return result.stdout

    def expect_refused(self, words, said):
        with self.subTest(words):
            result = self.type(*words)
            self.assertEqual((2, "", []), (result.returncode, result.stdout, self.started))
            self.assertRegex(result.stderr, r"\A[^\n]*--help[^\n]*\n\Z")
            self.assertIn(said, result.stderr)


class TestCommand(Typed):
    def HelpBuildsNothing(self):
        for words in (["--help"], ["-h"], ["-R", "Info", "--quick", "--help"]):
            self.expect_help("test", *words)
            self.assertEqual([], self.started)

    def HelpNamesTheLabels(self):
        lists = "\n".join(file.read_text() for file in (SOURCE / "tests").glob("**/CMakeLists.txt"))
        labels = set(re.findall(r"LABELS ([a-z]+)", lists))
        self.assertTrue(labels)
        said = self.expect_help("test", "--help")
        self.assertEqual([], [label for label in labels if f'"{label}"' not in said])

    def BuildsAndPassesOptionsOn(self):
        rows = [
            ([], [], ALL_BUILDS),
            (["--quick", "-R", "Info"], ["-R", "Info", "-LE", "long"], QUICK),
            (["-R", "Info", "--quick"], ["-R", "Info", "-LE", "long"], QUICK),
            (["--quick", "-LE", "a"], ["-LE", "a|long"], QUICK),
            (["--quick", "--label-exclude=a"], ["-LE", "a|long"], QUICK),
            (["--lint", "-R", "Info"], ["-C", "lint", "-R", "Info"], ALL_BUILDS),
            (["-R", "Info", "--lint"], ["-R", "Info", "-C", "lint"], ALL_BUILDS),
            (["-V", "--", "--repeat", "until-fail:3", "--quick"],
             ["-V", "--repeat", "until-fail:3", "--quick"], ALL_BUILDS),
            (["--verbose", "-R", "x"], ["--verbose", "-R", "x"], ALL_BUILDS),
        ]
        for words in (["-LE", "a"], ["--label-exclude", "a"], ["--label-exclude=a"]):
            rows.append((words, ["-LE", "a"], ALL_BUILDS))
        for words in (["-j", "3"], ["-j3"], ["--parallel", "3"], ["--parallel=3"]):
            rows.append((words, ["-j" if words[0][1] == "j" else "--parallel", "3"], ALL_BUILDS))
        for short, name in ("-R", "tests"), ("-E", "exclude"), ("-L", "label"):
            long = f"--{name}-regex"
            for words in ([short, "a b"], [long, "a b"], [long, "a=b"]):
                rows.append((words, words, ALL_BUILDS))
            rows.append(([f"{long}=a=b"], [long, "a=b"], ALL_BUILDS))
        for words, options, builds in rows:
            with self.subTest(words):
                result = self.type("test", *words)
                self.assertEqual((0, ""), (result.returncode, result.stderr))
                for number, (preset, *_) in enumerate(builds, 1):
                    self.assertIn(f"Building {number} of {len(builds)}: {preset}\n", result.stdout)
                self.assertEqual(builds, self.built())
                ctest, folder, _, *called = self.started[-1]
                self.assertEqual(["ctest", "--test-dir"], [ctest, folder])
                self.assertEqual(["--no-tests=error", *options], called[called.index("-j") + 2:])
                tests = (self.folder / "build/CTestTestfile.cmake").read_text()
                self.assertEqual(f"subdirs({' '.join(build[0] for build in builds)})\n", tests)

    def WarningsAreErrorsWhateverWasConfiguredBefore(self):
        (self.folder / "build/release/build.ninja").touch()
        self.type("test", "--quick")
        self.assertEqual("--build", self.started[0][1])
        self.type("test", "--quick", VELORIN_WERROR="ON")
        self.assertEqual(["cmake", "--preset", "release"], self.started[0][:3])

    def RefusesTheRest(self):
        for words in (["--fast"], ["-N"], ["InfoFile"], [""], ["--repeat", "2"]):
            self.expect_refused(["test", "-R", "x", *words], f"'{words[0]}'")
        for words in (["-R"], ["-LE"], ["--tests-regex"], ["--label-regex="], ["-V", "-E", ""]):
            self.expect_refused(["test", *words], "needs a value")
        for words in (["-j", "many"], ["--parallel=0x2"], ["-j2x"]):
            self.expect_refused(["test", *words], "needs a number")

    def EndsWithTheStatusOfCtest(self):
        self.stand_in("bin/ctest", script="exit 8")
        self.assertEqual(8, self.type("test").returncode)


class RunCommand(Typed):
    def HelpEndsWithThatOfTheProgramThatIsBuilt(self):
        for words in (["--help"], ["-h"], ["--data", "x", "--help"], ["--desktop", "--help"]):
            self.expect_help("run", *words)
            self.assertEqual([], self.started)
        self.stand_in("build/release/substitute-host", "build/release/substitute-desktop")
        self.expect_help("run", "--help")
        self.assertEqual([["substitute-host", "--help"]], self.started)
        self.expect_help("run", "--help", "--desktop")
        self.assertEqual([["substitute-desktop", "--help"]], self.started)

    def StartsTheProgramThatIsAskedFor(self):
        self.stand_in("build/release/substitute-host", "build/release/substitute-desktop")
        macos = self.folder / "build/macos"
        emulated = ["qemu-aarch64", f"{macos}/emulation/macos-loader", f"{macos}/substitute-host"]
        for words, built, started in (
            (["--headless", "--data", "x"], HOST, ["substitute-host", "--data", "x"]),
            (["--data", "--headless", "x"], HOST, ["substitute-host", "--data", "x"]),
            (["--trace", "a b", "-"], HOST, ["substitute-host", "--trace", "a b", "-"]),
            (["--", "--desktop", "--help"], HOST, ["substitute-host", "--", "--desktop", "--help"]),
            (["--data", "x", "--desktop"], [["release", "--target", "hosts"]],
             ["substitute-desktop", "--data", "x"]),
            (["--data", "x", "--macos"], [["macos", "--target", "hosts"]],
             [*emulated, "--data", "x"]),
        ):
            with self.subTest(words):
                self.assertEqual(0, self.type("run", *words).returncode)
                self.assertEqual((built, started), (self.built(), self.started[-1]))

    def WithoutArgumentsTheFirstStartsArePlayed(self):
        self.stand_in("build/release/substitute-host")
        for words in ([], ["--headless"]):
            self.type("run", *words)
            program, option, _, scenario = self.started[-1]
            self.assertEqual(("substitute-host", "--data", "first-starts"),
                             (program, option, scenario))

    def RefusesTwoPlacesAtOnce(self):
        self.expect_refused(["run", "--headless", "--desktop"], "exclude")


class Setup(Command):
    def setUp(self):
        super().setUp()
        # No other commands than these, so that none of this machine's is found.
        for tool in ("bash", "env", "grep", "tail", "tr", "mktemp", "rm"):
            (self.folder / "bin" / tool).symlink_to(shutil.which(tool))

    def system(self, name, **commands):
        for command, script in {"uname": f"echo {name}", **commands}.items():
            self.stand_in(f"bin/{command.replace('_', '-')}", script=script)

    def mac(self, *installed, **commands):
        self.stand_in("bin/brew-install")
        there = f'printf "%s\\n" {" ".join(installed)}'
        brew = f'if [[ $1 == list ]]; then {there}; else brew-install "$@"; fi'
        self.system("Darwin", **{"xcode_select": "exit 0", "brew": brew, **commands})

    def install(self, *groups):
        """The exit status and what was said."""
        script = 'set -euo pipefail; root=$1; . "$1/cmake/setup.sh"; shift; install_packages "$@"'
        command = ["bash", "-c", script, "run", SOURCE, *groups]
        result = self.run_it(command, str(self.folder / "bin"))
        return result.returncode, result.stdout + result.stderr

    def InstallsOnlyWhatIsMissingOnAMac(self):
        self.mac("cmake", "cli11", "nlohmann-json-schema", ninja="")
        status, said = self.install("build")
        self.assertEqual(0, status, said)
        self.assertEqual([["brew-install", "install", "nlohmann-json"]], self.started)

    def InstallsOnlyWhatIsMissingOnDebian(self):
        there = ("cmake", "libedit-dev")
        self.system("Linux", sudo='"$@"', dpkg_query='case "${@: -1}" in '
                    f'{"|".join(there)}) echo "ok installed" ;; *) echo "ok not-installed" ;; esac')
        self.stand_in("bin/apt-get")
        status, said = self.install("build", "desktop")
        self.assertEqual(0, status, said)
        rows = [line.split() for line in (SOURCE / "packages.txt").read_text().splitlines()]
        wanted = [row[1] for row in rows if row[0] in ("build", "desktop") and row[1] not in there]
        self.assertIn("qt6-base-dev", wanted)
        update, install = self.started
        self.assertEqual(["apt-get", "update", "-q"], update)
        options = ["-q", "-y", "--no-install-recommends"]
        self.assertEqual(["apt-get", "install", *options, *wanted], install)

    def SaysWhatStandsInTheWay(self):
        def expect(said):
            status, words = self.install("build")
            self.assertEqual(1, status)
            self.assertRegex(words, said)

        self.system("FreeBSD")
        expect("neither a Debian system nor a Mac.*Debian calls g.. cmake")
        self.mac(brew='[[ $1 == list ]] || { echo "no network"; exit 1; }')
        expect(r"(?s)no network.*could not be installed")
        (self.folder / "bin/brew").unlink()
        expect(r"\Arun: Homebrew \(https://brew.sh\) is missing\. .* cmake .* cli11,")
        self.mac(xcode_select="exit 2")
        expect(r"\Arun: the compiler is missing. Run this once: xcode-select --install\n\Z")

    def NeedsNoNewerShellThanThatOfAMac(self):
        newer = {
            "mapfile": r"\b(mapfile|readarray)\b", "associative arrays": r"\b(declare|local) -A\b",
            "references": r"\b(declare|local) -n\b", "changing case": r"\$\{\w+(\[@\])?(\^|,)",
            "|&": r"\|&", "&>>": r"&>>", "coproc": r"\bcoproc\b", "-v": r"\[\[ -v\b",
            "wait -n": r"\bwait -n\b", "transformations": r"\$\{\w+(\[@\])?@",
            "an array that may be empty":
                r'(?<!\+)"\$\{(?!program|terminal|missing|arguments|BASH_SOURCE)\w+\[@\]\}"',
            "nproc": r"\bnproc\b", "readlink -f": r"\breadlink -\w*f", "sed -i": r"\bsed -i",
            "grep -P": r"\bgrep -\w*P", "sed -r": r"\bsed -r",
        }
        for command in ("run", "test", "benchmark", "cmake/setup.sh"):
            text = (SOURCE / command).read_text()
            for what, pattern in newer.items():
                self.assertIsNone(re.search(pattern, text), f"{command}: {what}")


if __name__ == "__main__":
    unittest.main()
