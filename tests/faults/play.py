"""How cases are played: cases in, endings out. What can be seen of them is held against the model."""

import json
import os
import signal
import subprocess
import tempfile
import time
from functools import partial
from itertools import zip_longest
from pathlib import Path
from typing import NamedTuple, Optional

import model

as_text = partial(json.dumps, ensure_ascii=False)
ASSERTION = "Memory:150: operator->: Assertion `ptr_ != nullptr' failed."
MAC_ASSERTION = "Assertion failed: (ptr_ != nullptr), function operator->, file Memory, line 150."
# What substitute-host says of an add-in that breaks the rules; what is still held shows in the states.
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

    runner: list  # the command that runs a program built for the add-in's system; empty: it runs itself
    folder: Path  # of the programs
    addin: Path
    site: str  # where the add-in finds its learning page
    without_assertions: bool  # the add-in throws where it uses an empty handle
    macos: bool = False


class Ending(NamedTuple):
    """What a case left."""

    status: int  # as subprocess gives it
    data: str  # the folder in which the host was installed
    out: str
    err: str
    trace: str
    info_file: Optional[bytes]


def play(cases, tools, folder):
    """Plays the cases, which ask for the state after every command. One start of the player serves all
    that may do the same to files. Gives the endings in the order of the cases. Nobody else uses `folder`
    meanwhile."""
    places = [folder / str(number) for number in range(len(cases))]
    results = {}
    for with_rights in (True, False):
        some = [at for at, case in enumerate(cases) if (case.disk == "open") == with_rights]
        if some:
            given = [prepare(cases[at], places[at]) for at in some]
            results.update(zip(some, run_player(given, tools, folder / "tmp", with_rights)))
    return [ending(results[at], place / "data", place / "trace") for at, place in enumerate(places)]


def prepare(case, place):
    """Makes the disk for a case. What the player is to do there."""
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
    return {"data": str(data), "addinFolder": case.disk != "no-folder", "trace": str(place / "trace"),
            "scenario": scenario}


def run_player(given, tools, temporary, with_rights):
    command = [*tools.runner, tools.folder / "fault-player", tools.addin]
    if not with_rights and os.geteuid() == 0:
        # Root may read and write everything, unless it gives up the rights to.
        command = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search", *command]
    temporary.mkdir(exist_ok=True)
    result = subprocess.run(command, env={**os.environ, "TMPDIR": str(temporary)},
                            input="".join(as_text(one) + "\n" for one in given), text=True,
                            stdout=subprocess.PIPE, check=True)
    return [json.loads(line) for line in result.stdout.splitlines()]


def ending(result, data, trace):
    info_file = Path(f"{data}{model.INFO_FILE}")
    for path in info_file.parent, info_file:
        if path.exists():
            path.chmod(0o700)
    return Ending(-result["signal"] or result["status"], str(data), result["output"], result["errors"],
                  trace.read_text(errors="replace") if trace.exists() else "",
                  info_file.read_bytes() if info_file.exists() else None)


def differences(cases, tools):
    """How each case differs from the model, a line each; no line where it does not."""
    while True:
        today = time.strftime("%d.%m.%Y")
        with tempfile.TemporaryDirectory(prefix="velorin-") as folder:
            found = [compare(ending, predict(case, tools, ending.data, today), tools)
                     for case, ending in zip(cases, play(cases, tools, Path(folder)))]
        # A difference that midnight made is none.
        if today == time.strftime("%d.%m.%Y"):
            return found


def predict(case, tools, data="DIR", today="today"):
    return model.predict(case, data=data, today=today, site=tools.site,
                         without_assertions=tools.without_assertions)


def compare(ending, expected, tools):
    found = []
    status = -signal.SIGABRT if expected.aborted else 0
    if ending.status != status:
        found.append(f"expected {of_status(status)}, got {of_status(ending.status)}")
    if not tells_the_assertion(ending.err, tools.macos) if expected.aborted else ending.err:
        said = "the assertion and the host's report" if expected.aborted else "nothing"
        found.append(f"standard error: expected {said}, got {ending.err}")
    found += compare_lines("trace line", expected.trace, ending.trace.splitlines())
    lines = ending.out.split("\n")
    found += compare_lines("state", expected.states, [line for line in lines if line[:1] == "{"])
    found += [line for line in map(str.strip, lines) if line in DIAGNOSTICS]
    if ending.info_file != expected.info_file:
        found.append(f"info file: expected {expected.info_file}, got {ending.info_file}")
    return found


def of_status(status):
    return f"exit status {status}" if status >= 0 else f"the end by {signal.Signals(-status).name}"


def tells_the_assertion(err, macos):
    """The assertion behind the name of the program, then the host's report; an emulator adds a line of
    its own."""
    lines = err.splitlines()
    if macos:
        emulators = [line for line in lines if line.startswith("qemu: uncaught target signal 6 ")]
        lines = [line for line in lines if line not in emulators]
        if len(emulators) != 1:
            return False
    first, second, *_ = [*lines, "", ""]
    if second != "substitute-host: the host is ended by the signal SIGABRT":
        return False
    return first == MAC_ASSERTION if macos else first.endswith(ASSERTION)


def compare_lines(what, expected, got):
    """The first line in which `got` is not what is expected, as a sentence; of states only what
    differs."""
    for number, (wanted, line) in enumerate(zip_longest(expected, got), 1):
        place = f"{what} {number}: expected"
        if wanted is None:
            return [f"{place} no more, got {line}"]
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
