"""What the commands in the top folder install, on Debian and on a Mac, played by stubs on PATH."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
COMMANDS = ("run", "test", "benchmark", "cmake/setup.sh")


def packages(*groups):
    rows = [line.split() for line in (SOURCE / "packages.txt").read_text().splitlines()]
    return [row[1] for row in rows if row[0] in groups]


class Setup(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.ran = self.folder / "ran"
        # No other commands than these, so that none of this machine's is found.
        for tool in ("bash", "env", "grep", "tail", "tr", "mktemp", "rm"):
            (self.folder / tool).symlink_to(shutil.which(tool))

    def stub(self, name, script):
        path = self.folder / name
        path.write_text(f'#!{shutil.which("bash")}\n{script}\n')
        path.chmod(0o755)

    def mac(self, *installed):
        self.stub("uname", "echo Darwin")
        self.stub("xcode-select", "echo /Library/Developer/CommandLineTools")
        there = "\\n".join(installed)
        self.stub("brew", f'case $1 in list) printf "{there}\\n" ;; *) echo "$@" >>"{self.ran}" ;; esac')

    def debian(self, *installed):
        self.stub("uname", "echo Linux")
        there = "|".join(installed) or "-"
        self.stub("dpkg-query", f'case "${{@: -1}}" in {there}) echo "ok installed" ;; *) exit 1 ;; esac')
        self.stub("apt-get", f'echo "$@" >>"{self.ran}"')
        self.stub("sudo", '"$@"')

    def install(self, *groups):
        """The exit status and what was said."""
        script = 'set -euo pipefail; root=$1; . "$root/cmake/setup.sh"; shift; install_packages "$@"'
        environment = {key: value for key, value in os.environ.items() if key != "VELORIN_ASSUME_PACKAGES"}
        result = subprocess.run(
            ["bash", "-c", script, "run", SOURCE, *groups],
            env={**environment, "PATH": str(self.folder), "TMPDIR": str(self.folder)},
            capture_output=True, text=True, check=False,
        )
        return result.returncode, result.stdout + result.stderr

    def installed(self):
        return self.ran.read_text().splitlines() if self.ran.exists() else []

    def InstallsOnlyWhatIsMissingOnAMac(self):
        self.mac("cmake", "cli11", "nlohmann-json-schema")
        self.stub("ninja", "")
        status, said = self.install("build")
        self.assertEqual(0, status, said)
        self.assertEqual(["install nlohmann-json"], self.installed())

    def SaysWhatIsMissingOnAMac(self):
        self.mac()
        (self.folder / "brew").unlink()
        status, said = self.install("build")
        self.assertEqual(1, status)
        self.assertRegex(said, r"\Arun: Homebrew \(https://brew.sh\) is missing\. .* cmake .* cli11,")
        self.stub("xcode-select", "exit 2")
        status, said = self.install("build")
        self.assertEqual((1, "run: the compiler is missing. Run this once: xcode-select --install\n"),
                         (status, said))

    def TellsWhatHomebrewSaidWhenItFails(self):
        self.mac()
        self.stub("brew", '[[ $1 == list ]] || { echo "no network"; exit 1; }')
        status, said = self.install("build")
        self.assertEqual(1, status)
        self.assertIn("no network", said)
        self.assertIn("could not be installed", said)

    def InstallsDebiansPackagesOnDebian(self):
        self.debian("cmake", "libedit-dev")
        status, said = self.install("build", "desktop")
        self.assertEqual(0, status, said)
        wanted = packages("build", "desktop")
        self.assertIn("qt6-base-dev", wanted)
        for there in ("cmake", "libedit-dev"):
            wanted.remove(there)
        update, install = self.installed()
        self.assertEqual("update -q", update)
        self.assertEqual("install -q -y --no-install-recommends " + " ".join(wanted), install)

    def NamesThePackagesOnOtherSystems(self):
        self.stub("uname", "echo FreeBSD")
        status, said = self.install("build")
        self.assertEqual(1, status)
        self.assertRegex(said, "neither a Debian system nor a Mac.*Debian calls g.. cmake")

    def NeedsNoNewerShellThanThatOfAMac(self):
        newer = {
            "mapfile": r"\b(mapfile|readarray)\b", "associative arrays": r"\b(declare|local) -A\b",
            "references": r"\b(declare|local) -n\b", "changing case": r"\$\{\w+(\[@\])?(\^|,)",
            "|&": r"\|&", "&>>": r"&>>", "coproc": r"\bcoproc\b", "-v": r"\[\[ -v\b",
            "wait -n": r"\bwait -n\b", "transformations": r"\$\{\w+(\[@\])?@",
            "an array that may be empty": r'(?<!\+)"\$\{(?!program|terminal|missing|arguments|BASH_SOURCE)\w+\[@\]\}"',
            "nproc": r"\bnproc\b", "readlink -f": r"\breadlink -\w*f", "sed -i": r"\bsed -i",
            "grep -P": r"\bgrep -\w*P", "sed -r": r"\bsed -r",
        }
        for command in COMMANDS:
            text = (SOURCE / command).read_text()
            for what, pattern in newer.items():
                self.assertIsNone(re.search(pattern, text), f"{command}: {what}")


if __name__ == "__main__":
    unittest.main()
