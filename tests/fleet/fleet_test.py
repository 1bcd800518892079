"""The fleet role, with local servers that are folders behind Wine: fleet_test.py KIVHOST.EXE

Every server has kivhost and a simulated room of its own. A program `cmd` on the path runs Wine's, so that the role's
command lines are read as Windows reads them.
"""
import base64
import csv
import html.parser
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

KIVHOST = os.path.abspath(sys.argv.pop(1))
TREE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, os.path.join(TREE, "tests", "host", "e2e"))
from room import A, B, C, CONFIG, SCHEMA, Room, fault  # noqa: E402

FLEET = os.path.join(TREE, "fleet", "ansible")
SCRIPT = os.path.join(FLEET, "roles", "kiv", "files", "fleet.py")
HOSTILE = "{{7*7}}<img/src=x>.bin"

# Server: drives of its room, faults, files.
SERVERS = {
    "refuses": ({"R1": {}}, [fault(target=6, nth=2, sense="05 26 00")], {}),
    "lost": None,
    "one drive": ({"O1": {}}, [], {}),
    "two drives": ({"T1": {}, "T2": {"level": "E6Q4"}}, [], {}),
    "blocked": ({"B1": {}, "B2": {"model": "ULTRIUM-PX8", "level": "K5H1"}, "B3": {"claimed": True, "className": "Tape7"}},
                [{"call": "CreateFileA", "device": r"\\.\Tape7", "times": 0, "error": 32}],
                {"Config.txt": CONFIG.replace("px8.bin", HOSTILE)}),
}


class Elements(html.parser.HTMLParser):
    """The rows of the page as a browser has built it, and the names of all elements."""

    def __init__(self, dom):
        super().__init__()
        self.rows, self.names, self.attributes = [], set(), set()
        self.feed(dom)

    def handle_starttag(self, tag, attributes):
        self.names.add(tag)
        self.attributes |= {name for name, _ in attributes}
        if tag == "tr":
            self.rows.append([])
        elif tag in ("td", "th"):
            self.rows[-1].append("")

    def handle_data(self, data):
        if self.rows and self.rows[-1]:
            self.rows[-1][-1] += data.rstrip("\n")


def browse(path):
    """The page in headless Chromium, and the seconds that it took."""
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as profile:
        dom = subprocess.run(["chromium-headless-shell", "--no-sandbox", "--disable-gpu", f"--user-data-dir={profile}",
                              "--dump-dom", "file://" + path], check=True, timeout=120, text=True, stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL).stdout
    return Elements(dom), time.monotonic() - start


def table(folder):
    with open(os.path.join(folder, "fleet.csv"), encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file))


class Servers(unittest.TestCase):
    def setUp(self):
        self.top = tempfile.TemporaryDirectory()
        self.addCleanup(self.top.cleanup)
        self.out = os.path.join(self.top.name, "out")
        self.rooms = {}
        hosts = {}
        for name, server in SERVERS.items():
            if server is None:
                hosts[name] = {"ansible_connection": "ssh", "ansible_host": "127.0.0.1", "ansible_port": 1}  # none listens
                continue
            drives, faults, files = server
            room = Room(drives={A: None, B: None, C: None} | drives, faults=faults, files=files)
            self.addCleanup(room.top.cleanup)
            for file in ("kivhost.exe", "kiv.dll"):
                os.symlink(os.path.join(os.path.dirname(KIVHOST), file), room.file(file))
            self.rooms[name] = room
            hosts[name] = {"ansible_connection": "local", "kiv_directory": "Z:" + room.path.replace("/", "\\"),
                           "kiv_options": "--room room.json"}
        self.inventory = os.path.join(self.top.name, "inventory.json")
        with open(self.inventory, "w") as file:
            json.dump({"all": {"hosts": hosts}}, file)
        os.mkdir(os.path.join(self.top.name, "bin"))
        with open(os.path.join(self.top.name, "bin", "cmd"), "w") as file:
            file.write(f'#!/bin/sh\nexec "{TREE}/cmake/wine" cmd "$@"\n')
            os.fchmod(file.fileno(), 0o755)

    def play(self, *words, **variables):
        """A roll-out: its exit status, its output, and how many changes it tells of each server."""
        environment = dict(os.environ, PATH=os.path.join(self.top.name, "bin") + ":" + os.environ["PATH"], ANSIBLE_NOCOLOR="1",
                           ANSIBLE_LOCAL_TEMP=os.path.join(self.top.name, "ansible"), LC_ALL="C.UTF-8")
        # One update runs on a machine at a time, and these servers are one machine.
        run = subprocess.run(["ansible-playbook", "-f", "1", "-i", self.inventory, "update.yml", "-e",
                              json.dumps(variables | {"kiv_output": self.out}), *words], cwd=FLEET, env=environment, text=True,
                             encoding="utf-8", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, timeout=600)
        changes = dict(re.findall(r"^(\w[\w ]*?) +: ok=.*changed=(\d+)", run.stdout, re.M))
        return run.returncode, run.stdout, {name: int(number) for name, number in changes.items()}

    def records(self):
        folder = os.path.join(self.out, "servers")
        records = {}
        for file in os.listdir(folder):
            with open(os.path.join(folder, file), encoding="utf-8") as document:
                record = json.load(document)
            records[record["server"]] = record
            for document in filter(None, (record["plan"], record["update"])):
                SCHEMA.validate(document)
        return records

    def outcomes(self):
        return {(row["server"], row["serial"]): row["outcome"] for row in table(self.out)}

    def contents(self):
        return {name: {file: room.read(file) for file in os.listdir(room.path) if file.endswith((".json", ".txt"))}
                for name, room in self.rooms.items()}

    def test_roll_out(self):
        before = self.contents()
        status, said, changes = self.play("--check")
        self.assertEqual((status, self.contents()), (2, before), said)
        self.assertEqual(self.outcomes(), {
            ("lost", ""): "unreachable", ("blocked", "B2"): "blocked", ("blocked", ""): "blocked", ("two drives", "T2"): "current"}
            | dict.fromkeys([("refuses", "R1"), ("one drive", "O1"), ("two drives", "T1"), ("blocked", "B1")], "to update"))
        self.assertIn("This was a check: nothing was changed.", said)

        # A task of the role that fails: no server is touched, and the page says so.
        status, said, changes = self.play("--limit", "one drive,two drives", kiv_max_fail_percentage="few")
        self.assertEqual((status, self.contents(), set(self.outcomes().values())), (2, before, {"not started"}), said)

        # The first failure is one too many: what stands behind it is not even asked.
        status, said, changes = self.play("--limit", "refuses,one drive,two drives")
        self.assertEqual(status, 2, said)
        self.assertEqual(list(self.records()), ["refuses"])
        self.assertEqual(self.outcomes(), {("refuses", "R1"): "failed", ("one drive", ""): "not started",
                                           ("two drives", ""): "not started"})
        now = self.contents()
        self.assertIn("scsiExe.txt", now.pop("refuses"))
        self.assertEqual(now, {name: files for name, files in before.items() if name != "refuses"})

        # Two waves. In the first two servers of five fail, and that is no more than 40 %.
        status, said, changes = self.play(kiv_serial=[3, 2], kiv_max_fail_percentage=40)
        self.assertEqual(status, 2, said)
        self.assertEqual(changes, {"refuses": 0, "lost": 0, "one drive": 1, "two drives": 1, "blocked": 1})
        self.assertEqual([room.changed() for room in self.rooms.values()], [{}, {"O1": "E6Q4"}, {"T1": "E6Q4"}, {"B1": "E6Q4"}])
        rows = [tuple(row.values()) for row in table(self.out)]
        self.assertEqual(list(table(self.out)[0]), ["server", "serial", "product", "before", "after", "outcome", "sentence"])
        self.assertEqual([row[:6] for row in rows], [
            ("refuses", "R1", "QOR-ULTRIUM-PX6:SAS", "E6Q3", "E6Q3", "failed"), ("lost", "", "", "", "", "unreachable"),
            ("blocked", "B2", "QOR-ULTRIUM-PX8:SAS", "K5H1", "", "blocked"), ("blocked", "", "", "", "", "blocked"),
            ("one drive", "O1", "QOR-ULTRIUM-PX6:SAS", "E6Q3", "E6Q4", "updated"),
            ("two drives", "T1", "QOR-ULTRIUM-PX6:SAS", "E6Q3", "E6Q4", "updated"),
            ("blocked", "B1", "QOR-ULTRIUM-PX6:SAS", "E6Q3", "E6Q4", "updated"),
            ("two drives", "T2", "QOR-ULTRIUM-PX6:SAS", "E6Q4", "E6Q4", "current")])
        self.assertIn("refused the image", rows[0][6])
        self.assertIn(HOSTILE, rows[2][6])
        self.assertIn("open by another program", rows[3][6])
        self.assertIn(HOSTILE, said)
        self.assertEqual({name: record["failed"] for name, record in self.records().items()},
                         {"refuses": True, "lost": True, "one drive": False, "two drives": False, "blocked": False})
        page, _ = browse(os.path.join(self.out, "fleet.html"))
        self.assertEqual([tuple(row) for row in page.rows[1:]], rows)
        self.assertFalse(page.names & {"script", "img", "link", "iframe"}, "asks for something else")

        before = self.contents()
        status, said, changes = self.play("--limit", "one drive,two drives")  # nothing is left to do
        self.assertEqual((status, changes, self.contents()), (0, {"one drive": 0, "two drives": 0}, before), said)
        self.assertIn("Nothing was changed. Drives of 2 servers: 3 current.", said)
        self.assertEqual(self.records()["one drive"]["update"], None)


class Documents(unittest.TestCase):
    """What cannot be staged: two hundred servers, and servers that answer as no kivhost would."""

    def setUp(self):
        self.top = tempfile.TemporaryDirectory()
        self.addCleanup(self.top.cleanup)

    def fleet(self, command, *words, given=None):
        return subprocess.run([sys.executable, SCRIPT, command, self.top.name, *words], check=True, text=True, encoding="utf-8",
                              stdout=subprocess.PIPE, input=base64.b64encode(json.dumps(given).encode()).decode()).stdout

    @staticmethod
    def drive(serial, **differences):
        return {"type": "drive", "serial": serial, "productString": "QOR-ULTRIUM-PX6:SAS:AutomationReady", "level": "E6Q3",
                "wanted": "E6Q4", "verdict": "update", "message": "Updated from E6Q3 to E6Q4, read back. It took 45 s.",
                "result": 0, "before": "E6Q3", "after": "E6Q4", "verified": True, "changed": True} | differences

    @staticmethod
    def answer(*drives, **document):
        return {"rc": 0, "stderr": "", "stdout": json.dumps({"format": 1, "status": 0, "drives": drives} | document)}

    def test_size(self):
        refused = dict(result=4, after="E6Q3", verified=False, message="The drive refused the image. " * 8)
        names = [f"tape-server-{number:03}.example" for number in range(200)]
        self.fleet("begin", given=names)
        files = sys.modules["fleet"].Fleet(self.top.name)
        for name in names:
            answer = self.answer(*(self.drive(f"{name[12:15]}000{i}", **refused if i == 3 else {}) for i in range(4)))
            files.take_plan(name, answer, False)
            files.take_update(name, answer)
        self.assertIn("200 failed, 600 updated", self.fleet("page"))
        path = os.path.join(self.top.name, "fleet.html")
        page, seconds = browse(path)
        print(f"\n200 servers with 4 drives: fleet.html has {os.path.getsize(path)} bytes and took {seconds:.1f} s", end=" ")
        self.assertEqual(len(page.rows), 801)
        self.assertEqual([row[5] for row in page.rows[1:]], ["failed"] * 200 + ["updated"] * 600)
        self.assertLess(os.path.getsize(path), 1000000)

    def test_strangers(self):
        formula, script = "=cmd|' /C calc'!A0", "<script>alert(1)</script>"
        current = self.drive("1", verdict="current")
        # What a server answers, and the outcome and words that come of it.
        answers = {
            "silent": ({"rc": 1, "stdout": "", "stderr": "cannot find\nthe path"}, "no answer", "find the path"),
            "greets": ({"rc": 0, "stdout": "Hello {you}\r\n"}, "no answer", "Hello"),
            "nested": ({"rc": 0, "stdout": "{" + '"a":[' * 100000}, "no answer", "no document"),
            "no result": (7, "failed", "could not be taken down"),
            "newer": (self.answer(format=2), "no answer", "another format"),
            "odd status": (self.answer(current, status=[1]), "no answer", "another format"),
            "talks": ({"stdout": "Hi {you}\n{}\n" + self.answer(current)["stdout"] + "\r\nBye {\n"}, "current", "Updated"),
            "held": (self.answer(current, status=12, unreachable=[{"path": "x", "message": "y\nz"}, 7]), "blocked", "x: y z"),
            "silent status": (self.answer(current, status=12, unreachable=7), "blocked", "Exit status 12"),
            "floods": ({"rc": 0, "stdout": "{" * (5 << 20)}, "no answer", "4 MiB"),
            "timed out": ({"failed": True, "msg": "Timed out after 900 second(s)."}, "no answer", "Timed out"),
            "no drives": (self.answer(status=8, message="Config.txt names none of them."), "blocked", "names none"),
            "odd": (self.answer(self.drive(["x"], message={"a": 1}, verdict="cartridge loaded"), 7, None), "blocked", "cartridge"),
            "script": (self.answer(self.drive(script, message=script, level="\x1b[2J<b>", before=None)), "to update", "E6Q4"),
            "formula": (self.answer(self.drive(formula, verdict="reserved", message="\tx")), "blocked", "reserved"),
            "long": (self.answer(self.drive("S", verdict="reserved", message="x" * 100000)), "blocked", "xxx…"),
            "many": (self.answer(*(self.drive(str(i), verdict="current") for i in range(3000))), "current", "Updated"),
            script: ({"unreachable": True, "msg": script}, "unreachable", script),
        }
        self.fleet("begin", given=list(answers) + ["../../etc/late"])
        for name, (answer, outcome, _) in answers.items():
            said = self.fleet("plan", name, "--check", given=answer)
            self.assertEqual(said, "update" if outcome == "to update" else "nothing", name)
        self.fleet("page")
        rows = table(self.top.name)
        first = {row["server"]: row for row in reversed(rows)}
        for name, (_, outcome, words) in answers.items():
            self.assertEqual(first[name]["outcome"], outcome, name)
            self.assertIn(words, first[name]["sentence"], name)
        self.assertEqual((first["formula"]["serial"], first["../../etc/late"]["outcome"]), ("'" + formula, "not started"))
        self.assertLess(len(rows), 1100)
        page, _ = browse(os.path.join(self.top.name, "fleet.html"))
        self.assertFalse(page.names & {"script", "b>", "img"} - {"b"}, "runs what a server said")
        self.assertIn(script, [row[0] for row in page.rows])
        self.assertFalse({name for name in page.attributes if name.startswith("on")})

    def test_updates(self):
        # The answer to an update (None: Ctrl-C), its drives' outcomes, whether a failure counts, what the page says first.
        one, none, lost = "1 drive runs another", "No drive runs another", "What became of 1 drive is not known. Drives"
        answers = {
            "good": (self.answer(self.drive("1")), ["updated"], False, one),
            "forced": (self.answer(self.drive("1", before="E6Q4", changed=False)), ["updated"], False, none),
            "another level": (self.answer(self.drive("1", result=10, verified=False), status=10), ["failed"], True, one),
            "not back": (self.answer(self.drive("1", result=16, after=None, changed=False, written=9)), ["failed"], True, lost),
            "lost": ({"unreachable": True, "msg": "Shared connection closed."}, ["unknown"], True, lost),
            "odd status": (self.answer(self.drive("1"), status=[1]), ["unknown"], True, lost),
            "no result": (7, ["failed", "unknown"], True, lost),
            "Ctrl-C": (None, ["unknown"], True, lost),
            "interrupted": (self.answer(self.drive("1"), self.drive("2", result=None, changed=False), status=14),
                            ["failed", "not done", "updated"], True, one),
            "another runs": (self.answer(status=15, message="Another update is running."), ["failed"], True, none),
            "in use": (self.answer(self.drive("1", verdict="cartridge loaded", result=11), unreachable=[{}]),
                       ["blocked", "blocked"], False, "Nothing was changed."),
        }
        for name, (answer, outcomes, failed, said) in answers.items():
            self.fleet("begin", given=[name])
            self.assertEqual(self.fleet("plan", name, given=self.answer(self.drive("1"))), "update")
            if answer:
                self.assertEqual(self.fleet("update", name, given=answer), "changed" if said == one else "unchanged", name)
            summary = json.loads(self.fleet("page"))["summary"]
            self.assertTrue(summary.startswith(said), summary)
            self.assertEqual([row["outcome"] for row in table(self.top.name)], outcomes, name)
            self.assertEqual(self.fleet("goes-on", "50"), "no" if failed else "yes", name)


if __name__ == "__main__":
    sys.path.insert(0, os.path.dirname(SCRIPT))
    sys.dont_write_bytecode = True
    import fleet  # noqa: F401
    unittest.main(verbosity=2)
