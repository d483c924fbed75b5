"""The folder that a user drops into the host."""

import json
import os
import re
import tempfile
import unittest
import uuid
import zipfile
from pathlib import Path

from icons import ICONS
from macho import BUILD, CMAKE, SOURCE, Library, attempt, configure, run

VERSION = re.search(r"project\(Velorin VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]


def files_in(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file())


class MacPackage(unittest.TestCase):
    def setUp(self):
        (self.path,) = BUILD.glob(f"Velorin-{VERSION}-*.zip")
        self.zip = zipfile.ZipFile(self.path)
        self.addCleanup(self.zip.close)
        self.files = sorted(info.filename for info in self.zip.infolist() if not info.is_dir())
        self.manifest = json.loads(self.zip.read("Velorin/Velorin.manifest"))
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def SaysThatItIsForInspection(self):
        self.assertEqual(f"Velorin-{VERSION}-macos-arm64-inspection.zip", self.path.name)

    def HoldsExactlyTheFolder(self):
        wanted = ["Velorin.manifest", "Velorin.dylib", "Install.html"]
        wanted += [f"resources/{icon}" for icon in ICONS]
        self.assertEqual(sorted(f"Velorin/{name}" for name in wanted), self.files)
        self.assertEqual(
            (BUILD / "Velorin.dylib").read_bytes(), self.zip.read("Velorin/Velorin.dylib"))

    def InstallsNothingThatTheHostCannotLoad(self):
        add_in_folder = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin"
        self.assertIn(f"\0{add_in_folder}\0".encode(), self.zip.read("Velorin/Velorin.dylib"))
        # As on a Mac, where it goes beneath the home folder, as that was when configuring.
        build = self.folder / "build"
        done, said = configure(build, "-DHOST_API_DIR=", "-DCMAKE_HOST_APPLE=ON",
                               env={**os.environ, "HOME": str(self.folder)})
        self.assertTrue(done, said)
        prefix = (self.folder / "Library/Application Support" / add_in_folder).parent
        for which in ((), ("--component", "probe")):
            done, said = attempt(CMAKE, "--install", build, *which)
            self.assertFalse(done)
            self.assertRegex(said, r"built\s+without\s+the\s+host's\s+SDK")
            self.assertFalse(prefix.exists())
        usual = [re.search(r"(?m)^CMAKE_INSTALL_PREFIX:PATH=(.*)$", path.read_text())[1]
                 for path in (build / "CMakeCache.txt", BUILD / "CMakeCache.txt")]
        self.assertEqual(str(prefix), usual[0])
        self.assertNotIn("Autodesk", usual[1])

    def InstallsWhereItIsTold(self):
        run(CMAKE, "--install", BUILD, "--prefix", self.folder)
        self.assertEqual(self.files, files_in(self.folder))

    def InstallsTheProbeOnlyWhenAsked(self):
        run(CMAKE, "--install", BUILD, "--prefix", self.folder, "--component", "probe")
        names = ("VelorinProbe.dylib", "VelorinProbe.html", "VelorinProbe.manifest")
        self.assertEqual([f"VelorinProbe/{name}" for name in names], files_in(self.folder))
        manifest = json.loads((self.folder / "VelorinProbe/VelorinProbe.manifest").read_text())
        self.assertEqual(self.manifest["autodeskProduct"], manifest["autodeskProduct"])
        self.assertNotEqual(uuid.UUID(self.manifest["id"]), uuid.UUID(manifest["id"]))
        self.assertFalse(manifest["runOnStartup"])

    def ManifestIsTheHosts(self):
        description = self.manifest.pop("description")
        self.assertEqual({"", "cs"}, set(description))
        self.assertTrue(all(description.values()))
        self.assertTrue(self.manifest.pop("author"))
        wanted = {
            # The host remembers the add-in by it, from version to version.
            "id": "37a354fe-fdda-472b-b7b4-13ec8d3ceaf5",
            "autodeskProduct": "Fusion", "type": "addin", "version": VERSION,
            "runOnStartup": True, "supportedOS": "mac", "editEnabled": False,
        }
        self.assertEqual(wanted, self.manifest)
        (own,) = [c for c in Library(BUILD / "Velorin.dylib").commands if c["cmd"] == "LC_ID_DYLIB"]
        self.assertEqual(f"version {VERSION}", own["current"])

    def GuideTellsTheSameInBothLanguages(self):
        guide = self.zip.read("Velorin/Install.html").decode("utf-8")
        sections = re.findall(r"<section .*?</section>", guide, re.S)
        both = [
            '<code>xattr -dr com.apple.quarantine ~/"Library/Application Support/'
            'Autodesk/Autodesk Fusion 360/API/AddIns/Velorin"</code>',
            f"Velorin {VERSION}</h1>", "Velorin 2",
        ]
        czech = ["„+“", "Nevolte „Create“", "Pokud složka AddIns chybí", "Licenční text"]
        english = ['"+"', 'Do not choose "Create"', "If the folder AddIns is missing",
                   "The licence text"]
        keeps = ("Celou složku Velorin nenahrazujte", "Do not replace the whole folder Velorin")
        for text, words, keep in zip(sections, (czech, english), keeps, strict=True):
            self.assertEqual([], [some for some in both + words if some not in text])
            self.assertRegex(text, keep + r": [^.]*Velorin_Info\.txt")
        pictures = [re.findall(r'src="([^"]+)"', text) for text in sections]
        self.assertEqual(pictures[0], pictures[1])
        self.assertEqual(1, len(pictures[0]))
        self.assertIn(f"Velorin/{pictures[0][0]}", self.files)


if __name__ == "__main__":
    unittest.main()
