"""The buttons' icons: in the sizes that the host asks for, seen on any bar, and as drawn."""

import itertools
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from PIL import Image

SOURCE = Path(os.environ["VELORIN_SOURCE"])
CMAKE = os.environ["VELORIN_CMAKE"]

FOLDERS = ["Velorin", "Velorin/LessTen", "Eshop", "Eshop/LessTen"]
PICTURES = {
    "16x16.png": 16, "32x32.png": 32, "64x64.png": 64,
    "16x16@2x.png": 32, "32x32@2x.png": 64, "64x64@2x.png": 128,
}
ICONS = [f"{folder}/{picture}" for folder in FOLDERS for picture in PICTURES]
BARS = ((0xF5, 0xF5, 0xF5), (0x33, 0x38, 0x3F))


def luminance(colour):
    parts = [c / 255 for c in colour]
    parts = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]


def contrast(one, other):
    darker, lighter = sorted((luminance(one), luminance(other)))
    return (lighter + 0.05) / (darker + 0.05)


class Picture:
    """A picture file with red, green, blue and alpha; pixels row by row."""

    def __init__(self, path):
        picture = Image.open(path)
        assert picture.mode == "RGBA", f"{path} has no alpha"
        self.size = picture.size
        self.pixels = list(picture.getdata())

    def alphas(self):
        return {pixel[3] for pixel in self.pixels}

    def ink(self):
        """What is seen: places with their colour, wherever something is drawn at all."""
        return {place: pixel for place, pixel in enumerate(self.pixels) if pixel[3] > 0}

    def seen_on(self, ground):
        """The colours on a ground, pixels row by row."""
        return [
            tuple((c * alpha + g * (255 - alpha)) / 255 for c, g in zip(colour, ground))
            for *colour, alpha in self.pixels
        ]


class Icons(unittest.TestCase):
    def picture(self, icon, folder=SOURCE / "resources"):
        return Picture(folder / icon)

    def HaveTheSizesThatTheirNamesSay(self):
        for icon in ICONS:
            picture = self.picture(icon)
            size = PICTURES[Path(icon).name]
            self.assertEqual((size, size), picture.size, icon)

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
        for icon in ICONS:
            solid = [pixel[:3] for pixel in self.picture(icon).pixels if pixel[3] == 255]
            for bar in BARS:
                clear = sum(contrast(colour, bar) >= 2 for colour in solid)
                self.assertGreater(clear, len(solid) * 0.6, f"{icon} on {bar}")

    def HaveEdgesOnThePixelsOfTheSmallest(self):
        for folder in FOLDERS:
            ink = self.picture(f"{folder}/16x16.png").ink().values()
            blurred = sum(alpha < 255 for *_, alpha in ink)
            self.assertLess(blurred, len(ink) * 0.4, folder)

    def StandOutMoreWhenSmallest(self):
        for folder in FOLDERS:
            pixels = self.picture(f"{folder}/16x16.png").pixels
            solid = [pixel[:3] for pixel in pixels if pixel[3] == 255]
            for bar in BARS:
                clear = sum(contrast(colour, bar) >= 3 for colour in solid)
                self.assertGreater(clear, len(solid) * 0.85, f"{folder} on {bar}")

    def AreToldApartAlsoWhenSmallest(self):
        for one, other in itertools.combinations(FOLDERS, 2):
            for bar in BARS:
                pair = [self.picture(f"{folder}/16x16.png").seen_on(bar) for folder in (one, other)]
                differing = sum(
                    max(abs(a - b) for a, b in zip(*colours)) > 64 for colours in zip(*pair)
                )
                self.assertGreater(differing, 16 * 16 / 4, f"{one} and {other} on {bar}")

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
