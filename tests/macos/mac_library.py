"""The library for macOS, looked at from outside, and libraries that must be refused."""

import json
import os
import re
import shutil
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

from macho import Library, attempt, run

SOURCE = Path(os.environ["VELORIN_SOURCE"])
sys.path.insert(0, str(SOURCE / "packaging"))
import check_exceptions  # noqa: E402

BUILD = Path(os.environ["VELORIN_MACOS_BUILD"])
STUBS = SOURCE / "packaging/stubs"
CMAKE = os.environ["VELORIN_CMAKE"]

HOST_LIBRARIES = ["XInterface10", "FusionXInterface10", "CAMXInterface10"]
HANDLERS = {
    "RovaHTMLEventHandler": ("HTMLEventHandler", "HTMLEventArgs"),
    "CadFirst3sHTMLEventHandler": ("HTMLEventHandler", "HTMLEventArgs"),
    "CmdExecuteEventHandler": ("CommandEventHandler", "CommandEventArgs"),
    "CmdEshopExecuteEventHandler": ("CommandEventHandler", "CommandEventArgs"),
    "CmdCreatedEventHandler": ("CommandCreatedEventHandler", "CommandCreatedEventArgs"),
    "CmdEshopCreatedEventHandler": ("CommandCreatedEventHandler", "CommandCreatedEventArgs"),
    "OnlineStatusChangedHandler": ("ApplicationEventHandler", "ApplicationEventArgs"),
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


# What a package for others is made with.
ADDRESSES = [
    "-DVELORIN_LEARNING_HOST=learning.test.example", "-DVELORIN_ESHOP_ADDRESS=https://eshop.test.example",
]


def stub_names():
    return {
        (stub.stem, symbol)
        for stub in STUBS.glob("*.tbd")
        for symbol in re.findall(r"^ +- (\w+)$", stub.read_text(), re.M)
    }


def probe_imports(folder):
    """What the probe in that folder uses, which is linked against the same stubs."""
    return Library(folder / "VelorinProbe.dylib").imports()


def unstripped(path):
    """The same library with the names that the host does not need, where it was kept."""
    kept = Path(f"{path}.unstripped")
    return kept if kept.exists() else path


def mangled(name):
    return f"{len(name)}{name}"


class MacLibrary(unittest.TestCase):
    path = BUILD / "Velorin.dylib"

    def setUp(self):
        self.library = Library(self.path)

    def IsADynamicLibraryForArm64(self):
        header = self.library.header()
        self.assertEqual("Magic64", header["Magic"])
        self.assertEqual("Arm64", header["CpuType"])
        self.assertEqual("DynamicLibrary", header["FileType"])
        self.assertEqual("@rpath/Velorin.dylib", self.library.install_name())

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
                self.assertRegex(protection, "^[r-][w-][x-]$")
                self.assertFalse("w" in protection and "x" in protection, segment["segname"])

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
        self.assertEqual(
            [f"@rpath/Neutron/{name}.dylib" for name in HOST_LIBRARIES]
            + ["/usr/lib/libc++.1.dylib", "/usr/lib/libSystem.B.dylib"],
            self.library.loaded_libraries(),
        )

    def ExportsExactlyTheListedNames(self):
        self.assertEqual(sorted(EXPORTS), sorted(self.library.exports()))

    def HandlersHaveTheHostsSlots(self):
        library = Library(unstripped(self.path))
        for handler, (_, argument) in HANDLERS.items():
            with self.subTest(handler):
                name = mangled(handler)
                table = library.addresses[f"__ZTV{name}"]
                slots = [library.pointer(table + 8 * i) for i in range(21)]
                self.assertEqual(None, slots[0])
                self.assertIn(f"__ZTI{name}", library.names_at(slots[1]))
                self.assertIn(f"__ZN{name}D1Ev", library.names_at(slots[2]))
                self.assertIn(f"__ZN{name}D0Ev", library.names_at(slots[3]))
                reserved = [f"placeholderEventHandler{i}" for i in range(16)]
                wanted = [f"__ZN4adsk4core12EventHandler{mangled(r)}Ev" for r in reserved]
                self.assertEqual([("XInterface10", symbol, 0) for symbol in wanted], slots[4:20])
                pointer = f"N4adsk4core3PtrINS1_{mangled(argument)}ENS1_14IncompleteTypeEEE"
                self.assertEqual(
                    {f"__ZN{name}6notifyERK{pointer}"}, library.names_at(slots[20])
                )
                self.assertTrue(library.names_at(table + 8 * 21), "there is one slot more")

    def HandlersTellTheirTypes(self):
        library = Library(unstripped(self.path))
        single_inheritance = ("libc++", "__ZTVN10__cxxabiv120__si_class_type_infoE", 16)
        for handler, (base, _) in HANDLERS.items():
            with self.subTest(handler):
                info = library.addresses[f"__ZTI{mangled(handler)}"]
                self.assertEqual(single_inheritance, library.pointer(info))
                self.assertEqual(mangled(handler), library.text(library.pointer(info + 8)))
                info = library.pointer(info + 16)
                self.assertEqual(single_inheritance, library.pointer(info))
                self.assertEqual(
                    f"N4adsk4core{mangled(base)}E", library.text(library.pointer(info + 8))
                )
                self.assertEqual(
                    ("XInterface10", "__ZTIN4adsk4core12EventHandlerE", 0),
                    library.pointer(info + 16),
                )

    def ImportsWhatTheStubsName(self):
        imports = self.library.imports()
        self.assertEqual(self.library.undefined, {symbol for _, symbol in imports})
        self.assertEqual(set(), imports - stub_names())
        self.assertEqual(WITHOUT_ASSERTIONS, stub_names() - imports - probe_imports(BUILD))

    def CallsOnlyTheListedSystemFunctions(self):
        calls = {symbol for library, symbol in self.library.imports() if library == "libSystem"}
        self.assertEqual(SYSTEM_CALLS, calls - LANGUAGE_RUNTIME)

    def ExceptionsCanBeCaught(self):
        self.assertEqual([], check_exceptions.faults(unstripped(self.path)))

    def AssertsThatAHandleIsFilled(self):
        self.assertIn(("libSystem", "___assert_rtn"), self.library.imports())


def configure(folder, *options):
    """Configures a build for macOS in `folder`: whether it went well, and what was said."""
    return attempt(CMAKE, "--preset", "macos", "-B", folder, *options, cwd=SOURCE)


def build(folder, target="all"):
    run(CMAKE, "--build", folder, "--target", target)


class MacProbe(unittest.TestCase):
    def setUp(self):
        self.library = Library(BUILD / "VelorinProbe.dylib")

    def ShowsOnlyWhatTheHostCalls(self):
        self.assertEqual({"_run", "_stop"}, self.library.exports())

    def IsLinkedAsTheAddIn(self):
        addin = Library(BUILD / "Velorin.dylib")
        self.assertEqual(addin.loaded_libraries(), self.library.loaded_libraries())
        self.assertEqual("@rpath/VelorinProbe.dylib", self.library.install_name())

    def ImportsWhatTheStubsName(self):
        self.assertEqual(set(), self.library.imports() - stub_names())


class Workplace(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def failure(self, path, check):
        """What the check says against the library at `path`; None when it has nothing to say."""
        test = type("MacLibrary", (MacLibrary,), {"path": path})(check)
        result = test.run()
        self.assertEqual([], result.errors)
        return "\n".join(text for _, text in result.failures) or None

    def build_again(self, sources=(), compile=str, link=str):
        """Builds the library in another place, by the build's own commands as these two change them,
        with the build's objects of all but these sources: the library, whether its build went well,
        and what was said."""
        commands = run("ninja", "-C", BUILD, "-t", "commands", "Velorin.dylib").splitlines()
        library = self.folder / "Velorin.dylib"
        places = {f"{BUILD}/Velorin.dylib": str(library), "-o Velorin.dylib": f"-o {library}"}
        for source in sources:
            (command,) = [c for c in commands if c.endswith(f"{SOURCE}/{source}")]
            place = f"CMakeFiles/velorin.dir/{source}.o"
            places[place] = str(self.folder / place)
            Path(places[place]).parent.mkdir(parents=True, exist_ok=True)
            run("sh", "-c", compile(command.replace(place, places[place])), cwd=BUILD)
        command = commands[-1]
        for place, other in places.items():
            command = command.replace(place, other)
        return library, *attempt("sh", "-c", link(command), cwd=BUILD)

    def copy_kit(self, names=("core", "fusion", "cam")):
        """A folder laid out as the host's kit: its headers, and its libraries by these names."""
        kit = self.folder / f"kit of {names[0]}"
        shutil.copytree(SOURCE / "host", kit / "include")
        (kit / "lib").mkdir()
        for library, name in zip(HOST_LIBRARIES, names):
            shutil.copy(STUBS / f"{library}.tbd", kit / "lib" / f"{name}.tbd")
        return kit


class MacLibraryRefused(Workplace):
    def ASymbolThatNoStubNames(self):
        stub = self.folder / "libSystem.tbd"
        stub.write_text((STUBS / "libSystem.tbd").read_text().replace("- _system\n", "- _other\n"))
        _, done, said = self.build_again(
            link=lambda command: command.replace(str(STUBS / "libSystem.tbd"), str(stub)))
        self.assertFalse(done)
        self.assertIn("undefined symbol: _system", said)


class MacKit(Workplace):
    """The build against the host's kit, played by a copy of the project's own declarations."""

    def MakesAPackageThatPassesEveryCheckOnceTheAddressesAreSet(self):
        folder, prefix = self.folder / "build", self.folder / "installed"
        done, said = configure(folder, f"-DHOST_API_DIR={self.copy_kit()}", "-DVELORIN_ASSERTIONS=OFF")
        self.assertTrue(done, said)
        self.assertNotIn("inspection", said)
        build(folder)
        self.expect_what_throwing_needs(folder)
        run(CMAKE, "--install", folder, "--prefix", prefix)
        self.assertTrue((prefix / "Velorin/Velorin.dylib").exists())
        names = "VELORIN_LEARNING_HOST and VELORIN_ESHOP_ADDRESS"
        self.assertRegex(self.refusal_to_package(folder), names.replace(" ", r"\s+") + r"\.")
        for given, missing in zip(ADDRESSES, reversed(names.split(" and "))):
            defaults = [option.split("=")[0].replace("-D", "-U") for option in ADDRESSES]
            done, said = configure(folder, *defaults, given)
            self.assertTrue(done, said)
            self.assertRegex(self.refusal_to_package(folder), rf":\s+set\s+{missing}\.")

        done, said = configure(
            folder, "-DVELORIN_HOST_PRODUCT=Fusion360", "-DVELORIN_ASSERTIONS=ON", *ADDRESSES)
        self.assertTrue(done, said)
        build(folder, "package")
        self.assertEqual([], list(folder.glob("*-inspection.zip")))
        (path,) = folder.glob("*.zip")
        with zipfile.ZipFile(path) as package:
            manifest = json.loads(package.read("Velorin/Velorin.manifest"))
            library = package.read("Velorin/Velorin.dylib")
        self.assertEqual("Fusion360", manifest["autodeskProduct"])
        for text in (b"https://learning.test.example/fusion360/learning.asp?lang=",
                     b"open https://eshop.test.example"):
            self.assertIn(text, library)
        for check in named_checks():
            self.assertIsNone(self.failure(folder / "Velorin.dylib", check), check)

    def expect_what_throwing_needs(self, folder):
        imports = Library(folder / "Velorin.dylib").imports()
        self.assertEqual(set(), WITHOUT_ASSERTIONS - imports)
        self.assertNotIn(("libSystem", "___assert_rtn"), imports)
        self.assertEqual(set(), stub_names() - imports - probe_imports(folder))

    def refusal_to_package(self, folder):
        # Without the target "package", which would compile the addresses into the library first.
        done, said = attempt(Path(CMAKE).with_name("cpack"), cwd=folder)
        self.assertFalse(done)
        self.assertEqual([], list(folder.glob("*.zip")))
        return said

    def IsRefusedWhereAFileIsMissing(self):
        for names, missing, expected in (
            (HOST_LIBRARIES, None, ""),  # their long names are taken, too
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
                if missing:
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


def named_checks():
    return [name for name in vars(MacLibrary) if name[0].isupper()]


if __name__ == "__main__":
    unittest.main()
