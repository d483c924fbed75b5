#!/usr/bin/env python3
"""Checks that exceptions find their way through a library or program for macOS arm64.

usage: check_exceptions.py FILE...

The linkers that run on Linux have written tables in which they do not, and nothing else in the file
shows it: the process ends when the first exception is thrown. Prints a line for each fault; the status
is 1 where there is one, and 2 for a file that cannot be read.
"""

import bisect
import struct
import sys
from pathlib import Path

MODE, NO_MODE, DWARF = 0x0F000000, 0, 0x03000000
HAS_HANDLER_TABLE = 0x40000000
# Only code that an exception can enter calls these.
ENTERED_BY_EXCEPTIONS = {"__Unwind_Resume", "___cxa_begin_catch", "___clang_call_terminate"}
# Called from there, not entered itself.
NOT_ENTERED = "___clang_call_terminate"


class Unreadable(Exception):
    pass


class MachO:
    """The parts of a file that exceptions depend on. Addresses are those of the file."""

    def __init__(self, path):
        self.data = Path(path).read_bytes()
        self.sections = {}  # name: (address, size, offset, first indirect symbol, bytes a stub)
        try:
            self._read_commands()
        except (struct.error, UnicodeDecodeError) as error:
            raise Unreadable("the file is cut off") from error

    def _unpack(self, form, offset):
        return struct.unpack_from("<" + form, self.data, offset)

    def _read_commands(self):
        magic, processor, _, _, count = self._unpack("5I", 0)
        if magic != 0xFEEDFACF or processor != 0x0100000C:
            raise Unreadable("the file is no Mach-O for arm64")
        self.base, self.names, indirect = 0, {}, []
        strings = symbols = (0, 0)
        at = 32
        for _ in range(count):
            command, size = self._unpack("2I", at)
            if command == 0x19:  # LC_SEGMENT_64
                name, address = self._unpack("16sQ", at + 8)
                if name.rstrip(b"\0") == b"__TEXT":
                    self.base = address
                (sections,) = self._unpack("I", at + 64)
                for place in range(at + 72, at + 72 + 80 * sections, 80):
                    section, _, *values = self._unpack("16s16sQQ8I", place)
                    address, length, offset, _, _, _, _, first, stub = values[:9]
                    self.sections[section.rstrip(b"\0").decode()] = (
                        address, length, offset, first, stub)
            elif command == 0x2:  # LC_SYMTAB
                symbols, strings = self._unpack("2I", at + 8), self._unpack("2I", at + 16)
            elif command == 0xB:  # LC_DYSYMTAB
                offset, number = self._unpack("2I", at + 56)
                indirect = self._unpack(f"{number}I", offset)
            at += size
        table = [self._unpack("IBBHQ", symbols[0] + 16 * i) for i in range(symbols[1])]
        named = []
        for start, kind, _, _, value in table:
            end = self.data.index(b"\0", strings[0] + start)
            named.append(self.data[strings[0] + start : end].decode())
            if kind & 0xEE == 0x0E:  # defined in a section, and not for the debugger
                self.names[value] = named[-1]
        address, size, _, first, stub = self.sections.get("__stubs", (0, 0, 0, 0, 1))
        for i in range(size // stub):
            self.names[address + i * stub] = named[indirect[first + i]]

    def calls(self, start, end):
        """What the code from `start` to `end` calls: names, and None for what has none."""
        address, _, offset, _, _ = self.sections["__text"]
        found = []
        for place in range(start, end, 4):
            (code,) = self._unpack("I", place - address + offset)
            if code & 0xFC000000 == 0x94000000:  # bl
                distance = (code & 0x03FFFFFF) - ((code & 0x02000000) << 1)
                found.append(self.names.get(place + 4 * distance))
            elif code & 0xFFFFFC1F == 0xD63F0000:  # blr
                found.append(None)
        return found

    def unwind_entries(self):
        """(address, encoding) of every entry of __unwind_info, and the addresses of the functions
        that have a handler table."""
        _, _, section, _, _ = self.sections["__unwind_info"]
        version, common, commons, _, _, index, count = self._unpack("7I", section)
        if version != 1:
            raise Unreadable(f"__unwind_info has version {version}")
        shared = self._unpack(f"{commons}I", section + common)
        pages = [self._unpack("3I", section + index + 12 * i) for i in range(count)]
        entries = []
        for start, page, _ in pages[:-1]:
            (kind,) = self._unpack("I", section + page)
            first, number, palette, size = self._unpack("4H", section + page + 4)
            if kind == 2:
                for i in range(number):
                    place, encoding = self._unpack("2I", section + page + first + 8 * i)
                    entries.append((self.base + place, encoding))
                continue
            own = self._unpack(f"{size}I", section + page + palette)
            for (entry,) in struct.iter_unpack("<I", self.data[section + page + first :][: 4 * number]):
                place, which = entry & 0xFFFFFF, entry >> 24
                encoding = shared[which] if which < commons else own[which - commons]
                entries.append((self.base + start + place, encoding))
        handled = set()
        address, size, _, _, _ = self.sections.get("__gcc_except_tab", (0, 0, 0, 0, 0))
        for place in range(section + pages[0][2], section + pages[-1][2], 8):
            function, table = self._unpack("2I", place)
            if address <= self.base + table < address + size:
                handled.add(self.base + function)
        return entries, handled


def faults(path):
    """What is wrong with the file, a sentence each."""
    file = MachO(path)
    address, size, _, _, _ = file.sections["__text"]
    if "__unwind_info" not in file.sections:
        return ["there is no __unwind_info"]
    entries, handled = file.unwind_entries()
    starts = sorted({place for place in file.names if address <= place < address + size}
                    | {place for place, _ in entries})
    places = [place for place, _ in entries]
    said = []
    for place, encoding in entries:
        if encoding & MODE == DWARF:
            said.append(f"{file.names.get(place, hex(place))} is unwound by DWARF")
    for start, end in zip(starts, starts[1:] + [address + size]):
        end = min(end, address + size)
        if not address <= start < end:
            continue
        name = file.names.get(start, hex(start))
        calls = file.calls(start, end)
        which = bisect.bisect_right(places, start) - 1
        encoding = entries[which][1] if which >= 0 else 0
        if calls and encoding & MODE == NO_MODE and name != NOT_ENTERED:
            said.append(f"{name} calls {calls[0] or 'a function'} and cannot be unwound")
        entered = ENTERED_BY_EXCEPTIONS.intersection(calls)
        if entered and name != NOT_ENTERED:
            if not encoding & HAS_HANDLER_TABLE or places[which] not in handled:
                said.append(f"{name} calls {min(entered)} and has no handler table")
    return said


def main(paths):
    failed = 0
    for path in paths:
        try:
            said = faults(path)
        except (OSError, Unreadable) as error:
            print(f"{path}: {error}", file=sys.stderr)
            return 2
        for sentence in said:
            print(f"{path}: {sentence}", file=sys.stderr)
        failed |= bool(said)
    return int(failed)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
