"""Scans tape drives and libraries and updates drive firmware through kiv.dll.

    import kiv

    with kiv.Kiv(r"C:\\kiv\\kiv.dll", directory=r"C:\\kiv") as library:
        for device in library.scan(libraries=True):
            print(device.serial, device.product, device.level)
        drive = library.find("1068000451")
        if drive.plan().verdict == "update":
            print(drive.update(progress=lambda p: print(p.phase, p.bytes, p.total)).text)

One file, no dependency; put it beside your program. Every call that fails raises kiv.Error. One thread at a time.
What the members mean stands in kiv/kiv_c.h.
"""
import ctypes
from ctypes import (CFUNCTYPE, POINTER, Structure, byref, c_char, c_char_p, c_int32, c_uint8, c_uint32, c_uint64, c_void_p,
                    sizeof)

INTERFACE_VERSION = 0x00010001

OK = 0
SCAN_DRIVER, SCAN_LIBRARIES = 1, 2
FORCE, EJECT, REPORT_APPEND = 1, 2, 4
DATA_NONE, DATA_IN, DATA_OUT = 0, 1, 2
LOG_NONE, LOG_ERROR, LOG_WARNING, LOG_INFO, LOG_DEBUG = -1, 0, 1, 2, 3
DEVICE_TYPES = {1: "drive", 8: "library"}
ELEMENT_TYPES = {1: "transport", 2: "storage", 3: "import/export", 4: "drive"}


class Record(Structure):
    """A structure of kiv_c.h: its members as attributes, texts as str."""

    def __init__(self):
        super().__init__()
        self.size = sizeof(self)

    def __getattribute__(self, name):
        value = super().__getattribute__(name)
        return value.decode("utf-8", "replace") if isinstance(value, bytes) else value

    def copy(self):
        return type(self).from_buffer_copy(self)

    def __repr__(self):
        shown = (name for name, *_ in self._fields_ if name not in ("size", "reserved"))
        return type(self).__name__ + "(" + ", ".join(f"{name}={getattr(self, name)!r}" for name in shown) + ")"


class Sense(Structure):
    _fields_ = [(name, c_uint8) for name in ("valid", "key", "asc", "ascq")]

    def __bool__(self):
        return bool(self.valid)

    def __repr__(self):
        return f"{self.key:X}/{self.asc:02X}/{self.ascq:02X}" if self else "none"


def _fields(layout):
    """The members of a structure: lines "type name name[length] ..."."""
    types = {"i32": c_int32, "u8": c_uint8, "u32": c_uint32, "u64": c_uint64, "char": c_char, "sense": Sense,
             "text": c_char_p, "pointer": c_void_p}
    fields = []
    for line in layout.strip().splitlines():
        kind, *names = line.split()
        for name in names:
            name, _, length = name.rstrip("]").partition("[")
            fields.append((name, types[kind] * int(length) if length else types[kind]))
    return fields


class _Error(Record):
    _fields_ = _fields("""u32 size
        i32 result
        u32 windows_error
        sense sense
        char text[512]""")


class Info(Record):
    _fields_ = _fields("""u32 size
        i32 type reachable
        u32 windows_error
        i32 through_driver
        u32 adapter bus target lun maximum_transfer
        i32 supported_index configured in_library
        u32 element
        char library_serial[36] vendor[12] product[20] level[8] serial[36] interface_type[12]
        char product_string[96] component[128] path[128]""")


class Plan(Record):
    _fields_ = _fields("""u32 size
        i32 verdict_number result
        u32 windows_error
        sense sense
        i32 cartridge
        u64 image_bytes
        char level[8] wanted[64] image[264] image_path[520] text[512]""")


class Progress(Record):
    _fields_ = _fields("""u32 size
        i32 phase_number
        u64 bytes total
        u32 seconds
        i32 can_stop""")


class UpdateResult(Record):
    _fields_ = _fields("""u32 size
        i32 result verdict_number phase_number verified stop_too_late ejected
        u32 chunk chunks windows_error
        sense sense
        u8 scsi_status reserved[3]
        u64 bytes_written
        u32 seconds[8]
        char before[8] wanted[64] after[8] text[512]""")


class ReportEntry(Record):
    _fields_ = _fields("""u32 size
        i32 result
        u32 adapter bus target lun
        text product_string component level""")


class Request(Record):
    _fields_ = _fields("""u32 size cdb_length
        u8 cdb[16]
        i32 direction
        u32 data_length
        pointer data
        u32 seconds transferred
        u8 status sense_length timed_out reserved
        u32 windows_error
        u8 sense[96]""")


class Parameter(Record):
    _fields_ = _fields("""u32 size value
        text name title text choices""")


class Element(Record):
    _fields_ = _fields("""u32 size
        i32 type
        u32 address
        u8 full access except_ asc ascq import_enabled export_enabled operator_placed source_valid invert
        u8 lun_valid lun id_valid bus_address not_bus reserved
        u32 source
        char barcode[36] drive_serial[36]""")


_LOG = CFUNCTYPE(None, c_int32, c_char_p, c_void_p)
_PROGRESS = CFUNCTYPE(c_int32, POINTER(Progress), c_void_p)
_PARAMETER = CFUNCTYPE(c_int32, POINTER(Parameter), c_void_p)
_ELEMENT = CFUNCTYPE(c_int32, POINTER(Element), c_void_p)

# Of every function: what it answers with, and its arguments. "code" is a result code that raises.
_FUNCTIONS = {
    "interface_version": (c_uint32,),
    "version": (c_char_p,),
    "result_name": (c_char_p, c_int32),
    "result_text": (c_char_p, c_int32),
    "sense_text": (c_char_p, c_uint8, c_uint8, c_uint8),
    "verdict_name": (c_char_p, c_int32),
    "phase_name": (c_char_p, c_int32),
    "last_error": (c_int32, POINTER(_Error)),
    "set_log": ("code", c_int32, _LOG, c_void_p),
    "set_directory": ("code", c_char_p),
    "set_restart_limit": ("code", c_uint32),
    "scan": ("code", c_uint32),
    "device_count": (c_uint32,),
    "device_at": (c_uint64, c_uint32),
    "device_find": (c_uint64, c_char_p),
    "device_info": ("code", c_uint64, POINTER(Info)),
    "plan": ("code", c_uint64, c_uint32, POINTER(Plan)),
    "update": ("code", c_uint64, c_uint32, _PROGRESS, c_void_p, POINTER(UpdateResult)),
    "report_start": ("code",),
    "report_add": ("code", POINTER(ReportEntry)),
    "command": ("code", c_uint64, POINTER(Request)),
    "parameters": ("code", c_uint64, _PARAMETER, c_void_p),
    "parameter_check": ("code", c_char_p, c_char_p),
    "parameter_set": ("code", c_uint64, c_char_p, c_char_p),
    "elements": ("code", c_uint64, _ELEMENT, c_void_p),
    "move_medium": ("code", c_uint64, c_uint32, c_uint32, c_uint32),
    "load": ("code", c_uint64),
    "unload": ("code", c_uint64),
    "close": ("code",),
}


class Error(Exception):
    """A call that failed: its result code and name, what kiv says about it, Windows' error and the sense data."""

    def __init__(self, result, name, text, windows_error=0, sense=None):
        super().__init__(f"{text} ({name})")
        self.result, self.name, self.text = result, name, text
        self.windows_error, self.sense = windows_error, sense


class _Callback:
    """Passes call backs on to a Python function, and what that raises to the caller."""

    def __init__(self, prototype, function):
        self.raised = None
        self.pointer = prototype(self._call)
        self.function = function

    def _call(self, *arguments):
        try:
            return 1 if self.raised else int(bool(self.function(*arguments[:-1])))
        except BaseException as raised:  # nothing may pass through C
            self.raised = raised
            return 1

    def finish(self):
        if self.raised:
            raise self.raised


class Kiv:
    """kiv.dll, loaded. Its log lines go to log(level, line), if given."""

    def __init__(self, path="kiv.dll", directory=None, log=None, log_level=LOG_INFO):
        self._library = ctypes.CDLL(path)
        for name, (result, *arguments) in _FUNCTIONS.items():
            function = getattr(self._library, "kiv_" + name)
            function.restype = c_int32 if result == "code" else result
            function.argtypes = arguments
        version = self._library.kiv_interface_version()
        if version >> 16 != INTERFACE_VERSION >> 16 or version < INTERFACE_VERSION:
            raise ImportError(f"{path} has the interface version {version:#x}, {INTERFACE_VERSION:#x} is needed")
        self._log = None
        if log:
            self._log = _LOG(lambda level, line, _: log(level, line.decode("utf-8", "replace")))
            self.call("set_log", log_level, self._log, None)
        if directory is not None:
            self.call("set_directory", str(directory).encode())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def call(self, name, *arguments):
        """Any function of kiv_c.h, by its name without "kiv_". Raises Error for a result code other than 0."""
        result = getattr(self._library, "kiv_" + name)(*arguments)
        if isinstance(result, bytes):
            return result.decode()
        if _FUNCTIONS[name][0] == "code" and result != OK:
            raise self._error(result)
        return result

    def _error(self, result):
        error = _Error()
        self._library.kiv_last_error(byref(error))
        name = self.call("result_name", result)
        if error.result != result:  # a refused call leaves no trace
            return Error(result, name, self.call("result_text", result))
        return Error(result, name, error.text, error.windows_error, error.sense)

    def close(self):
        self.call("close")

    def scan(self, driver=False, libraries=False):
        """The devices found, as a list of Device; an empty one when nothing was found."""
        try:
            self.call("scan", driver * SCAN_DRIVER | libraries * SCAN_LIBRARIES)
        except Error as error:
            if error.name != "FW_NO_DRIVE_CONNECTED":
                raise
        return self.devices()

    def devices(self):
        return [Device(self, self.call("device_at", index)) for index in range(self.call("device_count"))]

    def find(self, serial):
        """The device with this serial number, or None."""
        number = self.call("device_find", serial.encode())
        return Device(self, number) if number else None

    def set_restart_limit(self, seconds):
        self.call("set_restart_limit", seconds)

    def start_report(self):
        """Begins scsiExe.txt anew; updates with append=True add to it."""
        self.call("report_start")


class Device:
    """A device of the last scan. Every member of kiv_info is an attribute."""

    def __init__(self, library, number):
        self._kiv, self._number = library, number
        self.info = Info()
        library.call("device_info", number, byref(self.info))

    def __getattr__(self, name):
        return getattr(self.info, name)

    def __repr__(self):
        return f"Device({self.serial or self.path!r}, {self.product!r}, level {self.level!r})"

    @property
    def type(self):
        return DEVICE_TYPES.get(self.info.type, "unknown")

    def plan(self, force=False, eject=False):
        """What update() would do: a Plan, with the verdict as a word. Writes nothing."""
        plan = Plan()
        self._kiv.call("plan", self._number, force * FORCE | eject * EJECT, byref(plan))
        plan.verdict = self._kiv.call("verdict_name", plan.verdict_number)
        return plan

    def update(self, force=False, eject=False, append=False, progress=None):
        """Brings the drive to its configured level: an UpdateResult. progress(Progress) stops it by answering True.

        Raises Error when it fails; its attribute `update` is the UpdateResult then.
        """
        def follow(pointer):
            now = pointer.contents.copy()
            now.phase = self._kiv.call("phase_name", now.phase_number)
            return progress(now)

        result = UpdateResult()
        callback = _Callback(_PROGRESS, follow if progress else lambda _: False)
        flags = force * FORCE | eject * EJECT | append * REPORT_APPEND
        try:
            self._kiv.call("update", self._number, flags, callback.pointer, None, byref(result))
        except Error as error:
            error.update = result
            callback.finish()
            raise
        finally:
            result.phase = self._kiv.call("phase_name", result.phase_number)
            result.verdict = self._kiv.call("verdict_name", result.verdict_number)
        callback.finish()
        return result

    def report(self, result):
        """Tells scsiExe.txt of a device that update() was not called for, with a result code, unless it is told of."""
        entry = ReportEntry()
        entry.result = result
        for name in ("adapter", "bus", "target", "lun"):
            setattr(entry, name, getattr(self.info, name))
        for name in ("product_string", "component", "level"):
            setattr(entry, name, getattr(self.info, name).encode())
        self._kiv.call("report_add", byref(entry))

    def command(self, cdb, length=0, data=b"", seconds=0):
        """One SCSI command: reads `length` bytes, or writes `data`. What was read; Error has the sense data."""
        request = Request()
        request.cdb_length = len(cdb)
        request.cdb[:len(cdb)] = cdb
        request.direction = DATA_OUT if data else DATA_IN if length else DATA_NONE
        request.data_length = len(data) or length
        buffer = ctypes.create_string_buffer(bytes(data), request.data_length) if request.data_length else None
        request.data = ctypes.cast(buffer, c_void_p)
        request.seconds = seconds
        self._kiv.call("command", self._number, byref(request))
        return buffer.raw[:request.transferred] if buffer and not data else b""

    def parameters(self):
        """Of a drive: a dictionary from name to value in words."""
        values = {}

        def take(pointer):
            values[pointer.contents.name] = pointer.contents.text

        callback = _Callback(_PARAMETER, take)
        self._kiv.call("parameters", self._number, callback.pointer, None)
        callback.finish()
        return values

    def set_parameter(self, name, value):
        self._kiv.call("parameter_set", self._number, name.encode(), str(value).encode())

    def elements(self):
        """Of a library: a list of Element."""
        elements = []
        callback = _Callback(_ELEMENT, lambda pointer: elements.append(pointer.contents.copy()))
        self._kiv.call("elements", self._number, callback.pointer, None)
        callback.finish()
        return elements

    def move(self, source, destination, transport=0):
        self._kiv.call("move_medium", self._number, transport, source, destination)

    def load(self):
        self._kiv.call("load", self._number)

    def unload(self):
        self._kiv.call("unload", self._number)
