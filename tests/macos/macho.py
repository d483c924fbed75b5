"""What a library for macOS holds, as LLVM's tools tell it."""

import hashlib
import os
import re
import struct
import subprocess
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
BUILD = Path(os.environ["VELORIN_MACOS_BUILD"])
CMAKE = os.environ["VELORIN_CMAKE"]


def attempt(*command, **how):
    """Whether a command went well, and what it said."""
    result = subprocess.run(command, capture_output=True, text=True, check=False, **how)
    return result.returncode == 0, result.stdout + result.stderr


def run(*command, **how):
    """What a command says; its failure is the test's."""
    done, said = attempt(*command, **how)
    if not done:
        raise AssertionError(f"{' '.join(map(str, command))} failed:\n{said}")
    return said


def configure(folder, *options, **how):
    """Configures a build for macOS in `folder`: whether it went well, and what was said."""
    return attempt(CMAKE, "--preset", "macos", "-B", folder, *options, cwd=SOURCE, **how)


class Library:
    def __init__(self, path):
        self.path = Path(path)
        self.data = self.path.read_bytes()
        self.commands, self.sections = self._load_commands()
        self.addresses = self._symbols("--defined-only")  # every symbol in the file, by name
        self.undefined = set(self._symbols("--undefined-only"))
        self.binds = self._binds()  # address: (library, symbol, addend)

    def objdump(self, *options):
        return run("llvm-objdump", "--macho", *options, self.path)

    def libraries(self):
        """Its own name and the libraries that it loads, in order, each with the load command."""
        return [(c["cmd"], c.get("name")) for c in self.commands
                if re.search(r"DYLIB|FVMLIB|^\?", c["cmd"])]

    def exports(self):
        return set(re.findall(r"^0x[0-9A-F]+ +(\S+)", self.objdump("--exports-trie"), re.M))

    def imports(self):
        """(library, symbol) of all that is bound when the library is loaded or later."""
        return {(library, symbol) for library, symbol, _ in self.binds.values()}

    def pointer(self, address):
        """The pointer at an address of the file: what it is bound to, or the place it points to."""
        if address in self.binds:
            return self.binds[address]
        return struct.unpack_from("<Q", self.data, self._offset(address))[0]

    def names_at(self, address):
        return {name for name, place in self.addresses.items() if place == address}

    def code_directory(self):
        """The signature's flags, whether its pages are all that lies before it, and, page by page,
        whether its hash is that of the file."""
        (command,) = [c for c in self.commands if c["cmd"] == "LC_CODE_SIGNATURE"]
        start = int(command["dataoff"])
        magic, _, count = struct.unpack_from(">III", self.data, start)
        assert magic == 0xFADE0CC0, hex(magic)
        slots = [struct.unpack_from(">II", self.data, start + 12 + 8 * i) for i in range(count)]
        start += dict(slots)[0]
        magic, _, _, flags, hashes, _, _, pages, limit = struct.unpack_from(">9I", self.data, start)
        size, kind, _, page_shift = struct.unpack_from(">4B", self.data, start + 36)
        assert (magic, size, kind) == (0xFADE0C02, 32, 2), "no directory of SHA-256 hashes"
        matches = []
        for page in range(pages):
            begin = page << page_shift
            wanted = self.data[start + hashes + 32 * page :][:32]
            content = self.data[begin : min(begin + (1 << page_shift), limit)]
            matches.append(hashlib.sha256(content).digest() == wanted)
        covers_all = limit == int(command["dataoff"]) and pages == -(-limit >> page_shift)
        return flags, covers_all, matches

    def _load_commands(self):
        commands, sections, current = [], [], {}
        for line in self.objdump("--private-headers").splitlines():
            words = line.split(maxsplit=1)
            if line.startswith("Load command"):
                commands.append(current := {})
            elif line.startswith("Section"):
                sections.append(current := {})
            elif len(words) == 2:
                current.setdefault(words[0], words[1].split(" (")[0])
        return commands, sections

    def _symbols(self, which):
        rows = run("llvm-nm", "--format=posix", which, self.path).splitlines()
        return {row.split()[0]: int(row.split()[2], 16) for row in rows if row}

    def _table(self, option, columns):
        rows = [line.split() for line in self.objdump(option).splitlines()]
        return [row for row in rows if len(row) >= columns and row[2].startswith("0x")]

    def _binds(self):
        binds = {}
        for row in self._table("--bind", 7):
            binds[int(row[2], 16)] = (row[5], row[6], int(row[4]))
        for row in self._table("--lazy-bind", 5):
            binds[int(row[2], 16)] = (row[3], row[4], 0)
        if self._table("--weak-bind", 5):
            raise AssertionError("a name is left open to whoever else defines it")
        return binds

    def _offset(self, address):
        for section in self.sections:
            start = int(section["addr"], 16)
            if start <= address < start + int(section["size"], 16):
                return address - start + int(section["offset"])
        raise AssertionError(f"nothing lies at {address:#x}")
