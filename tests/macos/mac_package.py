"""The folder that a user drops into the host, and the icons in it."""

import json
import os
import re
import struct
import subprocess
import tempfile
import unittest
import uuid
import zipfile
import zlib
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
BUILD = Path(os.environ["VELORIN_MACOS_BUILD"])
CMAKE = os.environ["VELORIN_CMAKE"]

FOLDERS = ["Velorin", "Velorin/LessTen", "Eshop", "Eshop/LessTen"]
PICTURES = {
    "16x16.png": 16, "32x32.png": 32, "64x64.png": 64,
    "16x16@2x.png": 32, "32x32@2x.png": 64, "64x64@2x.png": 128,
}
ICONS = [f"{folder}/{picture}" for folder in FOLDERS for picture in PICTURES]


def version():
    return re.search(r"project\(Velorin VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]


class Picture:
    """A PNG file with red, green, blue and alpha in 8 bits each; pixels row by row."""

    def __init__(self, data):
        assert data[:8] == b"\x89PNG\r\n\x1a\n"
        packed, place = b"", 8
        while place < len(data):
            (size,) = struct.unpack_from(">I", data, place)
            kind, content = data[place + 4 : place + 8], data[place + 8 : place + 8 + size]
            if kind == b"IHDR":
                self.width, self.height, depth, colours, _, _, interlaced = struct.unpack(
                    ">IIBBBBB", content
                )
                assert (depth, colours, interlaced) == (8, 6, 0), "no 8-bit picture with alpha"
            elif kind == b"IDAT":
                packed += content
            place += 12 + size
        self.pixels = self._unfiltered(zlib.decompress(packed))

    def alphas(self):
        return {pixel[3] for pixel in self.pixels}

    def ink(self):
        """What is seen: places with their colour, wherever something is drawn at all."""
        return {place: pixel for place, pixel in enumerate(self.pixels) if pixel[3] > 0}

    def _unfiltered(self, data):
        stride = 4 * self.width
        above, pixels = bytes(stride), []
        for row in range(self.height):
            kind, *line = data[row * (stride + 1) : (row + 1) * (stride + 1)]
            for i in range(stride):
                left = line[i - 4] if i >= 4 else 0
                corner = above[i - 4] if i >= 4 else 0
                up = above[i]
                nearest = min((left, up, corner), key=lambda v: abs(left + up - corner - v))
                line[i] = (line[i] + (0, left, up, (left + up) // 2, nearest)[kind]) % 256
            pixels += [tuple(line[i : i + 4]) for i in range(0, stride, 4)]
            above = line
        return pixels


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

    def HoldsTheLibraryThatWasChecked(self):
        library = (BUILD / "Velorin.dylib").read_bytes()
        self.assertEqual(library, self.zip.read("Velorin/Velorin.dylib"))

    def InstallsWhereTheAddInLooks(self):
        add_in_folder = b"Autodesk/Autodesk Fusion 360/API/AddIns/Velorin"
        self.assertIn(b"\0" + add_in_folder + b"\0", self.zip.read("Velorin/Velorin.dylib"))
        with tempfile.TemporaryDirectory() as home:
            # Without a prefix it goes beneath the home folder, as it was when configuring.
            subprocess.run(
                [CMAKE, "--preset", "macos", "-B", f"{home}/build", "-DHOST_API_DIR="],
                cwd=SOURCE, env={**os.environ, "HOME": home}, check=True,
            )
            cache = Path(home, "build/CMakeCache.txt").read_text()
            prefix = re.search(r"^CMAKE_INSTALL_PREFIX:PATH=(.*)$", cache, re.M)[1]
            support = Path(home, "Library/Application Support")
            self.assertEqual(support / add_in_folder.decode(), Path(prefix, "Velorin"))
            subprocess.run([CMAKE, "--install", BUILD, "--prefix", prefix], check=True)
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
        self.assertTrue(uuid.UUID(manifest.pop("id")).int)
        wanted = {
            "autodeskProduct": "Fusion", "type": "addin", "version": version(),
            "runOnStartup": True, "supportedOS": "mac", "editEnabled": False,
        }
        self.assertEqual(wanted, manifest)

    def GuideTellsWhatTripsPeople(self):
        guide = self.zip.read("Velorin/Install.html").decode("utf-8")
        czech, english = guide.split('<section lang="en">')
        for text, create in ((czech, "Nevolte „Create“"), (english, 'Do not choose "Create"')):
            self.assertIn("com.apple.quarantine", text)
            self.assertIn("Autodesk Fusion 360/API/AddIns", text)
            self.assertIn("Velorin 2", text)
            self.assertIn("+", text)
            self.assertIn(create, text)
        for picture in re.findall(r'src="([^"]+)"', guide):
            self.assertIn(f"Velorin/{picture}", self.zip.namelist())


class Icons(unittest.TestCase):
    def picture(self, icon, folder=SOURCE / "resources"):
        return Picture((folder / icon).read_bytes())

    def HaveTheSizesThatTheirNamesSay(self):
        for icon in ICONS:
            picture = self.picture(icon)
            size = PICTURES[Path(icon).name]
            self.assertEqual((size, size), (picture.width, picture.height), icon)

    def AreTransparentAroundTheInk(self):
        for icon in ICONS:
            alphas = self.picture(icon).alphas()
            self.assertIn(0, alphas, icon)
            self.assertIn(255, alphas, icon)

    def TellTheFirstStartsApart(self):
        for folder in ("Velorin", "Eshop"):
            for name, size in PICTURES.items():
                plain = self.picture(f"{folder}/{name}").ink()
                new = self.picture(f"{folder}/LessTen/{name}").ink()
                differing = {p for p in plain | new if plain.get(p) != new.get(p)}
                self.assertGreater(len(differing), size * size / 10, f"{folder}/{name}")

    def StandOutOnLightAndDarkBars(self):
        def luminance(colour):
            parts = [c / 255 for c in colour]
            parts = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
            return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]

        for icon in ICONS:
            solid = [pixel[:3] for pixel in self.picture(icon).pixels if pixel[3] == 255]
            for bar in ((0xF5, 0xF5, 0xF5), (0x33, 0x38, 0x3F)):
                ground = luminance(bar)
                ratios = [
                    (max(ground, l) + 0.05) / (min(ground, l) + 0.05) for l in map(luminance, solid)
                ]
                clear = sum(ratio >= 2 for ratio in ratios)
                self.assertGreater(clear, len(solid) * 0.6, f"{icon} on {bar}")

    def AreThoseOfTheDrawings(self):
        with tempfile.TemporaryDirectory() as folder:
            script = SOURCE / "resources/draw-icons.cmake"
            subprocess.run([CMAKE, f"-DOUTPUT={folder}", "-P", script], check=True)
            made = sorted(str(p.relative_to(folder)) for p in Path(folder).rglob("*.png"))
            self.assertEqual(sorted(ICONS), made)
            for icon in ICONS:
                self.assertEqual(
                    self.picture(icon, Path(folder)).pixels, self.picture(icon).pixels,
                    f"{icon} is older than its drawing: build the target icons",
                )


if __name__ == "__main__":
    unittest.main()
