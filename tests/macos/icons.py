"""The buttons' icons: in the sizes that the host asks for, seen on any bar, and as drawn."""

import itertools
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from PIL import Image, ImageChops

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


class Icons(unittest.TestCase):
    def picture(self, icon, folder=SOURCE / "resources"):
        return Image.open(folder / icon)

    def HaveTheSizesThatTheirNamesSay(self):
        for icon in ICONS:
            size = PICTURES[Path(icon).name]
            self.assertEqual((size, size), self.picture(icon).size, icon)

    def AreTransparentAroundTheInk(self):
        for icon in ICONS:
            self.assertEqual((0, 255), self.picture(icon).getchannel("A").getextrema(), icon)

    def StandOutOnLightAndDarkBars(self):
        smallest = [icon for icon in ICONS if icon.endswith("/16x16.png")]
        for icons, least, share in ((ICONS, 2, 0.6), (smallest, 3, 0.85)):
            for icon, bar in itertools.product(icons, BARS):
                # Of what covers all that is behind it.
                pixels = self.picture(icon).getdata()
                colours = [colour for *colour, alpha in pixels if alpha == 255]
                clear = sum(contrast(colour, bar) >= least for colour in colours)
                self.assertGreater(clear, len(colours) * share, f"{icon} on {bar}")

    def HaveEdgesOnThePixelsOfTheSmallest(self):
        for folder in FOLDERS:
            alphas = list(self.picture(f"{folder}/16x16.png").getchannel("A").getdata())
            blurred = sum(0 < alpha < 255 for alpha in alphas)
            self.assertLess(blurred, sum(alpha > 0 for alpha in alphas) * 0.4, folder)

    def AreToldApartInEverySize(self):
        for bar, (name, size) in itertools.product(BARS, PICTURES.items()):
            ground = Image.new("RGBA", (size, size), bar)
            seen = [Image.alpha_composite(ground, self.picture(f"{folder}/{name}"))
                    for folder in FOLDERS]
            for one, other in itertools.combinations(seen, 2):
                colours = ImageChops.difference(one, other).getdata()
                differing = sum(max(colour) > 64 for colour in colours)
                least = size * size / (4 if size == 16 else 6)
                self.assertGreater(differing, least, f"{name} on {bar}")

    def AreThoseOfTheDrawings(self):
        with tempfile.TemporaryDirectory() as folder:
            script = SOURCE / "resources/draw-icons.cmake"
            subprocess.run([CMAKE, f"-DOUTPUT={folder}", "-P", script], check=True)
            made = sorted(str(p.relative_to(folder)) for p in Path(folder).rglob("*.png"))
            self.assertEqual(sorted(ICONS), made)
            for icon in ICONS:
                self.assertEqual(
                    self.picture(icon, Path(folder)), self.picture(icon),
                    f"{icon} is older than its drawing: build the target icons",
                )


if __name__ == "__main__":
    unittest.main()
