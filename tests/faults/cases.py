"""The scenarios whose every call is made to fail, every short one, and random ones."""

import random
from collections import Counter
from itertools import product

import model
from play import Case

LINK = 'message "https://learning.velorin.example/sketch.asp"'


def counted(count):
    return f"16.11.2026\n{count}".encode()


# Together these call every operation of the host.
SCENARIOS = [
    Case("first start", ["start", LINK, "close", "click", "stop"]),
    Case("fourth start", ["start", "close", "online", LINK, "click", "stop"], counted("3\n")),
    Case("fifth start", ["start", "online", "click", LINK, "click", "stop"], counted("4\n")),
    Case("another info file", ['info-lines ["1.1.2026", "3"]', "start", "dock teachPalete 3",
                               "hide teachPalete", "online", "stop"]),
    Case("negative count", ["start", "online", "stop"], counted("-1")),
    Case("start offline", ["offline", "start", "click", "online", LINK, "stop"]),
    Case("going online", ["offline", "start", "online", LINK, "click", "stop"], counted("2\n")),
    Case("another language", ["language 3", "entitlement", "start", "click", "stop"], counted("1")),
    Case("existing palette", ["plant palette teachPalete", "hide", "start", "online", LINK, "click",
                              "stop"]),
    Case("planted e-shop", ["plant definition openEshop", "plant control openEshop", "start",
                            "click openEshop", "stop"], counted("9\n")),
    Case("plain controls", ["plant plain-control openEshop", "start",
                            "remove control runTeachPalette",
                            "plant plain-control runTeachPalette", "stop"], counted("9\n")),
    Case("leftovers of an earlier load", ["start", "unload", "start", "click", LINK, "stop"],
         counted("3\n")),
    Case("palette replaced", ["start", "remove palette teachPalete", "plant palette teachPalete",
                              "click", "online", "stop"]),
    Case("info file that cannot be read", ["start", "online", "stop"], counted("3\n"),
         "unreadable-file"),
    Case("info file that cannot be written", ["start", "unload", "start"], counted("3\n"),
         "read-only-file"),
    Case("no folder", ["start", "unload", "start"], None, "no-folder"),
    Case("folder that cannot be written", ["offline", "start", "unload", "start"], None,
         "read-only-folder"),
    Case("no toolbar", ["remove toolbar QATRight", "start", "stop"]),
    Case("toolbar goes before stop", ["start", "remove toolbar QATRight", "stop"]),
    Case("three starts", ["start", "stop", "start", "message", "message-null", "stop", "start",
                          "stop"], counted("2\n")),
]

# What every short scenario is made of.
COMMANDS = ["start", "stop", "unload", "click", LINK, "message", "online", "offline", "close",
            "plant palette teachPalete", "remove palette teachPalete", "remove toolbar QATRight"]


def sequences(length):
    """Every scenario of one to `length` of these commands."""
    for count in range(1, length + 1):
        for commands in product(COMMANDS, repeat=count):
            yield Case("; ".join(commands), list(commands))


def calls_in(case, tools):
    """Every call that succeeds, as the model sees it, in the words that `fail` takes: the operation
    and which call of it."""
    count = Counter()
    for entry in model.predict(case, tools).trace:
        if "op" in entry:
            count[entry["op"]] += 1
            if "fault" not in entry:
                yield f"{entry['op']} {count[entry['op']]}"


def with_fault(case, words):
    return case._replace(name=f"{case.name}, {words}", scenario=[f"fail {words}", *case.scenario])


def with_each_fault(cases, tools):
    """Each case with each of its calls failing once, in each way that it can."""
    for case in cases:
        for call in calls_in(case, tools):
            for how in ("null", "throw"):
                yield with_fault(case, f"{call} {how}")


def pair_of_faults(seed, tools):
    """A scenario with two calls that fail; the second is made although the first fails."""
    chance = random.Random(seed)

    def with_one(case, calls):
        return with_fault(case, f"{chance.choice(calls)} {chance.choice(('null', 'throw'))}")

    scenario = chance.choice(SCENARIOS)
    while True:
        first = with_one(scenario, list(calls_in(scenario, tools)))
        calls = list(calls_in(first, tools))
        # A first call that ends everything leaves no second one.
        if calls:
            return with_one(first, calls)


MESSAGES = [LINK, "message 'https://learning.velorin.example/body.asp second  word'",
            "message (two words)", 'message "příklad/žluťoučký kůň"', "message xx", "message x",
            "message č", 'message " "', "message", "message ", "message-null"]
USER = ["hide", "show", "close", "hide teachPalete", "show other", "dock teachPalete 3",
        "dock teachPalete 0"]
VALUES = ["language 0", "language 1", "language 2", "language 3", "language -2",
          "language 2147483647", "entitlement", "entitlement ", "entitlement A B&c=d#e",
          "entitlement žluťoučký"]
OBJECTS = ["palette teachPalete", "palette other", "definition openEshop",
           "definition runTeachPalette", "control openEshop", "control runTeachPalette",
           "control HelpGroupCommand", "plain-control openEshop", "plain-control runTeachPalette",
           "plain-control HelpGroupCommand"]
COUNTS = ["0", "1", "2", "3", "4", "5", "-1", "-5", "2147483646", "2147483647", "2147483648",
          "-2147483648", "-2147483649", "99999999999", "abc", "", " 7x", "\v\f\r3", "+2", "-",
          "+-3", "0x10", "007", "3.9", "3\r", "3\0004"]
RESTS = ["", "\n", "\n\n", "\nnotes", "\nnotes\r\n\nmore\n"]
ODD_FILES = ["", "\n", "\n\n", "1", "1\n", "16.11.2026", "16.11.2026\n"]


def random_scenario(seed, operations):
    """A random scenario, faults included; the same for the same seed."""
    chance = random.Random(seed)
    pick = chance.choice

    def fault():
        number = pick(["", " 1", " 2", " 3", " 4"])
        return f"fail {pick(operations)}{number}{pick(['', ' null', ' throw'])}"

    kinds = {
        lambda: "start": 4, lambda: "stop": 2, lambda: "unload": 1,
        lambda: pick(["click", "click", "click", "click openEshop"]): 2,
        lambda: pick(MESSAGES): 2, lambda: "online": 2, lambda: "offline": 1,
        lambda: pick(USER): 1, lambda: pick(VALUES): 1, lambda: f"plant {pick(OBJECTS)}": 1,
        lambda: f"remove {pick([*OBJECTS, 'toolbar QATRight'])}": 1, fault: 2,
    }
    info_file = pick([None, None, None, pick(ODD_FILES).encode(),
                      *[counted(pick(COUNTS) + pick(RESTS))] * 5])
    disks = [disk for disk in model.DISKS if model.possible(disk, info_file)]
    commands = chance.choices(list(kinds), kinds.values(), k=chance.randint(1, 14))
    return Case(f"seed {seed}", [make() for make in commands], info_file,
                pick(["open"] * 16 + disks))
