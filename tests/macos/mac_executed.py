"""The library for macOS, executed under emulation, beside that for Linux; and libraries that only
being executed finds out."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from macho import attempt, run
from mac_library import BUILD, SOURCE, Workplace

LINUX = Path(os.environ["VELORIN_LINUX_BUILD"])
EMULATOR = ["qemu-aarch64", str(BUILD / "emulation/macos-loader")]
INFO_FILE = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt"


def play(command, addin, scenario):
    """What comes of a scenario: the status, the output, the errors, the trace and the info file."""
    with tempfile.TemporaryDirectory() as folder:
        data, trace = Path(folder, "data"), Path(folder, "trace")
        result = subprocess.run(
            [*command, "--addin", addin, "--data", data, "--trace", trace, "--timeout", "600",
             scenario],
            env={**os.environ, "TMPDIR": folder}, capture_output=True, check=False,
        )
        left = [path.read_bytes() if path.exists() else None for path in (trace, data / INFO_FILE)]
        seen = [result.returncode, result.stdout, result.stderr, *left]
    return [part.replace(folder.encode(), b"FOLDER") if isinstance(part, bytes) else part
            for part in seen]


def without_the_librarys_texts(parts):
    """The text of its own exception is the C++ library's, and the only difference that there may be."""
    status, out, errors, trace, info = parts
    out = re.sub(rb'(std::out_of_range), "basic_string[^\n]*"', rb"\1", out)
    trace = re.sub(rb'("std::out_of_range"),"what":"basic_string[^"]*"', rb"\1", trace or b"")
    return [status, out, errors, trace, info]


def plays_as_the_model_says(*arguments):
    """Whether the model's scenarios are played as they must be, and what was said."""
    return attempt(LINUX / "fault-test", "--macos", BUILD, *arguments, "scenarios")


class MacExecuted(Workplace):
    def EveryScenarioAsOnLinux(self):
        scenarios = sorted((SOURCE / "substitute/scenarios").glob("*.txt"))
        self.assertGreater(len(scenarios), 2)
        for scenario in scenarios:
            with self.subTest(scenario.name):
                linux = play([LINUX / "substitute-host"], LINUX / "Velorin.so", scenario)
                macos = play([*EMULATOR, BUILD / "substitute-host"], BUILD / "Velorin.dylib",
                             scenario)
                self.assertEqual(
                    without_the_librarys_texts(linux), without_the_librarys_texts(macos))

    def SeveralScenariosEachByItself(self):
        said = run(
            *EMULATOR, BUILD / "substitute-host", "--strict", "first-starts", "page-messages")
        self.assertEqual("passed: first-starts\npassed: page-messages\n2 passed, 0 failed\n", said)

    def ALibraryLinkedWithTheHostAsksTheHostForItsPath(self):
        # Elsewhere the loader lets the host answer in the system's place; here the name is the host's.
        library = BUILD / "Velorin-linked.dylib"
        bound = run("llvm-objdump", "--macho", "--lazy-bind", library)
        self.assertRegex(bound, r"\bXInterface10 +__NSGetExecutablePath\b")
        host = [*EMULATOR, BUILD / "substitute-host"]
        linked = play(host, library, "first-starts")
        self.assertEqual(play(host, BUILD / "Velorin.dylib", "first-starts"), linked)
        self.assertIsNotNone(linked[-1], "there is no info file in the host's folder")

    def FindsExceptionsThatDoNotArrive(self):
        library, done, said = self.build_again(
            ["addin/EntryPoints.cpp", "palette/PageMessages.cpp"],
            lambda command: f"{command} -fasynchronous-unwind-tables")
        self.assertFalse(done)
        self.assertIn("_run is unwound by DWARF", said)
        self.assertIn("_run calls __Unwind_Resume and has no handler table", said)
        as_it_must, said = plays_as_the_model_says("--first", "--addin", library)
        self.assertFalse(as_it_must)
        self.assertIn("differs: ", said)

    def FindsVirtualOperationsInAnotherOrder(self):
        host = self.folder / "host"
        shutil.copytree(SOURCE / "host", host)
        for name, one, other in (
            ("Application", r"  virtual UserInterface\* userInterface_raw\(\) const = 0;\n",
             r"  virtual Preferences\* preferences_raw\(\) const = 0;\n"),
            ("EventHandler", r"  virtual void placeholderEventHandler3\(\);\n",
             r"  virtual void placeholderEventHandler4\(\);\n"),
        ):
            header = host / f"Core/{name}.h"
            text, exchanged = re.subn(f"({one})({other})", r"\2\1", header.read_text())
            self.assertEqual(1, exchanged, name)
            header.write_text(text)
        library, done, said = self.build_again(
            ["addin/EntryPoints.cpp", "palette/PageMessages.cpp"],
            lambda command: command.replace(f"-I{SOURCE}/host", f"-I{host}"))
        self.assertTrue(done, said)
        self.assertIn(
            "placeholderEventHandler4", self.failure(library, "HandlersHaveTheHostsSlots"))
        as_it_must, said = plays_as_the_model_says("--first", "--addin", library)
        self.assertFalse(as_it_must)
        self.assertIn("differs: ", said)


if __name__ == "__main__":
    unittest.main()
