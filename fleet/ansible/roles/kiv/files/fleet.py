"""Takes down what kivhost answers on many servers, and tells what it means. On the control node; standard library only.

    fleet.py begin FOLDER < SERVERS             forgets the last roll-out; SERVERS is a list of their names
    fleet.py goes-on FOLDER PERCENT             says yes until more than PERCENT of all servers have failed, then no
    fleet.py plan FOLDER SERVER [--check] < RESULT    takes a plan down; says "update" when there is something to do
    fleet.py update FOLDER SERVER < RESULT            takes an update down; says "changed" when a drive runs another level
    fleet.py page FOLDER                        writes fleet.html and fleet.csv; says what came of it

Standard input is JSON in base64; a RESULT is what Ansible registers of a raw task. FOLDER/servers holds a record for
each server: what it means, as `drives`, and the documents as the server gave them. Whatever a server says is data of a
stranger: it is checked, bounded and never run.
"""
import base64
import datetime
import json
import pathlib
import sys
import urllib.parse

sys.dont_write_bytecode = True
import fleet_page  # noqa: E402

LARGEST_DOCUMENT = 4 << 20
MOST_DRIVES = 1000
LONGEST_TEXT = 400
# kivhost ends with these before any drive had its turn, or before all had.
STOPPED = {14: "interrupted", 15: "another update runs", 64: "wrong usage", 70: "unexpected"}


def text(value):
    """One line of printable characters, not too long; empty for anything but a text."""
    if not isinstance(value, str):
        return ""
    line = " ".join("".join(c if c.isprintable() else " " for c in value).split())
    return line if len(line) <= LONGEST_TEXT else line[:LONGEST_TEXT] + "…"


def document_of(result):
    """What kivhost wrote with --json, and why that cannot be had: one of the two."""
    if result.get("unreachable"):
        return None, "unreachable", text(result.get("msg")) or "Does not answer."
    out = result.get("stdout")
    out = out if isinstance(out, str) else ""
    if len(out) > LARGEST_DOCUMENT:
        return None, "no answer", "Answered with more than 4 MiB."
    try:
        # A shell may greet before.
        document = json.loads(out[out.index("{"):])
    except (ValueError, RecursionError):
        said = text(result.get("stderr")) or text(out) or text(result.get("msg")) or f"exit status {result.get('rc')}"
        return None, "no answer", f"kivhost gave no document: {said}"
    if not isinstance(document, dict) or document.get("format") != 1:
        return None, "no answer", "kivhost gave a document of another format: use the fleet role of the same package."
    return document, "", ""


def drives_of(document):
    drives = document.get("drives")
    drives = [drive for drive in drives if isinstance(drive, dict)] if isinstance(drives, list) else []
    return [drive for drive in drives if drive.get("type") != "library"][:MOST_DRIVES]


def row(drive, outcome, after, sentence=None):
    before = text(drive.get("before")) or text(drive.get("level"))
    return {"serial": text(drive.get("serial")), "product": text(drive.get("productString")), "before": before,
            "after": after, "outcome": outcome, "sentence": text(drive.get("message")) if sentence is None else sentence}


def planned(drive, outcome="to update", sentence=None):
    """A drive as its plan shows it."""
    verdict = drive.get("verdict")
    if verdict == "update":
        wanted = text(drive.get("wanted"))
        return row(drive, outcome, "", sentence or f"Would be updated to {wanted}.")
    if verdict == "current":
        return row(drive, "current", text(drive.get("level")))
    return row(drive, "blocked", "", f"{text(verdict) or 'no verdict'}: {text(drive.get('message'))}")


def updated(drive):
    """A drive as its update shows it."""
    after = text(drive.get("after"))
    if drive.get("verdict") not in ("update", "current"):
        return planned(drive)
    if drive.get("result") is None:
        return row(drive, "not done", after)
    if drive.get("result") != 0 or drive.get("verified") is not True:
        return row(drive, "failed", after)
    return row(drive, "updated" if drive.get("changed") is True or drive.get("verdict") == "update" else "current", after)


def whole_server(outcome, sentence):
    return {"serial": "", "product": "", "before": "", "after": "", "outcome": outcome, "sentence": sentence}


class Fleet:
    """The folder of a roll-out."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.servers = self.folder / "servers"

    def begin(self, names):
        self.servers.mkdir(parents=True, exist_ok=True)
        for old in self.servers.glob("*.json"):
            old.unlink()
        self.write(self.folder / "fleet.json", {"servers": names, "begun": f"{datetime.datetime.now():%Y-%m-%d %H:%M}"})

    @staticmethod
    def write(path, content):
        # Whole or not at all.
        new = path.with_suffix(".new")
        new.write_text(json.dumps(content, indent=1) + "\n", encoding="utf-8")
        new.replace(path)

    def path(self, name):
        return self.servers / (urllib.parse.quote(name, safe=" ") + ".json")

    def names(self):
        return json.loads((self.folder / "fleet.json").read_text(encoding="utf-8"))["servers"]

    def record(self, name):
        """What is known of a server; nothing when its turn did not come."""
        path = self.path(name)
        return json.loads(path.read_text(encoding="utf-8")) if path.exists() else None

    def goes_on(self, percent):
        records = [self.record(name) for name in self.names()]
        failed = sum(1 for record in records if record and record["failed"])
        return failed * 100 <= percent * len(records)

    def take_plan(self, name, result, check):
        document, outcome, sentence = document_of(result)
        rows = [planned(drive) for drive in drives_of(document)] if document else [whole_server(outcome, sentence)]
        if not rows:
            rows = [whole_server("blocked", text(document.get("message")) or "No drive that Config.txt names.")]
        to_do = document is not None and any(row["outcome"] == "to update" for row in rows)
        self.write(self.path(name), {"server": name, "check": check, "changed": False, "failed": document is None,
                                     "drives": rows, "plan": document, "update": None})
        return to_do

    def take_update(self, name, result):
        record = self.record(name)
        document, outcome, sentence = document_of(result)
        if document is None:
            # The update began. A lost session does not end it, so nobody knows.
            sentence += " The update had begun, and kivhost finishes the drive at work: run this again later."
            record["drives"] = [planned(drive, "unknown", sentence) for drive in drives_of(record["plan"])]
            record["failed"] = True
        else:
            rows = [updated(drive) for drive in drives_of(document)]
            stopped = STOPPED.get(document.get("status"))
            if stopped or not rows:
                rows.insert(0, whole_server("failed", text(document.get("message")) or f"Not done: {stopped}."))
            record["drives"] = rows
            record["changed"] = any(row["outcome"] == "updated" for row in rows)
            record["failed"] = any(row["outcome"] in ("failed", "not done") for row in rows)
        record["update"] = document
        self.write(self.path(name), record)
        return record["changed"]

    def page(self):
        rows, wrong, changed, check = [], {}, 0, False
        names = self.names()
        for name in names:
            record = self.record(name) or {"drives": [whole_server("not started", "The roll-out ended before its turn.")]}
            check = check or record.get("check", False)
            drives = record["drives"]
            changed += sum(1 for drive in drives if drive["outcome"] == "updated")
            bad = [drive for drive in drives if fleet_page.is_wrong(drive["outcome"])]
            if bad:
                wrong[name] = "; ".join(f"{drive['serial'] or name} {drive['outcome']}: {drive['sentence']}" for drive in bad[:3])
            rows += [{"server": text(name), **drive} for drive in drives]
        summary = fleet_page.summary(rows, len(names), changed, check)
        begun = json.loads((self.folder / "fleet.json").read_text(encoding="utf-8"))["begun"]
        fleet_page.write(self.folder, rows, summary, begun)
        return {"summary": summary, "wrong": wrong}


def standard_input():
    return json.loads(base64.b64decode(sys.stdin.read()))


def main(command, folder, *rest):
    fleet = Fleet(folder)
    if command == "begin":
        fleet.begin([str(name) for name in standard_input()])
    elif command == "goes-on":
        print("yes" if fleet.goes_on(float(rest[0])) else "no", end="")
    elif command == "plan":
        print("update" if fleet.take_plan(rest[0], standard_input(), "--check" in rest) else "nothing", end="")
    elif command == "update":
        print("changed" if fleet.take_update(rest[0], standard_input()) else "unchanged", end="")
    elif command == "page":
        print(json.dumps(fleet.page()))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
