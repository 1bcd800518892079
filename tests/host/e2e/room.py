"""A directory with a simulated tape room, and kivhost in it."""
import json
import os
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
import zlib

import jsonschema

COMMAND = [os.path.abspath(word) for word in sys.argv[1:]]  # kivhost; under Wine with the runner before it
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..")
with open(os.path.join(ROOT, "docs", "kivhost.schema.json"), encoding="utf-8") as file:
    SCHEMA = jsonschema.Draft202012Validator(json.load(file))

A, B, C = "1068000001", "1068000002", "1084000003"  # A and B are alike, so that one may be taken for the other
PX6, PX8 = "QOR-ULTRIUM-PX6:SAS", "QOR-ULTRIUM-PX8:SAS"
CONFIG = f"{PX6} px6.bin E6Q4\n{PX8} px8.bin K5H2\n"
CHUNK = 32768


def image(level, size=3 * CHUNK, vendor="QOR"):
    code = bytes(size - 32)
    header = b"QFWI" + vendor.ljust(8).encode() + level.encode() + size.to_bytes(4, "big")
    return header + zlib.crc32(code).to_bytes(4, "big") + bytes(8) + code


class Room:
    """`drives` maps a serial number to what differs from a PX6 with level E6Q3; `files` adds or replaces files."""

    def __init__(self, drives=None, faults=(), files=None, more=None, directory="room", name="room.json"):
        base = {A: {}, B: {}, C: {"model": "ULTRIUM-PX8", "level": "K5H1"}}
        self.before = [{"target": 3 + i, "model": "ULTRIUM-PX6", "level": "E6Q3", "serial": serial, "interface": "SAS"}
                       | base.get(serial, {}) | ((drives or {}).get(serial) or {})
                       for i, serial in enumerate(dict.fromkeys([*base, *(drives or {})]))]
        self.before = [d for d in self.before if (drives or {}).get(d["serial"], {}) is not None]
        self.description = {"pace": 0, "drives": self.before, "faults": list(faults)} | (more or {})
        self.top = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.top.name, directory)
        os.mkdir(self.path)
        self.name = name
        self.write(name, json.dumps(self.description))
        for file, content in ({"Config.txt": CONFIG, "px6.bin": image("E6Q4"), "px8.bin": image("K5H2")}
                              | (files or {})).items():
            if content is not None:
                self.write(file, content)

    def file(self, name):
        return os.path.join(self.path, name)

    def write(self, name, content):
        with open(self.file(name), "wb") as out:
            out.write(content.encode() if isinstance(content, str) else content)

    def read(self, name):
        with open(self.file(name), encoding="utf-8") as text:
            return text.read()

    def levels(self):
        return {d["serial"]: d["level"] for d in json.loads(self.read(self.name))["drives"]}

    def changed(self):
        """Drives whose level in the room's file is another one now."""
        return {d["serial"]: now for d, now in zip(self.before, self.levels().values()) if d["level"] != now}

    def start(self, *words, **options):
        room = [] if "--replay" in words else ["--room", self.name]
        return subprocess.Popen([*COMMAND, *words, *room], cwd=self.path, text=True, encoding="utf-8",
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, **options)

    def run(self, *words):
        """Exit status, document (None without --json) and standard error."""
        process = self.start(*words)
        out, error = process.communicate(timeout=120)
        return process.returncode, self.document(out) if "--json" in words else out, error

    @staticmethod
    def document(text):
        document = json.loads(text)
        SCHEMA.validate(document)
        return document

    def report(self):
        """The results in scsiExe.txt, which is well-formed."""
        devices = ElementTree.fromstring(self.read("scsiExe.txt")).findall("Device")
        return {d.get("enum"): int(d.find("*/*/Message").get("id")) for d in devices}


def fault(cdb="3B", target=3, **effect):
    return {"cdb": cdb, "device": f"H0-B0-T{target}-L0"} | effect
