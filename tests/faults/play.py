"""How cases are played, and what can be seen of them is held against the model."""

import json
import os
import signal
import subprocess
import tempfile
import time
from itertools import zip_longest
from pathlib import Path
from typing import NamedTuple, Optional

import model

as_text = json.JSONEncoder(ensure_ascii=False, separators=(",", ":")).encode
ASSERTION = "Memory:150: operator->: Assertion `ptr_ != nullptr' failed."
MAC_ASSERTION = "Assertion failed: (ptr_ != nullptr), function operator->, file Memory, line 150."
IN_MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # a disk takes thrice the time
ENDED = "substitute-host: the host is ended by the signal SIGABRT"
# What substitute-host says of an add-in that breaks the rules; what it holds shows in the states.
DIAGNOSTICS = (
    "A reference was dropped that the add-in did not hold!",
    "A text was handed back that the add-in did not hold!",
    "The add-in was let go, yet the process keeps its library.",
)


class Case(NamedTuple):
    name: str
    scenario: list  # commands of substitute-host
    info_file: Optional[bytes] = None  # before the first command; None: there is none
    disk: str = "open"


class Tools(NamedTuple):
    """What the cases are played with."""

    runner: list  # the emulator of macOS; empty: the programs run themselves
    folder: Path  # of the programs
    addin: Path
    site: str  # where the add-in finds its learning page
    without_assertions: bool  # the add-in throws where it uses an empty handle


def differences(cases, tools):
    """How each case differs from the model, a line each; no line where it does not."""
    while True:
        today = time.strftime("%d.%m.%Y")
        with tempfile.TemporaryDirectory(prefix="velorin-", dir=IN_MEMORY) as folder:
            places = [Path(folder, str(number)) for number in range(len(cases))]
            results = play(cases, places, tools, Path(folder, "tmp"))
            found = [compare(case, place, result, today, tools)
                     for case, place, result in zip(cases, places, results)]
        # A difference that midnight made is none.
        if today == time.strftime("%d.%m.%Y"):
            return found


def play(cases, places, tools, temporary):
    """What the player says of each case. One start serves all that may do the same to files."""
    temporary.mkdir()
    results = {}
    for with_rights in (True, False):
        some = [at for at, case in enumerate(cases) if (case.disk == "open") == with_rights]
        command = [*tools.runner, tools.folder / "fault-player", tools.addin]
        if not with_rights and os.geteuid() == 0:
            # Root may read and write everything, unless it gives up the rights to.
            command = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search", *command]
        if some:
            given = "".join(as_text(prepare(cases[at], places[at])) + "\n" for at in some)
            environment = {**os.environ, "TMPDIR": str(temporary)}
            said = subprocess.run(command, env=environment, input=given, stdout=subprocess.PIPE,
                                  text=True, check=True).stdout
            results.update(zip(some, map(json.loads, said.splitlines())))
    return [results[at] for at in range(len(cases))]


def prepare(case, place):
    """Makes the disk for a case. What the player is to do there, the state after every command."""
    data = place / "data"
    info_file = Path(f"{data}{model.INFO_FILE}")
    (info_file.parent if case.disk != "no-folder" else data).mkdir(parents=True)
    if case.info_file is not None:
        info_file.write_bytes(case.info_file)
    if case.disk == "read-only-folder":
        info_file.parent.chmod(0o500)
    elif case.disk.endswith("-file"):
        info_file.chmod(0o200 if case.disk == "unreadable-file" else 0o400)
    scenario = [line for command in case.scenario for line in (command, "state")]
    return {"data": str(data), "addinFolder": case.disk != "no-folder",
            "trace": str(place / "trace"), "scenario": scenario}


def compare(case, place, result, today, tools):
    data, trace = place / "data", place / "trace"
    info_file = Path(f"{data}{model.INFO_FILE}")
    for path in info_file.parent, info_file:
        if path.exists():
            path.chmod(0o700)
    left = info_file.read_bytes() if info_file.exists() else None
    expected = model.predict(case, tools, str(data), today)

    found = []
    ending = -result["signal"] or result["status"]
    status = -signal.SIGABRT if expected.aborted else 0
    if ending != status:
        found.append(f"expected {of_status(status)}, got {of_status(ending)}")
    errors = result["errors"]
    if not tells_the_assertion(errors, bool(tools.runner)) if expected.aborted else errors:
        said = "the assertion and the host's report" if expected.aborted else "nothing"
        found.append(f"standard error: expected {said}, got {errors}")
    traced = trace.read_text(errors="replace") if trace.exists() else ""
    found += compare_lines("trace line", expected.trace, traced.splitlines())
    lines = result["output"].split("\n")
    found += compare_lines("state", expected.states, [line for line in lines if line[:1] == "{"])
    found += [line for line in map(str.strip, lines) if line in DIAGNOSTICS]
    if left != expected.info_file:
        found.append(f"info file: expected {expected.info_file}, got {left}")
    return found


def of_status(status):
    return f"exit status {status}" if status >= 0 else f"the end by {signal.Signals(-status).name}"


def tells_the_assertion(errors, macos):
    """The assertion behind the name of the program, then the host's report; an emulator adds a line
    of its own."""
    lines = errors.splitlines()
    emulators = [line for line in lines if line.startswith("qemu: uncaught target signal 6 ")]
    first, second, *_ = [*(line for line in lines if line not in emulators), "", ""]
    tells = first == MAC_ASSERTION if macos else first.endswith(ASSERTION)
    return tells and second == ENDED and len(emulators) == macos


def compare_lines(what, expected, got):
    """The first line in which `got` is not what is expected, as a sentence; of states only what
    differs."""
    for number, (wanted, line) in enumerate(zip_longest(expected, got), 1):
        place = f"{what} {number}: expected"
        if wanted is None:
            return [f"{place} no more, got {line}"]
        if line == as_text(wanted):
            continue
        try:
            entry = json.loads(line or "")
        except ValueError:
            return [f"{place} {as_text(wanted)}, got {line or 'no more'}"]
        if wanted.get("event") == "threw" and "what" not in wanted:
            entry.pop("what", None)
        if as_text(entry) == as_text(wanted):
            continue
        if what == "state":
            wanted, entry = ({key: some[key] for key in some if wanted.get(key) != entry.get(key)}
                             for some in (wanted, entry))
        return [f"{place} {as_text(wanted)}, got {as_text(entry)}"]
    return []
