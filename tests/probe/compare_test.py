"""The comparison of a host's answers with those of the substitute host."""

import json
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VELORIN_SOURCE"])
COMPARE = SOURCE / "probe/compare"
EXPECTED = SOURCE / "tests/probe/substitute.jsonl"


class Compare(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.real = self.folder / "real.jsonl"
        self.accepted = self.folder / "accepted.json"
        self.accepted.write_text("[]")
        self.entries = [json.loads(line) for line in EXPECTED.read_text().splitlines()]

    def run_compare(self):
        command = [COMPARE, "--accepted", self.accepted, self.real]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def compare(self, entries):
        """The exit status and the output for these answers of a host."""
        self.real.write_text("".join(json.dumps(entry) + "\n" for entry in entries))
        result = self.run_compare()
        self.assertEqual("", result.stderr)
        return result.returncode, result.stdout

    def expect_refusals(self, file, *contents):
        """The file with each of these is refused, in one sentence with these words."""
        for content, said in contents:
            with self.subTest(said):
                file.write_bytes(content)
                result = self.run_compare()
                self.assertEqual((2, ""), (result.returncode, result.stdout))
                self.assertRegex(result.stderr, r"\Acompare: [^\n]+\.\n\Z")
                self.assertRegex(result.stderr, said)

    def change(self, name, answer):
        (entry,) = [entry for entry in self.entries if entry["id"] == name]
        entry["answer"] = answer

    def TakesTheListOfTheProjectAndFindsNoDifferenceInTheSameAnswers(self):
        result = subprocess.run([COMPARE, EXPECTED], capture_output=True, text=True, check=False)
        self.assertEqual((0, ""), (result.returncode, result.stderr))
        total = len(self.entries)
        self.assertEqual(f"{total} questions: {total} answered alike, 0 otherwise, 0 otherwise "
                         "and accepted, 0 not answered.\n", result.stdout)

    def TellsWhatReliesOnADifferenceAndWhereToChangeIt(self):
        self.change("definitions.add-again", "an|object\nb")
        status, said = self.compare(self.entries)
        self.assertEqual(1, status)
        heading, rule, row = [line for line in said.splitlines() if line.startswith("|")]
        self.assertEqual({"|", "-", " "}, set(rule))
        cells = [cell.strip() for cell in row.strip("|").split(" | ")]
        self.assertEqual(heading.count("|"), len(re.findall(r"(?<!\\)\|", row)))
        self.assertIn("(definitions.add-again)", cells[0])
        self.assertEqual(["an\\|object b", "empty"], cells[1:3])
        self.assertIn("run", cells[3])
        self.assertRegex(cells[4], r"\S, DefinitionsObject::addButtonDefinition_raw\Z")

    def TellsAnswersOfDifferentTypesApart(self):
        for other in ("true", 1, None):
            with self.subTest(other):
                self.change("palettes.delete", other)
                self.assertEqual(1, self.compare(self.entries)[0])

    def AcceptsWhatIsListedWithAReason(self):
        self.change("message.bare", '"bare"')
        self.accepted.write_text(json.dumps(
            [{"id": "message.bare", "answer": '"bare"', "reason": "The page sends quotes."}]
        ))
        status, said = self.compare(self.entries)
        self.assertEqual(0, status)
        self.assertIn("1 otherwise and accepted", said)
        self.assertIn("The page sends quotes.", said)
        self.change("message.bare", "nothing")
        self.assertEqual(1, self.compare(self.entries)[0])

    def ListsWhatWasNotAnsweredOrCouldNotBeAsked(self):
        self.change("query.plain-control", "could not be asked")
        asked = [entry for entry in self.entries if not entry["id"].startswith("exception.")]
        status, said = self.compare(asked)
        self.assertEqual(0, status)
        self.assertIn("0 otherwise and accepted, 4 not answered.", said)
        rows = re.findall(r"(?m)^- .*\((exception\.|query\.plain-control)", said)
        self.assertEqual(4, len(rows))

    def RefusesWhatAreNoAnswers(self):
        entry = json.dumps(self.entries[0]).encode()
        self.expect_refusals(
            self.real,
            (b"\n\n", "holds no answers"),
            (b"\xff\n", "not UTF-8"),
            (entry + b"\n" + entry[:20], "real.jsonl:2: this line is not JSON"),
            (entry + b"\n" + entry, "real.jsonl:2: .* answered above"),
            (b"[]\n", "exactly id, question and answer"),
            (b'{"id": 1, "question": "b", "answer": 2}\n', "are strings"),
            (b'{"id": "a", "question": "b", "answer": 2}\n', "a is not among the questions"),
        )
        self.real = self.folder
        self.expect_refusals(self.accepted, (b"[]", r"\S+ cannot be read"))

    def RefusesAListThatSaysNotWhy(self):
        self.real = EXPECTED
        self.expect_refusals(
            self.accepted,
            (b"[", "accepted.json:1: this is not JSON"),
            (b"{}", "is not a list"),
            (b'[{"id": "message.bare"}]', "exactly id, answer and reason"),
            (b'[{"id": "message.bare", "answer": "", "reason": " "}]', "bare has no reason"),
            (b'[{"id": "none", "answer": "", "reason": "So."}]', "none is not among the questions"),
        )

    def ExplainsEveryQuestion(self):
        reliance = json.loads((SOURCE / "probe/reliance.json").read_text())
        self.assertEqual({entry["id"] for entry in self.entries}, set(reliance))
        for entry in self.entries:
            entry["answer"] = "otherwise"
        status, said = self.compare(self.entries)
        self.assertEqual(1, status)
        self.assertEqual(len(self.entries) + 2, said.count("\n|"))
        rows = re.findall(r"(?m)^\|.* (substitute/\S+), \w+::(\w+) +\|$", said)
        self.assertEqual(len(self.entries), len(rows))
        for file, function in rows:
            self.assertIn(f"{function}(", (SOURCE / file).read_text())


if __name__ == "__main__":
    unittest.main()
