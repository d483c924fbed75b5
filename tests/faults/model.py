"""What must follow from a scenario.

The rules of the add-in, and of the host that it is tried in, written down a second time as a small
program. It shares nothing with either, so that a mistake has to be made twice to go unseen.
"""

import json
from typing import NamedTuple, Optional

# What the add-in finds where its info file lies. It changes none of it.
DISKS = {
    "open": "whatever the add-in does there succeeds",
    "no-folder": "the add-in's folder is not there; takes no info file",
    "read-only-folder": "no file can be made in the add-in's folder",
    "unreadable-file": "the info file cannot be read; takes one",
    "read-only-file": "the info file cannot be written; takes one",
}

LEARNING_BUTTON = "runTeachPalette"
LEARNING_PALETTE = "teachPalete"
# In the folder in which the host is installed.
INFO_FILE = "/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt"
CONTROLS = {"control": "CommandControl", "plain-control": "ToolbarControl"}  # by what is planted
LOWEST, HIGHEST = -(2**31), 2**31 - 1


def possible(disk, info_file):
    """Whether there is such a disk with or without the file."""
    if disk == "no-folder":
        return info_file is None
    return info_file is not None or not disk.endswith("-file")


class Thrown(Exception):
    """An exception that leaves the add-in, in the words of the trace; without `what`, the words are
    the standard library's affair."""

    def __init__(self, kind, what=None):
        super().__init__(kind)
        self.entry = {"event": "threw", "type": kind, **({"what": what} if what else {})}


class Aborted(Exception):
    """The end of the process by the assertion on an empty handle."""


class Ended(Exception):
    """Something is not there that the rest of the rule is about."""


class Handle(NamedTuple):
    """A host object: its class, and the id of what it stands for or belongs to; or None."""

    kind: str
    id: str = ""

    def __str__(self):
        named = ("Palette", "Toolbar", "CommandControl", "ToolbarControl", "CommandDefinition")
        return f"{self.kind}:{self.id}" if self.kind in named else self.kind


def present(handle):
    if handle is None:
        raise Ended
    return handle


def find(entries, identifier):
    return next((entry for entry in entries if entry["id"] == identifier), None)


def erase(entries, identifier):
    entry = find(entries, identifier)
    if entry is not None:
        entries.remove(entry)
    return entry is not None


def new_palette(identifier, title, address="", visible=True, width=0, height=0):
    return {"id": identifier, "title": title, "address": address, "visible": visible,
            "dockingState": 0, "width": width, "height": height, "handlers": []}


def new_definition(identifier, name, tooltip="", folder=""):
    return {"id": identifier, "name": name, "tooltip": tooltip, "resourceFolder": folder,
            "handlers": []}


class Host:
    """The host's objects, what each operation does, and how a planned fault makes it fail."""

    def __init__(self, without_assertions):
        self.without_assertions = without_assertions
        self.palettes, self.definitions, self.online_handlers = [], [], []
        self.toolbars = [
            {"id": "QATRight", "controls": [{"id": "HelpGroupCommand", "class": "CommandControl"}]}
        ]
        # By the operation that reads them; the last is the message that is being delivered.
        self.values = {"isOffLine": False, "userLanguage": 2,
                       "executeTextCommand": "VELORIN-EXAMPLE 2026", "data": None}
        self.execute_handlers = []  # of the command that is being created
        self.faults = []  # lists of the operation, how many calls of it are left, and how it fails
        self.trace = []

    def next_fault(self, operation):
        """How this call fails. Every planned fault counts every call; of two that are due at once
        the one planned first decides."""
        due = []
        for fault in self.faults:
            if fault[0] == operation:
                fault[1] -= 1
                if fault[1] == 0:
                    due.append(fault)
        self.faults = [fault for fault in self.faults if fault not in due]
        return due[0][2] if due else None

    def call(self, on, operation, *arguments, work, nothing=None):
        """One call, as the trace tells it: of an operation of the class of `on`, unless it names
        another one. One that fails does no work and gives `nothing`. The use of an empty handle
        leaves no trace."""
        if on is None:
            raise Thrown("std::exception", "std::exception") if self.without_assertions else Aborted
        if "." not in operation:
            operation = f"{on.kind}.{operation}"
        entry = {"op": operation, **({"on": str(on)} if on.kind else {}), "args": list(arguments)}
        fault = self.next_fault(operation)
        self.trace.append(entry)
        if fault == "throw":
            entry["fault"] = fault
            raise Thrown("std::runtime_error", f"the host failed in {operation}")
        result = nothing if fault else work()
        entry["result"] = str(result) if isinstance(result, Handle) else result
        if fault:
            entry["fault"] = fault
        return result

    def application(self):
        return self.call(Handle(""), "Application.get", work=lambda: Handle("Application"))

    def part(self, owner, operation, kind):
        """The object of the class `kind` that belongs to `owner`."""
        return self.call(owner, operation, work=lambda: Handle(kind, owner.id))

    def value(self, on, operation, *arguments, nothing=None):
        """One of the values that the user or the page sets."""
        return self.call(on, operation, *arguments, work=lambda: self.values[operation],
                         nothing=nothing)

    def add_handler(self, event, handler):
        def work():
            {"HTMLEvent": lambda: find(self.palettes, event.id)["handlers"],
             "CommandCreatedEvent": lambda: find(self.definitions, event.id)["handlers"],
             "CommandEvent": lambda: self.execute_handlers,
             "ApplicationEvent": lambda: self.online_handlers}[event.kind]().append(handler)
            return True

        return self.call(event, "add", handler, work=work, nothing=False)

    def item_by_id(self, collection, identifier):
        def work():
            kind, entries = {
                "Palettes": ("Palette", self.palettes),
                "CommandDefinitions": ("CommandDefinition", self.definitions),
                "Toolbars": ("Toolbar", self.toolbars),
                "ToolbarControls": ("", self.controls(collection.id)),
            }[collection.kind]
            entry = find(entries, identifier)
            return Handle(kind or entry["class"], identifier) if entry else None

        return self.call(collection, "itemById", identifier, work=work)

    def controls(self, toolbar):
        return (find(self.toolbars, toolbar) or {"controls": []})["controls"]

    def create(self, kind, entries, entry, place=None):
        """Puts what `entry` describes there, unless its id is taken."""
        if find(entries, entry["id"]):
            return None
        entries.insert(len(entries) if place is None else place, entry)
        return Handle(kind, entry["id"])

    def add_palette(self, palettes, *values):
        entry = new_palette(*values[:4], *values[6:8])
        return self.call(palettes, "add", *values,
                         work=lambda: self.create("Palette", self.palettes, entry))

    def add_button_definition(self, definitions, *values):
        entry = new_definition(*values)
        return self.call(definitions, "addButtonDefinition", *values,
                         work=lambda: self.create("CommandDefinition", self.definitions, entry))

    def add_command(self, controls, definition, position, before):
        def work():
            entries = self.controls(controls.id)
            neighbour = find(entries, position)
            place = entries.index(neighbour) + (not before) if neighbour else None
            entry = {"id": definition.id, "class": "CommandControl"}
            return self.create("CommandControl", entries, entry, place)

        return self.call(controls, "addCommand", str(definition), position, before, work=work)

    def set(self, palette, operation, value):
        def work():
            key = "visible" if operation == "isVisible" else operation
            find(self.palettes, palette.id)[key] = value
            return True

        self.call(palette, operation, value, work=work, nothing=False)

    def is_valid(self, palette):
        self.call(palette, "Base.isValid",
                  work=lambda: find(self.palettes, palette.id) is not None, nothing=False)

    def delete(self, item):
        kind = "ToolbarControl" if item.kind == "CommandControl" else item.kind
        lists = {"Palette": [self.palettes], "CommandDefinition": [self.definitions]}.get(
            kind, [toolbar["controls"] for toolbar in self.toolbars])
        self.call(item, f"{kind}.deleteMe",
                  work=lambda: any(erase(entries, item.id) for entries in lists), nothing=False)

    def as_command_control(self, control):
        return self.call(control, "Base.query", "adsk::core::CommandControl",
                         work=lambda: control if control.kind == "CommandControl" else None)


def leading_number(text):
    """The number that a text begins with, white space before it skipped; 0 when there is no digit
    or the number has more than 32 bits."""
    text = text.lstrip(b" \t\n\v\f\r")
    sign, digits = (text[:1], text[1:]) if text[:1] in (b"-", b"+") else (b"", text)
    length = next((i for i, byte in enumerate(digits) if byte not in b"0123456789"), len(digits))
    number = int(sign + digits[:length]) if length else 0
    return number if LOWEST <= number <= HIGHEST else 0


def update_info_file(before, today, disk):
    """What a start returns and makes of the info file with these bytes; None: there is no file.
    That the file cannot be made or written goes unnoticed; that it cannot be read does not."""
    if before is None:
        return 0, None if disk in ("no-folder", "read-only-folder") else today.encode() + b"\n1"
    if disk == "unreadable-file":
        return -1, before
    lines = before.split(b"\n")
    # What follows the last line feed is a line only if there is something.
    if not lines[-1]:
        lines.pop()
    count = 0
    if len(lines) < 2:
        lines.append(b"1")
    else:
        count = leading_number(lines[1])
        lines[1] = str(count + 1 if count < HIGHEST else LOWEST).encode()
    after = b"".join(line + b"\n" for line in lines)
    return count, before if disk == "read-only-file" else after


class AddIn:
    """One loaded add-in, from load to unload."""

    def __init__(self, host, world):
        self.host, self.world = host, world
        self.app = self.ui = self.palette = None
        self.count = 0
        self.targets = []  # what was given to the shell behind "open"

    def first_starts(self):
        return 0 <= self.count <= 3

    def run(self):
        host = self.host
        self.app = host.application()
        present(self.app)
        self.ui = host.part(self.app, "userInterface", "UserInterface")
        present(self.ui)
        self.count, self.world.info_file = update_info_file(
            self.world.info_file, self.world.today, self.world.disk)

        online = host.part(self.app, "onlineStatusChanged", "ApplicationEvent")
        host.add_handler(present(online), "OnlineStatusChangedHandler")
        if not host.value(self.app, "isOffLine", nothing=False) and self.first_starts():
            self.open_palette()

        toolbar = self.toolbar()
        folder = "resources/Velorin" if self.count >= 1 else "resources/Velorin/LessTen"
        definition = present(host.add_button_definition(
            host.part(self.ui, "commandDefinitions", "CommandDefinitions"),
            LEARNING_BUTTON, "Zobrazit velorin",
            "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a "
            "napomáhá s prvními kroky v aplikaci.", folder))
        controls = host.part(toolbar, "controls", "ToolbarControls")
        present(host.add_command(controls, definition, "HelpGroupCommand", False))
        created = present(host.part(definition, "commandCreated", "CommandCreatedEvent"))
        return host.add_handler(created, "CmdCreatedEventHandler")

    def stop(self):
        host = self.host
        if self.ui is None:
            return True
        palettes = present(host.part(self.ui, "palettes", "Palettes"))
        shown = host.item_by_id(palettes, LEARNING_PALETTE)
        if shown:
            host.delete(shown)
            host.is_valid(shown)
        toolbar = self.toolbar()
        for identifier in ("openEshop", LEARNING_BUTTON):
            definitions = host.part(self.ui, "commandDefinitions", "CommandDefinitions")
            definition = host.item_by_id(definitions, identifier)
            if definition:
                host.delete(definition)
            controls = host.part(toolbar, "controls", "ToolbarControls")
            control = host.item_by_id(controls, identifier)
            if control and host.as_command_control(control):
                host.delete(control)
        self.ui = None
        return True

    def toolbar(self):
        user_interface = self.host.part(self.app, "userInterface", "UserInterface")
        toolbars = self.host.part(user_interface, "toolbars", "Toolbars")
        return present(self.host.item_by_id(toolbars, "QATRight"))

    def notify(self, handler):
        """The host calls a handler of this class. The e-shop's are never registered."""
        {
            "CmdCreatedEventHandler": self.connect_execute,
            "CmdExecuteEventHandler": self.open_palette,
            "OnlineStatusChangedHandler": self.handle_online_status,
            "RovaHTMLEventHandler": self.open_target,
            "CadFirst3sHTMLEventHandler": self.open_target,
        }[handler]()

    def connect_execute(self):
        command = self.host.part(Handle("CommandCreatedEventArgs"), "command", "Command")
        present(self.host.part(command, "commandInputs", "CommandInputs"))
        execute = present(self.host.part(command, "execute", "CommandEvent"))
        self.host.add_handler(execute, "CmdExecuteEventHandler")

    def open_palette(self):
        """What the button and the first starts do. An early end here does not end the caller."""
        try:
            address = self.page_address()
            application = present(self.host.application())
            user_interface = present(self.host.part(application, "userInterface", "UserInterface"))
            self.show(user_interface, address, "RovaHTMLEventHandler")
        except Ended:
            pass

    def handle_online_status(self):
        """Uses the user interface that run stored."""
        arguments = Handle("ApplicationEventArgs")
        if self.host.value(arguments, "isOffLine", nothing=False) or not self.first_starts():
            return
        self.show(self.ui, self.page_address(), "CadFirst3sHTMLEventHandler")

    def page_address(self):
        licence = self.host.value(self.app, "executeTextCommand", "Debug.EntitlementString") or ""
        preferences = self.host.part(self.app, "preferences", "Preferences")
        general = self.host.part(preferences, "generalPreferences", "GeneralPreferences")
        language = "CSY" if self.host.value(general, "userLanguage", nothing=0) == 2 else "ENG"
        return f"{self.world.site}/fusion360/learning.asp?lang={language}&lic={licence}"

    def show(self, user_interface, address, handler):
        host = self.host
        palettes = present(host.part(user_interface, "palettes", "Palettes"))
        self.palette = host.item_by_id(palettes, LEARNING_PALETTE)
        if self.palette is None:
            self.palette = host.add_palette(palettes, LEARNING_PALETTE, "Velorin", address, True,
                                            True, True, 300, 400, True)
            host.set(present(self.palette), "dockingState", 4)
            messages = present(host.part(self.palette, "incomingFromHTML", "HTMLEvent"))
            if not host.add_handler(messages, handler):
                return
        host.set(self.palette, "isVisible", True)

    def open_target(self):
        """The message without its first and last byte goes to the shell."""
        data = (self.host.value(Handle("HTMLEventArgs"), "data") or "").encode()
        if not data:
            raise Thrown("std::out_of_range")
        self.targets.append(data[1:][:-1].decode())


class Outcome(NamedTuple):
    trace: list  # as substitute-host writes it
    states: list  # as `state` prints it after each command
    aborted: bool  # the process ends by the assertion; nothing of the rest is played
    info_file: Optional[bytes]


class World:
    """A host, the add-in in it, and the user who plays a scenario."""

    def __init__(self, case, tools, data, today):
        self.info_file, self.disk = case.info_file, case.disk
        self.data, self.today, self.site = data, today, tools.site
        self.host = Host(tools.without_assertions)
        self.addin = None
        self.opened, self.thrown = [], []
        self.returned = {"run": None, "stop": None}

    def play(self, scenario):
        states, aborted = [], False
        try:
            for line in scenario:
                self.command(line)
                states.append(json.loads(json.dumps(self.state())))
        except Aborted:
            aborted = True
        return Outcome(self.host.trace, states, aborted, self.info_file)

    def command(self, line):
        name, space, rest = line.partition(" ")
        words = rest.split()
        host = self.host
        if name in ("start", "stop", "unload"):
            getattr(self, name)()
        elif name == "click":
            self.click(words[0] if words else LEARNING_BUTTON)
        elif name in ("message", "message-null"):
            self.message(None if name == "message-null" else rest)
        elif name in ("online", "offline"):
            host.values["isOffLine"] = name == "offline"
            self.notify(host.online_handlers)
        elif name == "language":
            host.values["userLanguage"] = int(rest)
        elif name == "entitlement":
            host.values["executeTextCommand"] = rest if space else None
        elif name in ("hide", "show", "close", "dock"):
            palette = find(host.palettes, words[0] if words else LEARNING_PALETTE)
            if palette and name == "dock":
                palette["dockingState"] = int(words[1])
            elif palette:
                palette["visible"] = name == "show"
        elif name in ("plant", "remove"):
            getattr(self, name)(*words)
        elif name == "fail":
            operation, *how = words
            number = int(how.pop(0)) if how and how[0].isdigit() else 1
            host.faults.append([operation, number, how[0] if how else "null"])
        elif name == "info-lines":
            self.info_file = "".join(text + "\n" for text in json.loads(rest)).encode()
        else:
            raise ValueError(f"the model knows no command {name}")

    def enter(self, call, *arguments):
        """A call into the add-in as the host makes it. What it returns: false where it ends early,
        nothing where an exception leaves it."""
        thrown = returned = None
        try:
            returned = call(*arguments)
        except Ended:
            returned = False
        except Thrown as exception:
            thrown = exception.entry
        for target in self.addin.targets:
            if set(target) & set("\"'`$&|;<>()*?[]#~\\!{}=%\n"):
                raise ValueError(f"the model does not know what the shell makes of {target}")
            self.opened.append(target.split())
            self.host.trace.append({"event": "open", "args": self.opened[-1]})
        self.addin.targets = []
        if thrown:
            self.host.trace.append(thrown)
            self.thrown.append(thrown["type"])
        return returned

    def enter_point(self, name):
        self.returned[name] = None
        self.host.trace.append({"event": name})
        returned = self.returned[name] = self.enter(getattr(self.addin, name))
        if returned is not None:
            self.host.trace.append({"event": f"{name} returned", "value": returned})

    def notify(self, handlers):
        for handler in list(handlers):  # which a handler may change
            self.host.trace.append({"event": "notify", "handler": handler})
            self.enter(self.addin.notify, handler)

    def start(self):
        if self.addin is None:
            self.addin = AddIn(self.host, self)
            self.enter_point("run")

    def stop(self):
        if self.addin:
            self.enter_point("stop")
            self.unload()

    def unload(self):
        """The handlers end with the library; the host drops those that are still registered."""
        self.addin = None
        self.host.online_handlers.clear()
        for entry in self.host.palettes + self.host.definitions:
            entry["handlers"].clear()

    def control(self, identifier):
        controls = sum((toolbar["controls"] for toolbar in self.host.toolbars), [])
        return find(controls, identifier)

    def click(self, identifier):
        button = self.control(identifier)
        definition = find(self.host.definitions, identifier)
        if button and button["class"] == "CommandControl" and definition:
            self.host.execute_handlers = []
            self.notify(definition["handlers"])
            self.notify(self.host.execute_handlers)

    def message(self, data):
        palette = find(self.host.palettes, LEARNING_PALETTE)
        if palette:
            self.host.values["data"] = data
            self.notify(palette["handlers"])

    def plant(self, kind, identifier):
        host = self.host
        if kind == "palette":
            host.create(kind, host.palettes, new_palette(identifier, identifier))
        elif kind == "definition":
            host.create(kind, host.definitions, new_definition(identifier, identifier))
        elif host.toolbars and not self.control(identifier):
            control = {"id": identifier, "class": CONTROLS[kind]}
            host.toolbars[0]["controls"].append(control)

    def remove(self, kind, identifier):
        host = self.host
        control = self.control(identifier)
        if kind not in CONTROLS:
            erase({"palette": host.palettes, "definition": host.definitions,
                   "toolbar": host.toolbars}[kind], identifier)
        elif control and control["class"] == CONTROLS[kind]:
            host.toolbars[0]["controls"].remove(control)

    def state(self):
        readable = self.info_file if self.info_file and self.disk != "unreadable-file" else b""
        lines = readable.decode(errors="replace").split("\n")
        host, held = self.host, self.addin and (self.addin.app, self.addin.ui, self.addin.palette)
        offline, language, entitlement, _ = host.values.values()
        return {
            "offline": offline, "language": language, "entitlement": entitlement,
            "palettes": host.palettes, "toolbars": host.toolbars, "definitions": host.definitions,
            "onlineStatusHandlers": host.online_handlers,
            "infoFile": self.data + INFO_FILE,
            "infoLines": lines if lines[-1] else lines[:-1],
            "references": sum(handle is not None for handle in held or ()),
            "text": 0,
            "opened": self.opened,
            **self.returned,
            "thrown": self.thrown,
            "pendingFaults": [" ".join(map(str, fault)) for fault in host.faults],
        }


def predict(case, tools, data="DIR", today="today"):
    """The outcome of a case in a host that is installed in the folder `data`. The messages of the
    page hold nothing that is special to the shell but spaces."""
    return World(case, tools, data, today).play(case.scenario)
