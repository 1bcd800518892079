"""kivhost from outside: everything that went wrong once, staged in simulated rooms.

    kivhost_test.py KIVHOST...        the program, with its runner before it
"""
import hashlib
import json
import os
import signal
import sys
import time
import unittest

from room import A, B, C, CHUNK, COMMAND, CONFIG, PX6, PX8, ROOT, Room, fault, image

COMMANDS = os.path.join(ROOT, "tests", "data", "recordings", "commands")
WINDOWS = COMMAND[-1].endswith(".exe")
CLAIMED = {"claimed": True, "className": "Tape7"}
UNOPENED = {"call": "CreateFileA", "device": "\\\\.\\Tape7", "times": 0}
SUM = hashlib.sha256(image("E6Q4")).hexdigest()
READY_PX6 = f"{PX6}:AutomationReady px6.bin E6Q4\n"
NOT_PX6 = CONFIG.replace(PX6, "#" + PX6)

# What `update WORDS --yes --json` does: room, words, exit status, results by serial number ("verdict" or number; None
# when its turn never came), words in the message of the first drive that fails, else in the document or in a warning.
UPDATES = {
    # The neighbour is flashed.
    "one drive": ({}, A, 0, {A: 0}, "updated from E6Q3 to E6Q4, read back"),
    "index, a drive is held": (dict(drives={A: CLAIMED}, faults=[UNOPENED | {"error": 32}]), "1", 12, {},
                               "open by another program"),
    "index, a line has gone": (dict(files={"Config.txt": NOT_PX6}), "1", 8, {B: "not configured"}, "Config.txt"),
    "index, a BOM": (dict(files={"Config.txt": "\ufeff" + CONFIG}), "0", 8, {A: "not configured"}, "byte order mark"),
    "empty index": ({}, "", 64, {}, '""'),
    "index with a zero": ({}, "01", 64, {}, '"01"'),
    "index beyond": ({}, "3", 6, {}, "index 3"),
    "one of two selects nothing": ({}, f"--serial {A} --serial X", 6, {}, "--serial X"),
    "address and product": ({}, f"--address 0,0,4,0 --product {PX8}", 0, {B: 0, C: 0}, ""),
    "two paths": (dict(drives={"X": {"serial": A}}), f"--serial {A}", 0, {A: 0}, ""),
    "a library": (dict(more={"changers": [{"target": 9, "model": "TAPELIB-40", "serial": "L"}]}), "--serial L", 64, {},
                  "tape library"),
    # What is called done is not.
    "cut short": (dict(files={"px6.bin": image("E6Q4")[:CHUNK + 5]}), A, 10, {A: 10}, "came back with E6Q3 instead of E6Q4"),
    "another level": (dict(files={"px6.bin": image("E6Q9")}), A, 10, {A: 10}, "came back with E6Q9 instead of E6Q4"),
    "another product's": (dict(files={"px6.bin": image("E6Q4", vendor="ACME")}), A, 4, {A: 4}, "refused the image"),
    "no Config.txt": (dict(files={"Config.txt": None}), "--all", 8, {}, "Config.txt names none"),
    "current": (dict(drives={A: {"level": "E6Q4"}}), A, 0, {A: "current"}, "already"),
    "current, forced": (dict(drives={A: {"level": "E6Q4"}}), A + " --force", 0, {A: 0}, ""),
    "downgrade": (dict(drives={A: {"level": "E6Q5"}}), A, 7, {A: "downgrade"}, "--force"),
    "downgrade, forced": (dict(drives={A: {"level": "E6Q5"}}), A + " --force", 0, {A: 0}, ""),
    # One dead drive, and the others.
    "never back": (dict(drives={A: {"afterDownload": "never returns"}}), "--all --max-reboot 1", 16, {A: 16, B: 0, C: 0},
                   "do not switch it off"),
    "lost until a rescan": (dict(drives={A: {"afterDownload": "lost until rescan"}}), A, 0, {A: 0}, ""),
    "all but one that is held": (dict(drives={B: CLAIMED}, faults=[UNOPENED | {"error": 32}]), "--all", 12,
                                 {A: 0, C: 0}, ""),
    "not elevated": (dict(drives={A: CLAIMED, B: None, C: None}, faults=[UNOPENED | {"error": 5}]), "--all", 12, {},
                     "run as administrator"),
    "silent after the scan": (dict(faults=[fault("12 01 80", nth=2, times=0, error=1117),
                                           fault("12 01 80", target=4, nth=3, times=0, error=1117)]), "--all", 12,
                              {A: "not reachable", B: 12, C: 0}, "does not tell its serial number any more"),
    "task set full once": (dict(faults=[fault("??", nth=n, status=0x28) for n in (2, 9)]), "--all", 0,
                           {A: 0, B: 0, C: 0}, ""),
    # Which product it is, it does not tell; the line of its neighbour is not its own.
    "doubt, reserved": (dict(drives={A: {"automationReady": True, "reserved": True}}, files={"Config.txt": READY_PX6}),
                        "--all", 11, {A: "reserved"}, "reserved"),
    "doubt, silent once": (dict(drives={A: {"automationReady": True}}, faults=[fault("3C", error=1117)],
                                files={"Config.txt": CONFIG + READY_PX6}), "--all", 12, {B: 0, C: 0}, ""),
    "doubt, aborted once": (dict(drives={A: {"automationReady": True}}, faults=[fault("3C", sense="0B 08 00")],
                                 files={"Config.txt": CONFIG + READY_PX6}), "--all", 12, {B: 0, C: 0}, ""),
    "doubt, silent after its name": (dict(faults=[fault("12", nth=2, times=0, error=1117)]), "--all", 12,
                                     {B: 0, C: 0}, ""),
    "no doubt, unknown question": (dict(faults=[fault("3C", times=0, sense="05 20 00")]), A, 0, {A: 0}, ""),
    # In use.
    "cartridge": (dict(drives={A: {"cartridge": True}}), A, 11, {A: "cartridge loaded"}, "--eject"),
    "cartridge, ejected": (dict(drives={A: {"cartridge": True}}), A + " --eject", 0, {A: 0}, "ejected"),
    "cartridge, stuck": (dict(drives={A: {"cartridge": True, "stuckCartridge": True}}), A + " --eject", 0, {A: 0},
                         "still inside"),
    "removal prevented": (dict(drives={A: {"cartridge": True, "removalPrevented": True}}), A + " --eject", 11, {A: 11},
                          "a host keeps in"),
    "removal prevented, current": (dict(drives={A: {"level": "E6Q4", "cartridge": True, "removalPrevented": True}}),
                                   A + " --eject", 0, {A: "current"}, "already"),
    "reserved": (dict(drives={A: {"reserved": True}}), A, 11, {A: "reserved"}, "reserv"),
    # Every refusal reads differently.
    "refused chunk": (dict(faults=[fault(nth=2, sense="05 24 00")]), A, 4, {A: 4}, "chunk 2 of 3 the drive refused the image"),
    "busy": (dict(faults=[fault(nth=2, status=8)]), A, 4, {A: 4}, "chunk 2 of 3 the drive is busy"),
    "reserved meanwhile": (dict(faults=[fault(nth=3, status=0x18)]), A, 11, {A: 11}, "another host has reserved the drive"),
    "hardware": (dict(faults=[fault(sense="04 44 00")]), A, 4, {A: 4}, "hardware error: have it serviced (sense 4/44/00, internal target failure)"),
    "connection": (dict(faults=[fault(error=1117)]), A, 4, {A: 4}, "cannot be reached any more"),
    # Images.
    "missing": (dict(files={"px6.bin": None}), A, 2, {A: "image missing"}, "px6.bin"),
    "empty": (dict(files={"px6.bin": b""}), A, 3, {A: "image unusable"}, "px6.bin"),
    "checksum": (dict(files={"px6.bin.sha256": f"{SUM}  px6.bin\n"}), A, 0, {A: 0}, ""),
    "binary checksum": (dict(files={"px6.bin.sha256": f"{SUM} *dir/px6.bin\r\n"}), A, 0, {A: 0}, ""),
    "wrong checksum": (dict(files={"px6.bin.sha256": f"{'0' * 64}  px6.bin\n"}), A, 13, {A: "image mismatch"}, "differs"),
    "another's checksum": (dict(files={"px6.bin.sha256": f"{SUM}  px7.bin\n"}), A, 13, {A: "image mismatch"}, "sha256"),
    "no checksum": (dict(files={"px6.bin.sha256": b""}), A, 13, {A: "image mismatch"}, "sha256"),
    "beyond ASCII": (dict(files={"Config.txt": f"{PX6} prüf日.bin E6Q4\n", "prüf日.bin": image("E6Q4")},
                          directory="Gerät 東京", name="räume.json"), A, 0, {A: 0}, ""),
    # Once, at the wrong moment.
    "busy once": (dict(faults=[fault("12", status=8), fault("00", status=8)]), "--all", 0, {A: 0, B: 0, C: 0}, ""),
    "unit attention": (dict(faults=[fault("3C", sense="06 29 00"), fault("12 01", sense="06 29 00")]), "--all", 0,
                       {A: 0, B: 0, C: 0}, ""),
    # Said before the first byte.
    "no report": (dict(files={"scsiExe.txt/x": None}), A, 70, {A: None}, "scsiExe.txt"),
}


class Updates(unittest.TestCase):
    def check(self, room, words, status, results, sentence):
        room = Room(**room)
        if results == {A: None}:
            os.mkdir(room.file("scsiExe.txt"))
        first = words if not words[:1].isdigit() or len(words) < 3 else "--serial " + words
        found, document, error = room.run("update", *(first.split() or [""]), "--yes", "--json")
        self.assertEqual((found, document["status"]), (status, status), error)
        drives = {d["serial"]: d for d in document.get("drives", [])}
        self.assertEqual(set(drives), set(results), error)
        failed = []
        for serial, expected in results.items():
            drive = drives[serial]
            name = {"current": 0, "downgrade": 7, "not configured": 8, "cartridge loaded": 11, "reserved": 11,
                    "not reachable": 12,
                    "image missing": 2, "image unusable": 3, "image mismatch": 13}
            self.assertEqual(drive["result"], name.get(expected, expected), drive["message"])
            if isinstance(expected, str):
                self.assertEqual((drive["verdict"], drive["written"]), (expected, 0))
            if drive["result"] == 0:
                self.assertTrue(drive["verified"] and drive["after"] == drive["wanted"], drive)
            elif drive["result"]:
                failed.append(drive["message"])
        self.assertIn(sentence.lower(), (failed[0] if failed and not document["warnings"] else str(document)).lower())
        # Nobody else got a byte, and nobody is said to have changed who has not.
        if room.name in os.listdir(room.path):
            said = {s: d["after"] for s, d in drives.items() if d.get("changed")}
            never = {s for s, d in drives.items() if d["result"] == 16}
            self.assertEqual({s: n for s, n in room.changed().items() if s not in never}, said)
        if any(d["written"] for d in drives.values()):
            reported = {d["address"]: d["result"] for d in drives.values() if d["verdict"] != "current"}
            self.assertEqual(room.report(), reported)


for name, case in UPDATES.items():
    setattr(Updates, "test " + name, lambda self, case=case: self.check(*case))


class Processes(unittest.TestCase):
    """What needs two processes, or one in the middle of its work."""

    SLOW = dict(more={"pace": 0.05}, files={"px6.bin": image("E6Q4", 40 * CHUNK)})

    def begin(self, room, *words, until="20 %"):
        process = room.start("update", "--all", "--yes", *words)
        for line in process.stderr if "--json" in words else process.stdout:
            if until in line:
                return process
        raise AssertionError(process.stderr.read())

    @staticmethod
    def kill_child(process):
        with open(f"/proc/{process.pid}/task/{process.pid}/children", encoding="ascii") as children:
            os.kill(int(children.read().split()[0]), signal.SIGKILL)

    def test_one_update_at_a_time(self):
        room = Room(**self.SLOW)
        first = self.begin(room)
        for words in (["update", A, "--yes"], ["scan"], ["plan"], ["params", "0", "--set", "compression=on"]):
            words = [w if w != A else "--serial=" + A for w in words]
            status, document, _ = room.run(*words, "--json")
            self.assertEqual((status, document.get("drives", [])), (15, []), words)
        first.communicate()
        self.assertEqual(first.returncode, 0)
        self.assertEqual(room.report(), {"0,0,3,0": 0, "0,0,4,0": 0, "0,0,5,0": 0})

    def test_ctrl_c_once_finishes_the_drive(self):
        room = Room(**self.SLOW)
        process = self.begin(room, "--json")
        process.send_signal(signal.SIGINT)
        out, error = process.communicate()
        document = room.document(out)
        self.assertEqual((process.returncode, [d["result"] for d in document["drives"]]), (14, [0, None, None]), error)
        self.assertIn("no further drive", error)
        self.assertEqual((room.changed(), room.report()), ({A: "E6Q4"}, {"0,0,3,0": 0}))

    def test_ctrl_c_twice_leaves(self):
        room = Room(**self.SLOW)
        process = self.begin(room, "--json")
        process.send_signal(signal.SIGINT)
        time.sleep(0.5)
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate()
        first = room.document(out)["drives"][0]
        self.assertEqual((process.returncode, first["result"]), (14, 14))
        self.assertIn("must not be switched off", first["message"])
        self.assertEqual((room.changed(), room.report()), ({}, {"0,0,3,0": 14}))
        self.assertEqual(room.run("plan", "--serial", A)[0], 0, "the lock went with the processes")

    @unittest.skipIf(WINDOWS, "needs a terminal")
    def test_asks_on_a_terminal(self):
        import pty
        for answer, meanwhile, status in (("n", CONFIG, 14), ("y", CONFIG, 0), ("y", CONFIG.replace("E6Q4", "E6Q3"), 13)):
            room = Room()
            ours, theirs = pty.openpty()
            process = room.start("update", "0", preexec_fn=lambda: (os.dup2(theirs, 0), os.dup2(theirs, 2)))
            asked = b""
            while b"[y/N]" not in asked:
                asked += os.read(ours, 100)
            room.write("Config.txt", meanwhile)
            os.write(ours, (answer + "\n").encode())
            process.communicate()
            self.assertEqual((process.returncode, bool(room.changed())), (status, status == 0))
            self.assertEqual(status == 14 or room.report(), status == 14 or {"0,0,3,0": status})

    @unittest.skipIf(WINDOWS, "looks for the process in /proc")
    def test_a_process_that_dies_is_answered_for(self):
        room = Room(**self.SLOW, drives={B: {"cartridge": True}})
        process = self.begin(room, "--json")
        os.makedirs(room.file("scsiExe.txt.new/x"))  # no report can be written from now on
        self.kill_child(process)
        drives = room.document(process.communicate()[0])["drives"]
        self.assertEqual([d["result"] for d in drives], [70, 11, 70])
        for drive, sentence in zip(drives, ("could not be written", "could not be written", "cannot be written")):
            self.assertIn(sentence, drive["message"])
        self.assertEqual(room.changed(), {})

        room = Room(**self.SLOW)
        process = self.begin(room, "--record", "killed.jsonl", "--json")
        self.kill_child(process)
        drives = room.document(process.communicate()[0])["drives"]
        self.assertEqual([d["result"] for d in drives], [70, 0, 0])
        self.assertIn("still runs its old firmware", drives[0]["message"])
        self.assertEqual(room.report(), {"0,0,3,0": 70, "0,0,4,0": 0, "0,0,5,0": 0})
        # What was said until then is there, and what was said after it.
        status, _, error = room.run("--replay", "killed.jsonl", "update", "--all", "--yes")
        self.assertEqual(status, 65)
        self.assertRegex(error, r"breaks off after line \d+\.\n  expected: no further call\n  actual:   \w+ \{")
        self.assertIn(f'"command":"drive-process level {A}"', room.read("killed.jsonl"))


class Recordings(unittest.TestCase):
    def test_recorded_commands_say_what_they_said(self):
        for name in sorted(f[:-6] for f in os.listdir(COMMANDS) if f.endswith(".jsonl")):
            with open(os.path.join(COMMANDS, name + ".jsonl"), encoding="utf-8") as file:
                recording = file.read()
            room = Room(files={"recorded.jsonl": recording})
            words = json.loads(recording.splitlines()[0])["command"].split()
            status, out, error = room.run("--replay", "recorded.jsonl", *words)
            said = f"{out}{error}exit status {status}\n"
            if "KIV_UPDATE_DATA" in os.environ:
                with open(os.path.join(COMMANDS, name + ".txt"), "w", encoding="utf-8") as file:
                    file.write(said)
            with open(os.path.join(COMMANDS, name + ".txt"), encoding="utf-8") as file:
                self.assertEqual(said, file.read(), name)

    def test_an_update_replays_and_shows_no_serial_numbers(self):
        room = Room(drives={B: {"cartridge": True}}, faults=[fault(target=5, nth=2, sense="05 26 00")],
                    more={"changers": [{"target": 9, "model": "TAPELIB-40", "serial": "00QR78M1340", "bays": [C],
                                        "cartridges": [{"element": 4097, "barcode": "QOR001L6"}]}]})
        words = ["update", "--all", "--yes", "--eject", "--json"]
        status, document, _ = room.run("--record", "update.jsonl", "--mask", *words)
        self.assertEqual((status, [d["result"] for d in document["drives"]]), (4, [0, 0, 4]))
        masked = room.read("update.jsonl")
        for secret in (A, B, C, "00QR78M1340", "QOR001L6"):
            self.assertNotIn(secret, masked)
            self.assertNotIn(secret.encode().hex(" ").upper(), masked)
        self.assertNotIn("update.jsonl.unmasked", os.listdir(room.path))

        levels = room.levels()
        status, again, _ = room.run("--replay", "update.jsonl", *words)
        self.assertEqual(status, 4)
        for drive in (*document["drives"], *again["drives"]):
            drive["message"] = drive["message"].replace(drive.pop("serial"), "SERIAL")
            drive.pop("library")
        self.assertEqual(again["drives"], document["drives"])
        self.assertEqual(room.levels(), levels)

    def test_a_departure_ends_a_replay(self):
        room = Room()
        self.assertEqual(room.run("--record", "scan.jsonl", "scan")[0], 0)
        scan = room.read("scan.jsonl")
        room.write("edited.jsonl", scan.replace("12 01 80 00", "12 01 B0 00", 1))
        room.write("cut.jsonl", scan[:len(scan) // 2])
        room.write("damaged.jsonl", scan.replace('"asked"', "asked", 1))
        room.write("longer.jsonl", scan + scan)
        line = scan[:scan.index("12 01 80 00")].count("\n") + 1
        for file, words, sentences in (
                ("edited.jsonl", ["scan"], [f"departs from the recording in line {line}.\n  expected: DeviceIoControl",
                                            '"12 01 B0 00', "\n  actual:   DeviceIoControl", '"12 01 80 00', "never came"]),
                ("cut.jsonl", ["scan"], ["breaks off after line"]), ("damaged.jsonl", ["scan"], ["Line 2 ", "damaged"]),
                ("px6.bin", ["scan"], ["px6.bin", "Line 1 "]), ("scan.jsonl", ["plan"], ["expected: no further call"]),
                ("scan.jsonl", ["version"], ["recorded calls never came, the first in line 2: QueryDosDeviceA"]),
                ("longer.jsonl", ["scan"], ["recorded calls never came"])):
            status, document, error = room.run("--replay", file, *words, "--json")
            self.assertEqual((status, document["status"]), (65, 65), error)
            for sentence in sentences:
                self.assertIn(sentence, document["message"])

    def test_no_recording_is_written_over(self):
        room = Room(files={"there.jsonl": "x"})
        for words, sentence in ((["--record", "there.jsonl", "scan"], "there already"), (["--mask", "scan"], "--record"),
                                (["--record", "no/such.jsonl", "scan"], "cannot be written"),
                                (["mask", "px6.bin", "there.jsonl"], "there already")):
            status, document, _ = room.run(*words, "--json")
            self.assertEqual(status, 64)
            self.assertIn(sentence, document["message"])
        self.assertEqual(room.read("there.jsonl"), "x")


class Others(unittest.TestCase):
    def test_usage_names_the_wrong_word(self):
        room = Room()
        for words, word in ((["foo"], "foo"), (["scan", "--foo"], "--foo"), (["update"], "selection"),
                            (["update", "--yes", "--serial"], "--serial: --json"), (["scan", "--log"], "--log: --json"),
                            (["update", "0"], "--yes"), (["update", "--all", "0"], "0"), (["plan", "--serial", ""], "serial"),
                            (["plan", "--address", "0,0,3"], "0,0,3"), (["update", "0", "--max-reboot", "x"], "x"),
                            (["scan", "--xml"], "--xml"), (["params", "0", "--set", "speed=9"], "speed"),
                            (["make-image", "x", "E6Q", "9"], "E6Q"), (["make-room", room.name], room.name)):
            status, document, error = room.run(*words, "--json")
            self.assertEqual((status, document["status"]), (64, 64), error)
            self.assertIn(word, document["message"])
        self.assertEqual(room.changed(), {})

    def test_plan_tells_all_and_writes_nothing(self):
        room = Room(drives={B: {"level": "E6Q4"}}, files={"Config.txt": CONFIG + f'"{PX6}" px6.bin\n'})
        before = {name: os.stat(room.file(name)).st_mtime_ns for name in os.listdir(room.path)}
        status, document, _ = room.run("plan", "--json")
        self.assertEqual(status, 0)
        self.assertEqual([d["verdict"] for d in document["drives"]], ["update", "current", "update"])
        self.assertEqual(document["drives"][0]["image"], {"file": "px6.bin", "bytes": 3 * CHUNK, "sha256": SUM})
        self.assertEqual({w["line"] for w in document["warnings"]}, {3})
        self.assertEqual(before, {name: os.stat(room.file(name)).st_mtime_ns for name in os.listdir(room.path)})
        self.assertEqual(room.run("check", "--json")[1]["warnings"], document["warnings"])
        self.assertEqual(room.run("check")[0], 1)
        room.write("Config.txt", CONFIG)
        self.assertEqual(room.run("check")[0], 0)

    def test_scan_shows_what_is_there_and_what_is_not(self):
        room = Room(drives={A: {"model": 'PX6<&">'}, B: CLAIMED}, faults=[UNOPENED | {"error": 5}],
                    more={"changers": [{"target": 9, "model": "TAPELIB-40", "serial": "L", "bays": [C],
                                        "slots": {"first": 4096, "count": 3},
                                        "cartridges": [{"element": 4097, "barcode": "QOR001L6"}]}]})
        status, document, _ = room.run("scan", "--elements", "--json")
        self.assertEqual((status, [u["message"] for u in document["unreachable"]]), (12, ["run as administrator"]))
        self.assertEqual([d["serial"] for d in document["drives"]], [A, C, "L"])
        self.assertEqual(document["drives"][1]["library"]["serial"], "L")
        self.assertEqual([(e["address"], e["barcode"]) for e in document["elements"] if e["type"] == "slot"],
                         [(4096, ""), (4097, "QOR001L6"), (4098, "")])
        for words, status in (([], 12), (["--serial", "L"], 0)):
            found, elements, _ = room.run("elements", *words, "--json")
            self.assertEqual((found, elements["elements"]), (status, document["elements"]))
            self.assertEqual(elements["unreachable"], document["unreachable"])
        import xml.etree.ElementTree as ElementTree
        drive = ElementTree.fromstring(room.run("scan", "--xml")[1]).find("Drive")
        self.assertEqual(drive.get("product"), 'PX6<&">')

    def test_parameters_are_set_and_told(self):
        room = Room(faults=[fault("15", nth=2, times=0, sense="04 44 00")])
        words = ["params", "--serial", A, "--set", "compression=off", "--set", "block-size=512"]
        status, out, error = room.run(*words)
        self.assertNotEqual(status, 0)
        self.assertIn("compression was set to off", out)
        self.assertIn("block-size was not set to 512", error)
        self.assertRegex(room.run(*words, "--json")[1]["message"],
                         "(?s)compression was set to off.*block-size was not set to 512.*4/44/00")
        self.assertEqual(room.run("params", "0", "--json")[1]["parameters"][0]["name"], "compression")

    def test_log_and_version(self):
        room = Room()
        self.assertEqual(room.run("scan", "--log", "läufe.txt")[0], 0)
        self.assertIn("Productstring is", room.read("läufe.txt"))
        self.assertIn("Productstring is", room.run("scan", "--debug")[2])
        self.assertTrue(room.run("version", "--json")[1]["version"].startswith("1.95"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
