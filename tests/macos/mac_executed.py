"""The library for macOS, executed under emulation, beside that for Linux."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

from macho import BUILD, SOURCE, run

LINUX = Path(os.environ["VELORIN_LINUX_BUILD"])
MACOS = ["qemu-aarch64", BUILD / "emulation/macos-loader", BUILD / "substitute-host"]
INFO_FILE = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt"


def play(command, addin, scenario):
    """What comes of a scenario: the status, the output, the errors, the trace and the info file.
    The text of its own exception is the C++ library's, the only difference that there may be."""
    with tempfile.TemporaryDirectory() as folder:
        data, trace = Path(folder, "data"), Path(folder, "trace")
        result = subprocess.run(
            [*command, "--addin", addin, "--data", data, "--trace", trace, "--timeout", "600",
             scenario],
            env={**os.environ, "TMPDIR": folder}, capture_output=True, check=False,
        )
        left = [path.read_bytes() if path.exists() else b"" for path in (trace, data / INFO_FILE)]
        parts = [result.stdout, result.stderr, *left]
    parts = [part.replace(folder.encode(), b"FOLDER") for part in parts]
    return [result.returncode, *(re.sub(rb'"basic_string[^"\n]*"', b"", part) for part in parts)]


class MacExecuted(unittest.TestCase):
    def EveryScenarioAsOnLinux(self):
        scenarios = sorted((SOURCE / "substitute/scenarios").glob("*.txt"))
        self.assertGreater(len(scenarios), 2)
        for scenario in scenarios:
            with self.subTest(scenario.name):
                linux = play([LINUX / "substitute-host"], LINUX / "Velorin.so", scenario)
                self.assertEqual(linux, play(MACOS, BUILD / "Velorin.dylib", scenario))

    def ALibraryLinkedWithTheHostAsksTheHostForItsPath(self):
        # Elsewhere the loader lets the host answer in the system's place; here it is the host's name.
        library = BUILD / "Velorin-linked.dylib"
        bound = run("llvm-objdump", "--macho", "--lazy-bind", library)
        self.assertRegex(bound, r"\bXInterface10 +__NSGetExecutablePath\b")
        linked = play(MACOS, library, "first-starts")
        self.assertEqual(play(MACOS, BUILD / "Velorin.dylib", "first-starts"), linked)
        self.assertTrue(linked[-1], "there is no info file in the host's folder")


if __name__ == "__main__":
    unittest.main()
