"""The library for macOS, looked at from outside; a library and builds that must be refused."""

import json
import os
import re
import shutil
import tempfile
import unittest
import zipfile
from pathlib import Path

from macho import BUILD, CMAKE, SOURCE, Library, attempt, configure, run

STUBS = SOURCE / "packaging/stubs"
HOST_LIBRARIES = ["XInterface10", "FusionXInterface10", "CAMXInterface10"]
LOADED = [f"@rpath/Neutron/{name}.dylib" for name in HOST_LIBRARIES]
LOADED += ["/usr/lib/libc++.1.dylib", "/usr/lib/libSystem.B.dylib"]
HANDLERS = {  # and what their events tell them
    "RovaHTMLEventHandler": "HTMLEventArgs",
    "CadFirst3sHTMLEventHandler": "HTMLEventArgs",
    "CmdExecuteEventHandler": "CommandEventArgs",
    "CmdEshopExecuteEventHandler": "CommandEventArgs",
    "CmdCreatedEventHandler": "CommandCreatedEventArgs",
    "CmdEshopCreatedEventHandler": "CommandCreatedEventArgs",
    "OnlineStatusChangedHandler": "ApplicationEventArgs",
}
STRING = "NSt3__112basic_stringI{0}NS_11char_traitsI{0}EENS_9allocatorI{0}EEEE"
EXPORTS = {
    "_run", "_stop", "_app", "_ui", "_palette", "_countOpenPalette",
    "__onHTMLEvent", "__onHTMLEventFirst3", "__cmdExecute", "__cmdEshopExecute",
    "__cmdCreated", "__cmdEshopCreated",
    "__Z11OpenPalettev", "__Z15AutoOpenPalettev", "__Z22GetExecutableDirectoryv", "__Z8datetimev",
    "__Z16SetAddinLocation" + STRING.format("c"), "__Z10FileExistsRK" + STRING.format("c"),
    "__Z4ws2sRK" + STRING.format("w"),
    "__Z14countLeapYears4Date", "__Z13getDifference4DateS_",
}
SYSTEM_CALLS = {
    "_system", "_access", "_time", "_localtime", "_strftime", "__NSGetExecutablePath",
}
LANGUAGE_RUNTIME = {
    "_memchr", "_memcpy", "_memmove", "_memset", "_strlen",
    "___assert_rtn", "__Unwind_Resume", "___cxa_atexit", "dyld_stub_binder",
    # The file streams: the libc++ of macOS 11 leaves them to the program.
    "_fopen", "_fclose", "_fread", "_fwrite", "_fflush", "_fseeko", "_ftello", "_setbuf",
}
# What a library without assertions needs instead: it throws.
WITHOUT_ASSERTIONS = {
    ("libc++", "__ZNSt9exceptionD1Ev"), ("libc++", "__ZTVSt9exception"),
}


def unused_stubs(folder):
    """The names that are in the stubs, and imported neither by the add-in nor by the probe."""
    used = [Library(folder / name).imports() for name in ("Velorin.dylib", "VelorinProbe.dylib")]
    return {
        (stub.stem, symbol)
        for stub in STUBS.glob("*.tbd")
        for symbol in re.findall(r"^ +- (\w+)$", stub.read_text(), re.M)
    }.difference(*used)


def mangled(name):
    return f"{len(name)}{name}"


class MacLibrary(unittest.TestCase):
    path = BUILD / "Velorin.dylib"

    def setUp(self):
        self.library = Library(self.path)

    def RunsOnMacos11(self):
        (version,) = [c for c in self.library.commands if c["cmd"] == "LC_BUILD_VERSION"]
        self.assertEqual(("macos", "11.0"), (version["platform"], version["minos"]))

    def IsSignedAdHoc(self):
        flags, covers_all, matches = self.library.code_directory()
        self.assertTrue(flags & 0x2, "not marked as signed ad hoc")
        self.assertTrue(covers_all, "not signed as a whole")
        self.assertTrue(matches and all(matches), "a page differs from its hash")

    def HasNoSegmentToWriteAndRun(self):
        segments = [c for c in self.library.commands if c["cmd"] == "LC_SEGMENT_64"]
        self.assertGreaterEqual(len(segments), 3)
        for segment in segments:
            for protection in (segment["initprot"], segment["maxprot"]):
                self.assertRegex(protection, "^[r-](w-|-x|--)$", segment["segname"])

    def HoldsNoPathOfThisMachine(self):
        texts = [t.decode() for t in re.findall(rb"[\x20-\x7e]{4,}", self.library.data)]
        places = [str(p) for p in (SOURCE, BUILD, Path.home(), tempfile.gettempdir())]
        self.assertEqual([], [place for place in places if place.encode() in self.library.data])
        homes = rb"/(?:home|root|tmp|Users)/[\x20-\x7e]*"
        self.assertEqual([], re.findall(homes, self.library.data))
        paths = {text for text in texts if re.match(r"/[^/]+/", text)}
        self.assertEqual({"/usr/lib/libc++.1.dylib", "/usr/lib/libSystem.B.dylib"}, paths)
        self.assertEqual([], [c for c in self.library.commands if c["cmd"] == "LC_RPATH"])

    def IsSmall(self):
        self.assertLessEqual(self.path.stat().st_size, 98_304)

    def LoadsTheHostsLibrariesThenTheSystems(self):
        loaded = [("LC_LOAD_DYLIB", name) for name in LOADED]
        self.assertEqual(
            [("LC_ID_DYLIB", "@rpath/Velorin.dylib"), *loaded], self.library.libraries())

    def ExportsExactlyTheListedNames(self):
        self.assertEqual(sorted(EXPORTS), sorted(self.library.exports()))

    def HandlersHaveTheHostsSlots(self):
        # With the names that the host does not need.
        library = Library(f"{self.path}.unstripped")
        for handler, argument in HANDLERS.items():
            with self.subTest(handler):
                name = mangled(handler)
                table = library.addresses[f"__ZTV{name}"]
                slots = [library.pointer(table + 8 * i) for i in range(21)]
                pointer = f"N4adsk4core3PtrINS1_{mangled(argument)}ENS1_14IncompleteTypeEEE"
                own = [f"__ZTI{name}", f"__ZN{name}D1Ev", f"__ZN{name}D0Ev",
                       f"__ZN{name}6notifyERK{pointer}"]
                self.assertEqual(0, slots[0])
                for symbol, slot in zip(own, [*slots[1:4], slots[20]]):
                    self.assertIn(symbol, library.names_at(slot))
                reserved = [f"placeholderEventHandler{i}" for i in range(16)]
                wanted = [f"__ZN4adsk4core12EventHandler{mangled(r)}Ev" for r in reserved]
                self.assertEqual([("XInterface10", symbol, 0) for symbol in wanted], slots[4:20])
                self.assertTrue(library.names_at(table + 8 * 21), "there is one slot more")

    def ImportsWhatTheStubsName(self):
        libraries, symbols = map(set, zip(*self.library.imports()))
        self.assertEqual({"XInterface10", "libc++", "libSystem"}, libraries)
        self.assertEqual(self.library.undefined, symbols)
        self.assertEqual(WITHOUT_ASSERTIONS, unused_stubs(self.path.parent))

    def CallsOnlyTheListedSystemFunctions(self):
        calls = {symbol for library, symbol in self.library.imports() if library == "libSystem"}
        self.assertEqual(SYSTEM_CALLS, calls - LANGUAGE_RUNTIME)


class MacProbe(unittest.TestCase):
    def IsLinkedAsTheAddInAndShowsOnlyWhatTheHostCalls(self):
        library = Library(BUILD / "VelorinProbe.dylib")
        self.assertEqual({"_run", "_stop"}, library.exports())
        self.assertEqual(
            ["@rpath/VelorinProbe.dylib", *LOADED], [name for _, name in library.libraries()])


class Workplace(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)


class MacLibraryRefused(Workplace):
    def WhereExceptionsDoNotArrive(self):
        commands = run("ninja", "-C", BUILD, "-t", "commands", "Velorin.dylib").splitlines()
        (compile,) = [c for c in commands if c.endswith("addin/EntryPoints.cpp")]
        built, other = "CMakeFiles/velorin.dir/addin/EntryPoints.cpp.o", f"{self.folder}/object.o"
        run("sh", "-c", compile.replace(built, other) + " -fasynchronous-unwind-tables", cwd=BUILD)
        library = f"{self.folder}/Velorin.dylib"
        link = commands[-1].replace(built, other).replace(f"{BUILD}/Velorin.dylib", library)
        link = link.replace("-o Velorin.dylib", f"-o {library}")
        done, said = attempt("sh", "-c", link, cwd=BUILD)
        self.assertFalse(done)
        self.assertIn("_run is unwound by DWARF", said)
        self.assertIn("_run calls __Unwind_Resume and has no handler table", said)


class MacKit(Workplace):
    """The build against the host's kit, played by a copy of the project's own declarations."""

    def copy_kit(self, names=("core", "fusion", "cam")):
        """A folder laid out as the host's kit: its headers, and its libraries by these names."""
        kit = self.folder / f"kit of {names[0]}"
        shutil.copytree(SOURCE / "host", kit / "include")
        (kit / "lib").mkdir()
        for library, name in zip(HOST_LIBRARIES, names):
            shutil.copy(STUBS / f"{library}.tbd", kit / "lib" / f"{name}.tbd")
        return kit

    def configure(self, *options):
        done, said = configure(self.folder / "build", *options)
        self.assertTrue(done, said)
        self.assertNotIn("inspection", said)

    def expect_refusal_to_package(self, said):
        # Without the target "package", which would compile the addresses into the library first.
        done, words = attempt(Path(CMAKE).with_name("cpack"), cwd=self.folder / "build")
        self.assertFalse(done)
        self.assertEqual([], list((self.folder / "build").glob("*.zip")))
        self.assertRegex(words, said.replace(" ", r"\s+") + r"\.")

    def MakesAPackageThatPassesEveryCheckOnceTheAddressesAreSet(self):
        folder, prefix = self.folder / "build", self.folder / "installed"
        self.configure(f"-DHOST_API_DIR={self.copy_kit()}", "-DVELORIN_ASSERTIONS=OFF")
        run(CMAKE, "--build", folder)
        self.assertEqual(set(), unused_stubs(folder))
        used = Library(folder / "Velorin.dylib").imports()
        self.assertNotIn(("libSystem", "___assert_rtn"), used)
        run(CMAKE, "--install", folder, "--prefix", prefix)
        self.assertTrue((prefix / "Velorin/Velorin.dylib").exists())
        site, shop = "VELORIN_LEARNING_HOST", "VELORIN_ESHOP_ADDRESS"
        addresses = [f"-D{site}=learning.test.example", f"-D{shop}=https://eshop.test.example"]
        self.expect_refusal_to_package(f"{site} and {shop}")
        for given, missing in zip(addresses, (shop, site)):
            self.configure(f"-U{site}", f"-U{shop}", given)
            self.expect_refusal_to_package(f": set {missing}")

        self.configure("-DVELORIN_HOST_PRODUCT=Fusion360", "-DVELORIN_ASSERTIONS=ON", *addresses)
        run(CMAKE, "--build", folder, "--target", "package")
        self.assertEqual([], list(folder.glob("*-inspection.zip")))
        (path,) = folder.glob("*.zip")
        with zipfile.ZipFile(path) as package:
            manifest = json.loads(package.read("Velorin/Velorin.manifest"))
            library = package.read("Velorin/Velorin.dylib")
        self.assertEqual("Fusion360", manifest["autodeskProduct"])
        for text in (b"https://learning.test.example/fusion360/learning.asp?lang=",
                     b"open https://eshop.test.example"):
            self.assertIn(text, library)
        named = type("OfTheKit", (MacLibrary,), {"path": folder / "Velorin.dylib"})
        result = unittest.TestResult()
        for check in filter(lambda name: name[0].isupper(), vars(MacLibrary)):
            named(check).run(result)
        self.assertEqual([], result.errors + result.failures)

    def IsRefusedWhereAFileIsMissing(self):
        for names, missing, expected in (
            (HOST_LIBRARIES, None, "Generating done"),  # their long names are taken, too
            (("core", "fusion", "cam"), "lib/cam.tbd",
             r"the library\s+CAMXInterface10\s+\(or\s+cam\)\s+is\s+missing"),
            (("xcore", "fusion", "cam"), "include/Core/CoreAll.h",
             r"include/Core/CoreAll\.h\s+is\s+missing"),
        ):
            with self.subTest(missing):
                kit = self.copy_kit(names)
                if missing:
                    (kit / missing).unlink()
                done, said = configure(self.folder / "build", f"-DHOST_API_DIR={kit}")
                self.assertEqual(missing is None, done, said)
                self.assertRegex(said, expected)


class MacCompiler(Workplace):
    def AnUnreachableRegistryIsNamed(self):
        for name in ("macos-toolchain.cmake", "package.json", "package-lock.json", ".npmrc"):
            shutil.copy(SOURCE / "packaging" / name, self.folder)
        nowhere = {
            "npm_config_registry": "http://127.0.0.1:9",
            "npm_config_cache": self.folder / "cache",
            "npm_config_fetch_retries": "0",
        }
        done, said = attempt(
            CMAKE, "-P", "macos-toolchain.cmake", cwd=self.folder, env={**os.environ, **nowhere})
        self.assertFalse(done)
        self.assertRegex(said, r"the npm\s+registry\s+cannot\s+be\s+reached")


if __name__ == "__main__":
    unittest.main()
