"""Takes down what kivhost answers on many servers, and tells what it means. On the control node; standard library only.

    fleet.py begin FOLDER < SERVERS             forgets the last roll-out; SERVERS is a list of their names
    fleet.py goes-on FOLDER PERCENT             says yes until more than PERCENT of all servers have failed, then no
    fleet.py plan FOLDER SERVER [--check] < RESULT    takes a plan down; says "update" when there is something to do
    fleet.py update FOLDER SERVER < RESULT            takes an update down; says "changed" when a drive runs another level
    fleet.py page FOLDER                        writes fleet.html and fleet.csv; says what came of it

Standard input is JSON in base64; a RESULT is what Ansible registers of a raw task. FOLDER/servers holds a record for
each server: what it means, as `drives`, and the documents as the server gave them. Whatever a server says is data of a
stranger: it is checked, bounded and never run. What goes wrong here with the answer of one server is that server's
failure, and not the end of the roll-out.
"""
import base64
import datetime
import itertools
import json
import pathlib
import re
import sys
import urllib.parse

sys.dont_write_bytecode = True
import fleet_page  # noqa: E402

LARGEST_DOCUMENT = 4 << 20
MOST_ROWS = 1000
MOST_GREETINGS = 100
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
    document = first_document(out)
    if document is None:
        said = text(result.get("stderr")) or text(out) or text(result.get("msg")) or f"exit status {result.get('rc')}"
        return None, "no answer", f"kivhost gave no document: {said}"
    if document["format"] != 1 or type(document.get("status")) is not int:
        return None, "no answer", "kivhost gave a document of another format: use the fleet role of the same package."
    return document, "", ""


def first_document(out):
    """The first document in what a session said, None without one: a shell may greet before it and say good-bye after it."""
    starts = re.finditer(r"\A[^{]*(?={)|^(?={)", out, re.MULTILINE)
    for start in itertools.islice(starts, MOST_GREETINGS):
        try:
            document, _ = json.JSONDecoder().raw_decode(out, start.end())
        except (ValueError, RecursionError):
            continue
        if isinstance(document, dict) and "format" in document:
            return document
    return None


def entries(document, name):
    value = document.get(name)
    return [entry for entry in value if isinstance(entry, dict)][:MOST_ROWS] if isinstance(value, list) else []


def rows_of(document, of_drive):
    """A row for each drive, and for each device that could not be opened."""
    rows = [of_drive(drive) for drive in entries(document, "drives") if drive.get("type") != "library"]
    return rows + [whole_server("blocked", f"{text(device.get('path')) or 'a device'}: {text(device.get('message'))}")
                   for device in entries(document, "unreachable")]


def accounted(document, rows):
    """The rows, with one more when kivhost says that something is wrong and they do not."""
    if document["status"] != 0 and not any(fleet_page.is_wrong(row["outcome"]) for row in rows):
        rows.insert(0, whole_server("blocked", f"Exit status {document['status']}: {text(document.get('message'))}"))
    return rows


def row(drive, outcome, after, sentence=None, changed=False):
    """`changed`: whether the drive runs another level now; None when nobody knows."""
    before = text(drive.get("before")) or text(drive.get("level"))
    return {"serial": text(drive.get("serial")), "product": text(drive.get("productString")), "before": before, "after": after,
            "outcome": outcome, "sentence": text(drive.get("message")) if sentence is None else sentence, "changed": changed}


def planned(drive):
    """A drive as its plan shows it."""
    verdict = drive.get("verdict")
    if verdict == "update":
        return row(drive, "to update", "", f"Would be updated to {text(drive.get('wanted'))}.")
    if verdict == "current":
        return row(drive, "current", text(drive.get("level")))
    return row(drive, "blocked", "", f"{text(verdict) or 'no verdict'}: {text(drive.get('message'))}")


def begun(drive, why):
    """A drive whose update had its chance, and of which nobody told what came of it."""
    if drive.get("verdict") != "update":
        return planned(drive)
    sentence = f"{why} The update had begun, and kivhost finishes the drive at work: run this again later."
    return row(drive, "unknown", "", sentence, None)


def updated(drive):
    """A drive as its update shows it."""
    after = text(drive.get("after"))
    changed = drive.get("changed") is True
    if drive.get("verdict") not in ("update", "current"):
        return planned(drive)
    if drive.get("result") is None:
        return row(drive, "not done", after)
    if drive.get("result") != 0 or drive.get("verified") is not True:
        silent = not after and drive.get("written") not in (None, 0)
        return row(drive, "failed", after, changed=None if silent else changed)
    return row(drive, "updated" if changed or drive.get("verdict") == "update" else "current", after, changed=changed)


def whole_server(outcome, sentence):
    return row({}, outcome, "", text(sentence))


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
        try:
            return json.loads(path.read_text(encoding="utf-8")) if path.exists() else None
        except (ValueError, RecursionError) as error:
            return self.failure(None, name, error)

    @staticmethod
    def failure(record, name, error):
        """The record of a server whose answer was too much for what stands here."""
        record = record or {"server": name, "check": False, "changed": False, "drives": [], "plan": None, "update": None}
        what = whole_server("failed", f"The answer could not be taken down ({type(error).__name__}: {error}).")
        return record | {"failed": True, "drives": [what, *record["drives"]]}

    def take_failure(self, name, error):
        self.write(self.path(name), self.failure(self.record(name), name, error))

    def goes_on(self, percent):
        records = [self.record(name) for name in self.names()]
        failed = sum(1 for record in records if record and record["failed"])
        return failed * 100 <= percent * len(records)

    def take_plan(self, name, result, check):
        document, outcome, sentence = document_of(result)
        rows = accounted(document, rows_of(document, planned)) if document else [whole_server(outcome, sentence)]
        if not rows:
            rows = [whole_server("blocked", text(document.get("message")) or "No drive that Config.txt names.")]
        to_do = document is not None and any(row["outcome"] == "to update" for row in rows)
        if to_do and not check:
            # Until the outcome is taken down: the control node may end before.
            rows = rows_of(document, lambda drive: begun(drive, "Nobody waited for the end."))
        self.write(self.path(name), {"server": name, "check": check, "changed": False, "drives": rows, "plan": document,
                                     "failed": document is None or to_do and not check, "update": None})
        return to_do

    def take_update(self, name, result):
        record = self.record(name)
        document, _, sentence = document_of(result)
        if document is None:
            # A lost session does not end the update, so nobody knows.
            record["drives"] = rows_of(record["plan"], lambda drive: begun(drive, sentence))
            record["failed"] = True
        else:
            rows = rows_of(document, updated)
            stopped = STOPPED.get(document["status"])
            if stopped or not rows:
                rows.insert(0, whole_server("failed", text(document.get("message")) or f"Not done: {stopped or 'no drive was told of'}."))
            record["drives"] = rows = accounted(document, rows)
            record["changed"] = any(row["changed"] for row in rows)
            record["failed"] = any(row["outcome"] in ("failed", "not done") for row in rows)
        record["update"] = document
        self.write(self.path(name), record)
        return record["changed"]

    def page(self):
        rows, wrong, waiting, check = [], {}, {}, False
        names = self.names()
        for name in names:
            record = self.record(name)
            if not record:
                waiting[name] = "The roll-out ended before its turn."
                record = {"drives": [whole_server("not started", waiting[name])]}
            check = check or record.get("check", False)
            drives = record["drives"]
            bad = [drive for drive in drives if fleet_page.is_wrong(drive["outcome"])]
            if bad:
                wrong[name] = "; ".join(f"{drive['serial'] or name} {drive['outcome']}: {drive['sentence']}" for drive in bad[:3])
            rows += [{"server": text(name), **drive} for drive in drives]
        summary = fleet_page.summary(rows, len(names), check)
        begun_at = json.loads((self.folder / "fleet.json").read_text(encoding="utf-8"))["begun"]
        fleet_page.write(self.folder, rows, summary, begun_at)
        # When nothing that a server did has ended the roll-out, something here has.
        return {"summary": summary, "wrong": wrong or waiting}


def taken(fleet, name, take):
    """What `take` says; False when it failed, and that is taken down."""
    try:
        return take()
    except Exception as error:  # pylint: disable=broad-except
        fleet.take_failure(name, error)
        return False


def standard_input():
    return json.loads(base64.b64decode(sys.stdin.read()))


def main(command, folder, *rest):
    fleet = Fleet(folder)
    if command == "begin":
        fleet.begin([str(name) for name in standard_input()])
    elif command == "goes-on":
        print("yes" if fleet.goes_on(float(rest[0])) else "no", end="")
    elif command == "plan":
        to_do = taken(fleet, rest[0], lambda: fleet.take_plan(rest[0], standard_input(), "--check" in rest))
        print("update" if to_do else "nothing", end="")
    elif command == "update":
        changed = taken(fleet, rest[0], lambda: fleet.take_update(rest[0], standard_input()))
        print("changed" if changed else "unchanged", end="")
    elif command == "page":
        print(json.dumps(fleet.page()))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
