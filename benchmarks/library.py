"""What lies in a shared library: sections, relocations, initialisers, and what nobody calls."""

import collections
import os
import re
import subprocess
import tempfile


def _run(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


class Library:
    """An ELF library that has kept its symbol table."""

    def __init__(self, path):
        self.path = path
        self.sections = self._read_sections()
        self.functions, self.objects, self.exported = self._read_symbols()
        self.relocations = self._read_relocations()

    def stripped_size(self):
        """The file's bytes without symbols and debugging information."""
        with tempfile.TemporaryDirectory() as folder:
            stripped = os.path.join(folder, "stripped")
            _run("strip", "-o", stripped, self.path)
            return os.path.getsize(stripped)

    def section_sizes(self):
        """The bytes of each section that is loaded."""
        return {name: size for name, (address, size) in self.sections.items() if address}

    def initialisers(self):
        """The functions that run at loading, and at unloading."""
        start = self._array(".init_array")
        end = self._array(".fini_array")
        return start, end

    def relocations_by_object(self):
        """How many relocations each named object needs; None stands for what has no name."""
        counts = collections.Counter()
        for place, (symbol, target) in self.relocations.items():
            counts[self._holder(place, symbol, target)] += 1
        return counts

    def uncalled(self):
        """Functions that nothing leads to: no exported name, no initialiser, no table, no call."""
        references = self._code_references()
        reached = set()
        todo = list(self.exported)
        for section in (".init_array", ".fini_array"):
            address, size = self.sections.get(section, (0, 0))
            todo += [target for place, (_, target) in self.relocations.items()
                     if address <= place < address + size]
        todo += [start for start, (name, _) in self.functions.items() if name in ("_init", "_fini")]
        while todo:
            thing = self._start(todo.pop())
            if thing is None or thing in reached:
                continue
            reached.add(thing)
            if thing in self.functions:
                todo += references[thing]
                # What a failure leads to is entered through the exception tables.
                name = self.functions[thing][0]
                todo += [start for start, (other, _) in self.functions.items()
                         if other in (name + " [clone .cold]", name + ".cold")]
            else:
                size = self.objects[thing][1]
                todo += [target for place, (_, target) in self.relocations.items()
                         if thing <= place < thing + size]
        return sorted(name for start, (name, _) in self.functions.items() if start not in reached)

    def _read_sections(self):
        sections = {}
        for line in _run("readelf", "-SW", self.path).splitlines():
            match = re.match(r"\s*\[\s*\d+\] (\S+)\s+\S+\s+([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+)", line)
            if match:
                sections[match[1]] = (int(match[2], 16), int(match[3], 16))
        return sections

    def _read_symbols(self):
        functions, objects, exported = {}, {}, []
        for line in _run("readelf", "-sWC", self.path).splitlines():
            match = re.match(
                r"\s*\d+: ([0-9a-f]+)\s+(\S+) (FUNC|OBJECT)\s+(\S+)\s+(\S+)\s+(\d+) (.+)", line)
            if not match:
                continue
            address, size, name = int(match[1], 16), int(match[2], 0), match[7]
            kind = functions if match[3] == "FUNC" else objects
            kind.setdefault(address, (name, size))
            if match[4] in ("GLOBAL", "WEAK") and match[5] == "DEFAULT":
                exported.append(address)
        return functions, objects, exported

    def _read_relocations(self):
        """For each place the symbol's name, or none, and the address within the library, or none."""
        relocations = {}
        for line in _run("readelf", "-rWC", self.path).splitlines():
            match = re.match(r"([0-9a-f]{16})\s+[0-9a-f]+ (R_\w+)\s+(.*)", line)
            if not match:
                continue
            place, kind, rest = int(match[1], 16), match[2], match[3]
            if kind.endswith("_RELATIVE"):
                relocations[place] = (None, int(rest, 16))
            else:
                value, name = re.match(r"([0-9a-f]+)\s+(.*?)(?: \+ [0-9a-f]+)?$", rest).groups()
                relocations[place] = (name, int(value, 16) or None)
        return relocations

    def _array(self, section):
        address, size = self.sections.get(section, (0, 0))
        return [self._name(target) for place, (_, target) in sorted(self.relocations.items())
                if address <= place < address + size]

    def _holder(self, place, symbol, target):
        for start, (name, size) in self.objects.items():
            if start <= place < start + max(size, 1):  # one that the linker made has no size
                return name
        for section in (".init_array", ".fini_array"):
            address, size = self.sections.get(section, (0, 0))
            if address <= place < address + size:
                name = self._name(target)
                return f"{section}: {name}" if name else None
        # The table of addresses has one entry for each thing that the code names.
        for section in (".got", ".got.plt"):
            address, size = self.sections.get(section, (0, 0))
            if address <= place < address + size:
                pointed = symbol or self._name(target)
                return f"address of {pointed}" if pointed else None
        return None

    def _start(self, address):
        """Where the function or object begins that holds `address`; none when there is none."""
        if address is None:
            return None
        for table in (self.functions, self.objects):
            if address in table:
                return address
        for table in (self.functions, self.objects):
            for start, (_, size) in table.items():
                if start <= address < start + size:
                    return start
        return None

    def _name(self, address):
        start = self._start(address)
        if start is None:
            return None
        return (self.functions.get(start) or self.objects[start])[0]

    def _code_references(self):
        """The addresses that each function's code names, through the table of addresses or not."""
        references = collections.defaultdict(list)
        function = None
        for line in _run("objdump", "-d", "--no-show-raw-insn", self.path).splitlines():
            head = re.match(r"([0-9a-f]+) <.*>:$", line)
            if head:
                function = int(head[1], 16)
                continue
            code = re.match(r"\s+[0-9a-f]+:\t(.*)", line)
            if not code or function is None:
                continue
            for address in re.findall(r"# ([0-9a-f]+)|(?:call|j\w+)\s+([0-9a-f]+)", code[1]):
                place = int(address[0] or address[1], 16)
                # An entry of the table of addresses stands for what it points to.
                _, target = self.relocations.get(place, (None, None))
                references[function].append(target if target is not None else place)
        return references
