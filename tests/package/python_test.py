"""The Python binding, against the library with a simulated room behind it: python_test.py KIVROOM-LIBRARY"""
import ctypes
import os
import sys
import tempfile
import unittest

import kiv

PATH = sys.argv.pop()
ROOM = ctypes.CDLL(PATH)
CONFIG = """QOR-ULTRIUM-PX6:SAS:AutomationReady px6.bin E6Q4
QOR-ULTRIUM-PX8:SAS px8.bin K5H2
"""


class Binding(unittest.TestCase):
    def setUp(self):
        self.assertEqual(ROOM.kivroom_open(), 0)
        self.folder = tempfile.TemporaryDirectory()
        with open(os.path.join(self.folder.name, "Config.txt"), "w") as config:
            config.write(CONFIG)
        self.assertEqual(ROOM.kivroom_image(os.path.join(self.folder.name, "px6.bin").encode(), b"E6Q4", 100000), 0)
        self.lines = []
        self.kiv = kiv.Kiv(PATH, self.folder.name, lambda level, line: self.lines.append(line), kiv.LOG_DEBUG)
        self.devices = self.kiv.scan(libraries=True)

    def tearDown(self):
        self.kiv.close()
        self.assertEqual(ROOM.kivroom_close(), 0, "handles are left open")
        self.folder.cleanup()

    def test_update(self):
        drive = self.kiv.find("1068000451")
        self.assertEqual((drive.type, drive.product, drive.level), ("drive", "ULTRIUM-PX6", "E6Q3"))
        self.assertEqual(drive.plan().verdict, "update")
        seen = []
        result = drive.update(progress=lambda p: seen.append((p.phase, p.bytes)))
        self.assertEqual((result.result, result.before, result.after, result.verified), (0, "E6Q3", "E6Q4", 1))
        self.assertEqual(list(dict.fromkeys(phase for phase, _ in seen)),
                         ["check", "eject", "read", "download", "restart", "verify"])
        self.assertIn(("download", 65536), seen)
        self.assertTrue(any("Write Buffer completed" in line for line in self.lines))
        self.assertEqual(drive.plan().verdict, "current")
        self.kiv.start_report()
        drive.report(11)
        with open(os.path.join(self.folder.name, "scsiExe.txt"), encoding="utf-8") as report:
            self.assertRegex(report.read(), 'enum="0,0,3,0" .*\\n.* version="E6Q3">\\n.*\\n.* id="11"')

    def test_failures(self):
        drive = self.kiv.find("1068000451")
        with self.assertRaises(kiv.Error) as stopped:
            drive.update(progress=lambda p: p.phase == "read")
        self.assertEqual((stopped.exception.name, stopped.exception.update.after), ("KIV_INTERRUPTED", "E6Q3"))
        with self.assertRaises(ZeroDivisionError):
            drive.update(progress=lambda p: 1 // 0)
        with self.assertRaises(kiv.Error) as nested:
            drive.update(progress=lambda p: self.kiv.scan())
        self.assertEqual(nested.exception.name, "KIV_CALL_RUNNING")
        with self.assertRaises(kiv.Error) as refused:
            drive.command(bytes([0x12, 2, 0, 0, 36, 0]), 36)
        self.assertEqual(repr(refused.exception.sense), "5/24/00")
        self.kiv.scan()
        with self.assertRaises(kiv.Error) as stale:
            drive.load()
        self.assertEqual(stale.exception.name, "KIV_STALE_DEVICE")
        self.assertIsNone(self.kiv.find("NONE"))

    def test_library(self):
        library = next(device for device in self.devices if device.type == "library")
        library.move(4096, 256)
        bay = next(element for element in library.elements() if element.address == 256)
        self.assertEqual((bay.full, bay.barcode, bay.source, bay.drive_serial), (1, "QOR001L7", 4096, "1077002305"))
        drive = self.kiv.find("1077002305")
        self.assertEqual((drive.library_serial, drive.element), (library.serial, 256))
        drive.set_parameter("compression", "off")
        self.assertEqual(drive.parameters()["compression"], "No")
        self.assertEqual(drive.command(bytes([0x12, 0, 0, 0, 36, 0]), 36)[8:11], b"QOR")


unittest.main(verbosity=0)
