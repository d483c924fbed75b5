"""Instructions, counted by valgrind's callgrind for each call that benchmark-counts makes."""

import collections
import os
import re
import subprocess
import tempfile

# The functions of the C++ library that serve file streams. The rest of it serves texts and memory.
STREAMS = re.compile(
    r"std::[io]stream::|basic_(filebuf|[io]?fstream|[io]?stream|ios|streambuf|file)|ios_base|"
    r"sentry|locale|codecvt|ctype|facet|getline|__ostream_insert|__dynamic_cast|_dyncast|__cxxabiv1|type_info|__convert|"
    r"^0x"
)
# And its headers, whose functions are compiled into their callers.
STREAM_HEADERS = {"fstream", "istream", "ostream", "streambuf", "basic_ios.h", "ios_base.h"}


class Instructions:
    """What one call executed, by library, function and source file; what the host did beneath it is
    left out."""

    def __init__(self, costs):
        self.costs = costs

    def own(self, library):
        """The instructions of the library and of the C++ library, but for those of its streams."""
        return sum(
            n for (where, function, file), n in self.costs.items()
            if where == library and file not in STREAM_HEADERS
            or where.startswith("libstdc++") and not STREAMS.search(function.split("(")[0])
        )

    def of(self, library):
        """All instructions of the library."""
        return sum(n for (where, _, _), n in self.costs.items() if where.startswith(library))

    def outside(self, *libraries):
        """All instructions but those of these libraries."""
        return sum(n for (where, _, _), n in self.costs.items() if not where.startswith(libraries))

    def libraries(self):
        """The instructions by library."""
        result = collections.Counter()
        for (where, _, _), n in self.costs.items():
            result[where] += n
        return result

    def functions(self):
        """The instructions by library and function."""
        result = collections.Counter()
        for (where, function, _), n in self.costs.items():
            result[f"{where}: {function}"] += n
        return result


def host_operations(build):
    """The functions by which a library enters the substitute host."""
    names = subprocess.run(
        ["nm", "-C", "--defined-only", f"{build}/libXInterface10.so"],
        check=True, capture_output=True, text=True,
    ).stdout.splitlines()
    operation = re.compile(
        r"substitute::\w+(<[^()]*>)?::(\w+_raw|addref|release|queryInterface)\([^()]*\)( const)?|"
        r"adsk::core::Application::get_raw\(\)|adsk::core::DeallocateArrayInternal\(char\*\)|"
        r"_NSGetExecutablePath"
    )
    return sorted({n for n in (line.split(" ", 2)[2] for line in names) if operation.fullmatch(n)})


def count(build, environment, *words):
    """Runs benchmark-counts with `words` and returns the Instructions of each call by its name."""
    with tempfile.TemporaryDirectory() as folder:
        # Collecting is turned on for a call, off on the way into the host, on again on the way out.
        toggles = [f"--toggle-collect={name}" for name in host_operations(build)]
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out",
             "--compress-strings=no", "--compress-pos=no", "--collect-atstart=no", *toggles,
             f"{build}/benchmark-counts", *words],
            capture_output=True, text=True, env={**environment, "LD_BIND_NOW": "1"},
        )
        if run.returncode != 0:
            raise RuntimeError(f"callgrind failed on {' '.join(words)}: {run.stderr[-1500:]}")
        parts = [os.path.join(folder, name) for name in os.listdir(folder)]
        return dict(filter(None, map(_read, sorted(parts))))


def _read(path):
    name = where = function = header = file = None
    after_call = False
    costs = collections.Counter()
    with open(path, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            line = line.rstrip("\n")
            if line.startswith("desc: Trigger: Client Request: "):
                name = line.split(": ", 3)[3]
            elif line.startswith("ob="):
                where = os.path.basename(line[3:])
            elif line.startswith("fl="):
                header = os.path.basename(line[3:])
            elif line.startswith("fn="):
                function = line[3:]
                file = header
            elif line.startswith(("fi=", "fe=")):
                file = os.path.basename(line[3:])
            elif line.startswith("calls="):
                after_call = True  # the next line holds what the callee cost
            elif re.match(r"[\d+*-]", line):
                if not after_call:
                    costs[(where, function, file)] += int(line.split()[-1])
                after_call = False
    return (name, Instructions(costs)) if name else None
