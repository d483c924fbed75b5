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
from macho import Library, attempt, run

SOURCE = Path(os.environ["VELORIN_SOURCE"])
BUILD = Path(os.environ["VELORIN_MACOS_BUILD"])
CMAKE = os.environ["VELORIN_CMAKE"]

def version():
    return re.search(r"project\(Velorin VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]


class MacPackage(unittest.TestCase):
    def setUp(self):
        (path,) = BUILD.glob(f"Velorin-{version()}-*.zip")
        self.path = path
        self.zip = zipfile.ZipFile(path)
        self.addCleanup(self.zip.close)

    def SaysThatItIsForInspection(self):
        self.assertEqual(f"Velorin-{version()}-macos-arm64-inspection.zip", self.path.name)

    def HoldsExactlyTheFolder(self):
        wanted = ["Velorin.manifest", "Velorin.dylib", "Install.html"]
        wanted += [f"resources/{icon}" for icon in ICONS]
        files = [info.filename for info in self.zip.infolist() if not info.is_dir()]
        self.assertEqual(sorted(f"Velorin/{name}" for name in wanted), sorted(files))

    def HoldsTheLibraryThatIsExecuted(self):
        self.assertEqual(
            (BUILD / "Velorin.dylib").read_bytes(), self.zip.read("Velorin/Velorin.dylib"))

    def InstallsNothingThatTheHostCannotLoad(self):
        add_in_folder = b"Autodesk/Autodesk Fusion 360/API/AddIns/Velorin"
        self.assertIn(b"\0" + add_in_folder + b"\0", self.zip.read("Velorin/Velorin.dylib"))
        with tempfile.TemporaryDirectory() as home:
            # As on a Mac, where it goes beneath the home folder, as that was when configuring.
            run(CMAKE, "--preset", "macos", "-B", f"{home}/build", "-DHOST_API_DIR=",
                "-DCMAKE_HOST_APPLE=ON", cwd=SOURCE, env={**os.environ, "HOME": home})
            prefix = Path(home, "Library/Application Support", add_in_folder.decode()).parent
            for which in ((), ("--component", "probe")):
                done, said = attempt(CMAKE, "--install", f"{home}/build", *which)
                self.assertFalse(done)
                self.assertRegex(said, r"built\s+without\s+the\s+host's\s+SDK")
                self.assertFalse(prefix.exists())
            for build, is_there in ((Path(home, "build"), True), (BUILD, False)):
                cache = (build / "CMakeCache.txt").read_text()
                usual = re.search(r"^CMAKE_INSTALL_PREFIX:PATH=(.*)$", cache, re.M)[1]
                self.assertEqual(is_there, usual == str(prefix), usual)
                self.assertEqual(is_there, "Autodesk" in usual, usual)

    def InstallsTheProbeOnlyWhenAsked(self):
        with tempfile.TemporaryDirectory() as prefix:
            run(CMAKE, "--install", BUILD, "--prefix", prefix, "--component", "probe")
            installed = {str(p.relative_to(prefix)) for p in Path(prefix).rglob("*") if p.is_file()}
            names = ("VelorinProbe.dylib", "VelorinProbe.html", "VelorinProbe.manifest")
            self.assertEqual({f"VelorinProbe/{name}" for name in names}, installed)
            manifest = json.loads(Path(prefix, "VelorinProbe/VelorinProbe.manifest").read_text())
        own = json.loads(self.zip.read("Velorin/Velorin.manifest"))
        self.assertEqual(own["autodeskProduct"], manifest["autodeskProduct"])
        self.assertNotEqual(uuid.UUID(own["id"]), uuid.UUID(manifest["id"]))
        self.assertFalse(manifest["runOnStartup"])

    def VersionsAreOne(self):
        manifest = json.loads(self.zip.read("Velorin/Velorin.manifest"))
        (own,) = [c for c in Library(BUILD / "Velorin.dylib").commands if c["cmd"] == "LC_ID_DYLIB"]
        self.assertEqual(f"version {manifest['version']}", own["current"])
        self.assertEqual(version(), manifest["version"])

    def InstallsWhereItIsTold(self):
        with tempfile.TemporaryDirectory() as prefix:
            run(CMAKE, "--install", BUILD, "--prefix", prefix)
            installed = [p for p in Path(prefix).rglob("*") if p.is_file()]
            self.assertEqual(
                sorted(info.filename for info in self.zip.infolist() if not info.is_dir()),
                sorted(str(p.relative_to(prefix)) for p in installed),
            )

    def ManifestIsTheHosts(self):
        manifest = json.loads(self.zip.read("Velorin/Velorin.manifest").decode("utf-8"))
        description = manifest.pop("description")
        self.assertEqual({"", "cs"}, set(description))
        self.assertTrue(all(description.values()))
        self.assertTrue(manifest.pop("author"))
        # The host remembers the add-in by it, from version to version.
        self.assertEqual(
            uuid.UUID("37a354fe-fdda-472b-b7b4-13ec8d3ceaf5"), uuid.UUID(manifest.pop("id"))
        )
        wanted = {
            "autodeskProduct": "Fusion", "type": "addin", "version": version(),
            "runOnStartup": True, "supportedOS": "mac", "editEnabled": False,
        }
        self.assertEqual(wanted, manifest)

    def guide(self):
        return self.zip.read("Velorin/Install.html").decode("utf-8")

    def sections(self):
        """The guide's Czech and English parts."""
        sections = re.findall(r"<section .*?</section>", self.guide(), re.S)
        self.assertEqual(2, len(sections))
        return sections

    def GuideTellsWhatTripsPeople(self):
        czech, english = self.sections()
        release = (
            "<code>xattr -dr com.apple.quarantine "
            '~/"Library/Application Support/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin"</code>'
        )
        for text, add, create, missing in (
            (czech, "„+“", "Nevolte „Create“", "Pokud složka AddIns chybí"),
            (english, '"+"', 'Do not choose "Create"', "If the folder AddIns is missing"),
        ):
            self.assertIn(release, text)
            self.assertIn("Autodesk Fusion 360/API/AddIns", text)
            self.assertIn("Velorin 2", text)
            self.assertIn(add, text)
            self.assertIn(create, text)
            self.assertIn(missing, text)

    def GuideTellsTheSameInBothLanguages(self):
        czech, english = self.sections()
        for text, licence, keep in (
            (czech, "Licenční text", "Celou složku Velorin nenahrazujte"),
            (english, "The licence text", "Do not replace the whole folder Velorin"),
        ):
            self.assertIn(licence, text)
            self.assertRegex(text, keep + r": [^.]*Velorin_Info\.txt")
            self.assertIn(f"Velorin {version()}</h1>", text)
        pictures = [re.findall(r'src="([^"]+)"', text) for text in (czech, english)]
        self.assertEqual(pictures[0], pictures[1])
        self.assertEqual(1, len(pictures[0]))
        self.assertIn(f"Velorin/{pictures[0][0]}", self.zip.namelist())



if __name__ == "__main__":
    unittest.main()
