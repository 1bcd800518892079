// The part of the Windows API that the library uses.
//
// On Windows these are Windows' own headers. Elsewhere the same names are declared here, with the same sizes
// and layouts, and the simulator implements the calls: Windows itself is the seam at which the library is
// tested.
#pragma once

#ifdef _WIN32

#include <windows.h>
// windows.h comes first: the others do not include it.
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <ntddscsi.h>
#include <setupapi.h>
#include <time.h>
#include <winioctl.h>

#else

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using BOOLEAN = std::uint8_t;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using UINT = std::uint32_t;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONG_PTR = std::uintptr_t;
using HANDLE = void*;
using HLOCAL = void*;
using HWND = void*;
using HDEVINFO = void*;
using HKEY = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPSTR = char*;
using PSTR = char*;
using PCSTR = const char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using PBYTE = BYTE*;
using REGSAM = DWORD;
using __time64_t = std::int64_t;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr std::size_t MAX_PATH = 260;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

typedef struct _GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
} GUID;

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};

// Files and errors

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1;
constexpr DWORD MOVEFILE_WRITE_THROUGH = 8;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD NO_ERROR = 0;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_NOT_READY = 21;
constexpr DWORD ERROR_BAD_COMMAND = 22;
constexpr DWORD ERROR_CRC = 23;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_SEM_TIMEOUT = 121;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_BUSY = 170;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
constexpr DWORD ERROR_END_OF_MEDIA = 1100;
constexpr DWORD ERROR_FILEMARK_DETECTED = 1101;
constexpr DWORD ERROR_BEGINNING_OF_MEDIA = 1102;
constexpr DWORD ERROR_SETMARK_DETECTED = 1103;
constexpr DWORD ERROR_NO_DATA_DETECTED = 1104;
constexpr DWORD ERROR_PARTITION_FAILURE = 1105;
constexpr DWORD ERROR_INVALID_BLOCK_LENGTH = 1106;
constexpr DWORD ERROR_DEVICE_NOT_PARTITIONED = 1107;
constexpr DWORD ERROR_UNABLE_TO_LOCK_MEDIA = 1108;
constexpr DWORD ERROR_UNABLE_TO_UNLOAD_MEDIA = 1109;
constexpr DWORD ERROR_MEDIA_CHANGED = 1110;
constexpr DWORD ERROR_BUS_RESET = 1111;
constexpr DWORD ERROR_NO_MEDIA_IN_DRIVE = 1112;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_SOURCE_ELEMENT_EMPTY = 1160;
constexpr DWORD ERROR_DESTINATION_ELEMENT_FULL = 1161;
constexpr DWORD ERROR_ILLEGAL_ELEMENT_ADDRESS = 1162;
constexpr DWORD ERROR_MAGAZINE_NOT_PRESENT = 1163;

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
constexpr DWORD MAKELANGID(DWORD primary, DWORD sub) { return (sub << 10) | primary; }
constexpr DWORD LANG_NEUTRAL = 0;
constexpr DWORD SUBLANG_DEFAULT = 1;

constexpr DWORD CTL_CODE(DWORD device, DWORD function, DWORD method, DWORD access) {
  return (device << 16) | (access << 14) | (function << 2) | method;
}
constexpr DWORD METHOD_BUFFERED = 0;
constexpr DWORD FILE_ANY_ACCESS = 0;
constexpr DWORD FILE_READ_ACCESS = 1;
constexpr DWORD FILE_WRITE_ACCESS = 2;
constexpr DWORD FILE_DEVICE_CONTROLLER = 0x04;
constexpr DWORD FILE_DEVICE_TAPE = 0x1F;
constexpr DWORD FILE_DEVICE_MASS_STORAGE = 0x2D;
constexpr DWORD FILE_DEVICE_CHANGER = 0x30;

// SCSI port driver (ntddscsi.h, ntddstor.h)

constexpr DWORD IOCTL_SCSI_GET_INQUIRY_DATA =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0403, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_GET_CAPABILITIES =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0404, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_PASS_THROUGH_DIRECT =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0405, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
constexpr DWORD IOCTL_SCSI_GET_ADDRESS =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0406, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_RESCAN_BUS =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0407, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_STORAGE_QUERY_PROPERTY =
    CTL_CODE(FILE_DEVICE_MASS_STORAGE, 0x0500, METHOD_BUFFERED, FILE_ANY_ACCESS);

constexpr UCHAR SCSI_IOCTL_DATA_OUT = 0;
constexpr UCHAR SCSI_IOCTL_DATA_IN = 1;
constexpr UCHAR SCSI_IOCTL_DATA_UNSPECIFIED = 2;

struct SCSI_PASS_THROUGH_DIRECT {
  USHORT Length;
  UCHAR ScsiStatus;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  UCHAR CdbLength;
  UCHAR SenseInfoLength;
  UCHAR DataIn;
  ULONG DataTransferLength;
  ULONG TimeOutValue;
  PVOID DataBuffer;
  ULONG SenseInfoOffset;
  UCHAR Cdb[16];
};

struct SCSI_BUS_DATA {
  UCHAR NumberOfLogicalUnits;
  UCHAR InitiatorBusId;
  ULONG InquiryDataOffset;
};

struct SCSI_ADAPTER_BUS_INFO {
  UCHAR NumberOfBuses;
  SCSI_BUS_DATA BusData[1];
};

struct SCSI_INQUIRY_DATA {
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  BOOLEAN DeviceClaimed;
  ULONG InquiryDataLength;
  ULONG NextInquiryDataOffset;
  UCHAR InquiryData[1];
};

struct SCSI_ADDRESS {
  ULONG Length;
  UCHAR PortNumber;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
};

struct IO_SCSI_CAPABILITIES {
  ULONG Length;
  ULONG MaximumTransferLength;
  ULONG MaximumPhysicalPages;
  ULONG SupportedAsynchronousEvents;
  ULONG AlignmentMask;
  BOOLEAN TaggedQueuing;
  BOOLEAN AdapterScansDown;
  BOOLEAN AdapterUsesPio;
};

enum STORAGE_PROPERTY_ID : int { StorageDeviceProperty = 0, StorageAdapterProperty = 1 };
enum STORAGE_QUERY_TYPE : int { PropertyStandardQuery = 0, PropertyExistsQuery = 1 };

struct STORAGE_PROPERTY_QUERY {
  STORAGE_PROPERTY_ID PropertyId;
  STORAGE_QUERY_TYPE QueryType;
  BYTE AdditionalParameters[1];
};

struct STORAGE_ADAPTER_DESCRIPTOR {
  DWORD Version;
  DWORD Size;
  DWORD MaximumTransferLength;
  DWORD MaximumPhysicalPages;
  DWORD AlignmentMask;
  BOOLEAN AdapterUsesPio;
  BOOLEAN AdapterScansDown;
  BOOLEAN CommandQueueing;
  BOOLEAN AcceleratedTransfer;
  BYTE BusType;
  WORD BusMajorVersion;
  WORD BusMinorVersion;
};

// Tape interface (winnt.h)

constexpr DWORD TAPE_LOAD = 0;
constexpr DWORD TAPE_UNLOAD = 1;
constexpr DWORD TAPE_TENSION = 2;
constexpr DWORD TAPE_LOCK = 3;
constexpr DWORD TAPE_UNLOCK = 4;
constexpr DWORD TAPE_FORMAT = 5;
constexpr DWORD TAPE_REWIND = 0;
constexpr DWORD TAPE_ABSOLUTE_BLOCK = 1;
constexpr DWORD TAPE_LOGICAL_BLOCK = 2;
constexpr DWORD TAPE_SPACE_END_OF_DATA = 4;
constexpr DWORD TAPE_SPACE_RELATIVE_BLOCKS = 5;
constexpr DWORD TAPE_SPACE_FILEMARKS = 6;
constexpr DWORD TAPE_SPACE_SEQUENTIAL_FMKS = 7;
constexpr DWORD TAPE_FILEMARKS = 1;
constexpr DWORD TAPE_ERASE_SHORT = 0;
constexpr DWORD TAPE_ERASE_LONG = 1;
constexpr DWORD GET_TAPE_MEDIA_INFORMATION = 0;
constexpr DWORD GET_TAPE_DRIVE_INFORMATION = 1;
constexpr DWORD SET_TAPE_MEDIA_INFORMATION = 0;
constexpr DWORD SET_TAPE_DRIVE_INFORMATION = 1;

struct TAPE_GET_DRIVE_PARAMETERS {
  BOOLEAN ECC;
  BOOLEAN Compression;
  BOOLEAN DataPadding;
  BOOLEAN ReportSetmarks;
  DWORD DefaultBlockSize;
  DWORD MaximumBlockSize;
  DWORD MinimumBlockSize;
  DWORD MaximumPartitionCount;
  DWORD FeaturesLow;
  DWORD FeaturesHigh;
  DWORD EOTWarningZoneSize;
};

struct TAPE_SET_DRIVE_PARAMETERS {
  BOOLEAN ECC;
  BOOLEAN Compression;
  BOOLEAN DataPadding;
  BOOLEAN ReportSetmarks;
  DWORD EOTWarningZoneSize;
};

struct TAPE_GET_MEDIA_PARAMETERS {
  LARGE_INTEGER Capacity;
  LARGE_INTEGER Remaining;
  DWORD BlockSize;
  DWORD PartitionCount;
  BOOLEAN WriteProtected;
};

struct TAPE_SET_MEDIA_PARAMETERS {
  DWORD BlockSize;
};

// Changer interface (ntddchgr.h, winioctl.h)

constexpr DWORD IOCTL_CHANGER_GET_PARAMETERS =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x00, METHOD_BUFFERED, FILE_READ_ACCESS);
constexpr DWORD IOCTL_CHANGER_SET_ACCESS =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x04, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
constexpr DWORD IOCTL_CHANGER_GET_ELEMENT_STATUS =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x05, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
constexpr DWORD IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x06, METHOD_BUFFERED, FILE_READ_ACCESS);
constexpr DWORD IOCTL_CHANGER_SET_POSITION =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x07, METHOD_BUFFERED, FILE_READ_ACCESS);
constexpr DWORD IOCTL_CHANGER_EXCHANGE_MEDIUM =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x08, METHOD_BUFFERED, FILE_READ_ACCESS);
constexpr DWORD IOCTL_CHANGER_MOVE_MEDIUM =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x09, METHOD_BUFFERED, FILE_READ_ACCESS);

constexpr DWORD CHANGER_BAR_CODE_SCANNER_INSTALLED = 0x01;
constexpr DWORD CHANGER_INIT_ELEM_STAT_WITH_RANGE = 0x02;
constexpr DWORD CHANGER_CLOSE_IEPORT = 0x04;
constexpr DWORD CHANGER_OPEN_IEPORT = 0x08;
constexpr DWORD CHANGER_STATUS_NON_VOLATILE = 0x10;
constexpr DWORD CHANGER_EXCHANGE_MEDIA = 0x20;
constexpr DWORD CHANGER_LOCK_UNLOCK = 0x80;
constexpr DWORD CHANGER_POSITION_TO_ELEMENT = 0x400;
constexpr BYTE LOCK_UNLOCK_IEPORT = 0x01;
constexpr BYTE LOCK_UNLOCK_DOOR = 0x02;
constexpr DWORD LOCK_ELEMENT = 0;
constexpr DWORD UNLOCK_ELEMENT = 1;
constexpr DWORD EXTEND_IEPORT = 2;
constexpr DWORD RETRACT_IEPORT = 3;
constexpr DWORD ELEMENT_STATUS_FULL = 0x00000001;
constexpr DWORD ELEMENT_STATUS_IMPEXP = 0x00000002;
constexpr DWORD ELEMENT_STATUS_EXCEPT = 0x00000004;
constexpr DWORD ELEMENT_STATUS_ACCESS = 0x00000008;
constexpr DWORD ELEMENT_STATUS_EXENAB = 0x00000010;
constexpr DWORD ELEMENT_STATUS_INENAB = 0x00000020;
constexpr DWORD ELEMENT_STATUS_PRODUCT_DATA = 0x00000040;
constexpr DWORD ELEMENT_STATUS_LUN_VALID = 0x00001000;
constexpr DWORD ELEMENT_STATUS_ID_VALID = 0x00002000;
constexpr DWORD ELEMENT_STATUS_NOT_BUS = 0x00008000;
constexpr DWORD ELEMENT_STATUS_INVERT = 0x00400000;
constexpr DWORD ELEMENT_STATUS_SVALID = 0x00800000;
constexpr DWORD ELEMENT_STATUS_PVOLTAG = 0x10000000;
constexpr DWORD ERROR_LABEL_UNREADABLE = 0x01;
constexpr DWORD ERROR_DRIVE_NOT_INSTALLED = 0x08;
constexpr DWORD ERROR_UNHANDLED_ERROR = 0xFFFFFFFF;
constexpr std::size_t MAX_VOLUME_ID_SIZE = 36;
constexpr std::size_t VENDOR_ID_LENGTH = 8;
constexpr std::size_t PRODUCT_ID_LENGTH = 16;
constexpr std::size_t SERIAL_NUMBER_LENGTH = 32;

typedef enum _ELEMENT_TYPE {
  AllElements = 0,
  ChangerTransport,
  ChangerSlot,
  ChangerIEPort,
  ChangerDrive,
  ChangerDoor,
  ChangerKeypad,
  ChangerMaxElement
} ELEMENT_TYPE;

typedef struct _CHANGER_ELEMENT {
  ELEMENT_TYPE ElementType;
  DWORD ElementAddress;
} CHANGER_ELEMENT;

struct CHANGER_ELEMENT_LIST {
  CHANGER_ELEMENT Element;
  DWORD NumberOfElements;
};

typedef struct _GET_CHANGER_PARAMETERS {
  DWORD Size;
  WORD NumberTransportElements;
  WORD NumberStorageElements;
  WORD NumberCleanerSlots;
  WORD NumberIEElements;
  WORD NumberDataTransferElements;
  WORD NumberOfDoors;
  WORD FirstSlotNumber;
  WORD FirstDriveNumber;
  WORD FirstTransportNumber;
  WORD FirstIEPortNumber;
  WORD FirstCleanerSlotAddress;
  WORD MagazineSize;
  DWORD DriveCleanTimeout;
  DWORD Features0;
  DWORD Features1;
  BYTE MoveFromTransport;
  BYTE MoveFromSlot;
  BYTE MoveFromIePort;
  BYTE MoveFromDrive;
  BYTE ExchangeFromTransport;
  BYTE ExchangeFromSlot;
  BYTE ExchangeFromIePort;
  BYTE ExchangeFromDrive;
  BYTE LockUnlockCapabilities;
  BYTE PositionCapabilities;
  BYTE Reserved1[2];
  DWORD Reserved2[2];
} GET_CHANGER_PARAMETERS;

struct CHANGER_SET_ACCESS {
  CHANGER_ELEMENT Element;
  DWORD Control;
};

struct CHANGER_READ_ELEMENT_STATUS {
  CHANGER_ELEMENT_LIST ElementList;
  BOOLEAN VolumeTagInfo;
};

typedef struct _CHANGER_ELEMENT_STATUS {
  CHANGER_ELEMENT Element;
  CHANGER_ELEMENT SrcElementAddress;
  DWORD Flags;
  DWORD ExceptionCode;
  BYTE TargetId;
  BYTE Lun;
  WORD Reserved;
  BYTE PrimaryVolumeID[MAX_VOLUME_ID_SIZE];
  BYTE AlternateVolumeID[MAX_VOLUME_ID_SIZE];
} CHANGER_ELEMENT_STATUS;

typedef struct _CHANGER_ELEMENT_STATUS_EX {
  CHANGER_ELEMENT Element;
  CHANGER_ELEMENT SrcElementAddress;
  DWORD Flags;
  DWORD ExceptionCode;
  BYTE TargetId;
  BYTE Lun;
  WORD Reserved;
  BYTE PrimaryVolumeID[MAX_VOLUME_ID_SIZE];
  BYTE AlternateVolumeID[MAX_VOLUME_ID_SIZE];
  BYTE VendorIdentification[VENDOR_ID_LENGTH];
  BYTE ProductIdentification[PRODUCT_ID_LENGTH];
  BYTE SerialNumber[SERIAL_NUMBER_LENGTH];
} CHANGER_ELEMENT_STATUS_EX;

struct CHANGER_INITIALIZE_ELEMENT_STATUS {
  CHANGER_ELEMENT_LIST ElementList;
  BOOLEAN BarCodeScan;
};

struct CHANGER_SET_POSITION {
  CHANGER_ELEMENT Transport;
  CHANGER_ELEMENT Destination;
  BOOLEAN Flip;
};

struct CHANGER_EXCHANGE_MEDIUM {
  CHANGER_ELEMENT Transport;
  CHANGER_ELEMENT Source;
  CHANGER_ELEMENT Destination1;
  CHANGER_ELEMENT Destination2;
  BOOLEAN Flip1;
  BOOLEAN Flip2;
};

struct CHANGER_MOVE_MEDIUM {
  CHANGER_ELEMENT Transport;
  CHANGER_ELEMENT Source;
  CHANGER_ELEMENT Destination;
  BOOLEAN Flip;
};

// Device installation and registry

constexpr DWORD DIGCF_PRESENT = 0x02;
constexpr DWORD DIGCF_DEVICEINTERFACE = 0x10;
constexpr DWORD SPDRP_DEVICEDESC = 0x00;
constexpr DWORD SPDRP_HARDWAREID = 0x01;
constexpr DWORD SPDRP_SERVICE = 0x04;
constexpr DWORD SPDRP_DRIVER = 0x09;
constexpr DWORD SPDRP_MFG = 0x0B;
constexpr DWORD SPDRP_FRIENDLYNAME = 0x0C;
constexpr DWORD SPDRP_LOCATION_INFORMATION = 0x0D;
constexpr DWORD DICS_FLAG_GLOBAL = 1;
constexpr DWORD DIREG_DRV = 2;
constexpr REGSAM KEY_READ = 0x20019;
constexpr DWORD REG_SZ = 1;

typedef struct _SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
} SP_DEVINFO_DATA;

struct SP_DEVICE_INTERFACE_DATA {
  DWORD cbSize;
  GUID InterfaceClassGuid;
  DWORD Flags;
  ULONG_PTR Reserved;
};

struct SP_DEVICE_INTERFACE_DETAIL_DATA_A {
  DWORD cbSize;
  CHAR DevicePath[1];
};

extern "C" {
HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                   HANDLE templateFile);
BOOL CloseHandle(HANDLE handle);
BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped);
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped);
DWORD GetFileSize(HANDLE file, LPDWORD high);
DWORD GetFileAttributesA(LPCSTR name);
BOOL MoveFileExA(LPCSTR name, LPCSTR newName, DWORD flags);
DWORD GetLastError();
void SetLastError(DWORD error);
DWORD FormatMessageA(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPSTR buffer, DWORD size,
                     void* arguments);
HLOCAL LocalFree(HLOCAL memory);
DWORD QueryDosDeviceA(LPCSTR name, LPSTR target, DWORD size);
void Sleep(DWORD milliseconds);

DWORD EraseTape(HANDLE device, DWORD type, BOOL immediate);
DWORD PrepareTape(HANDLE device, DWORD operation, BOOL immediate);
DWORD SetTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate);
DWORD WriteTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate);
DWORD GetTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information);
DWORD SetTapeParameters(HANDLE device, DWORD operation, LPVOID information);

HDEVINFO SetupDiGetClassDevsA(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags);
BOOL SetupDiEnumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                 DWORD index, SP_DEVICE_INTERFACE_DATA* data);
BOOL SetupDiGetDeviceInterfaceDetailA(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                                      SP_DEVINFO_DATA* device);
BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device);
BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, PDWORD type,
                                       PBYTE buffer, DWORD size, PDWORD required);
HKEY SetupDiOpenDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile, DWORD keyType,
                          REGSAM access);
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set);
LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LONG RegCloseKey(HKEY key);

__time64_t _time64(__time64_t* result);
char* _ctime64(const __time64_t* time);
char* _getcwd(char* buffer, int size);
}

#endif

static_assert(sizeof(SCSI_PASS_THROUGH_DIRECT) == 56);
static_assert(sizeof(SCSI_ADDRESS) == 8);
static_assert(sizeof(SCSI_BUS_DATA) == 8);
static_assert(offsetof(SCSI_ADAPTER_BUS_INFO, BusData) == 4);
static_assert(offsetof(SCSI_INQUIRY_DATA, InquiryData) == 12);
static_assert(sizeof(IO_SCSI_CAPABILITIES) == 24);
static_assert(sizeof(STORAGE_ADAPTER_DESCRIPTOR) == 32);
static_assert(sizeof(GET_CHANGER_PARAMETERS) == 60);
static_assert(sizeof(CHANGER_SET_POSITION) == 20);
static_assert(sizeof(CHANGER_INITIALIZE_ELEMENT_STATUS) == 16);
static_assert(sizeof(CHANGER_ELEMENT_STATUS) == 100);
static_assert(sizeof(CHANGER_ELEMENT_STATUS_EX) == 156);
static_assert(IOCTL_SCSI_GET_INQUIRY_DATA == 0x0004100C);
static_assert(IOCTL_SCSI_PASS_THROUGH_DIRECT == 0x0004D014);
static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x002D1400);
static_assert(IOCTL_CHANGER_GET_PARAMETERS == 0x00304000);
static_assert(IOCTL_CHANGER_GET_ELEMENT_STATUS == 0x0030C014);
