// Files, devices, errors and time.
#pragma once

#include "platform/win32/types.h"

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
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_DATA = 13;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_NOT_READY = 21;
constexpr DWORD ERROR_CRC = 23;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_SEM_TIMEOUT = 121;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_BUSY = 170;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
constexpr DWORD ERROR_END_OF_MEDIA = 1100;
constexpr DWORD ERROR_FILEMARK_DETECTED = 1101;
constexpr DWORD ERROR_BEGINNING_OF_MEDIA = 1102;
constexpr DWORD ERROR_NO_DATA_DETECTED = 1104;
constexpr DWORD ERROR_INVALID_BLOCK_LENGTH = 1106;
constexpr DWORD ERROR_UNABLE_TO_UNLOAD_MEDIA = 1109;
constexpr DWORD ERROR_MEDIA_CHANGED = 1110;
constexpr DWORD ERROR_BUS_RESET = 1111;
constexpr DWORD ERROR_NO_MEDIA_IN_DRIVE = 1112;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_SOURCE_ELEMENT_EMPTY = 1160;
constexpr DWORD ERROR_DESTINATION_ELEMENT_FULL = 1161;
constexpr DWORD ERROR_ILLEGAL_ELEMENT_ADDRESS = 1162;
constexpr DWORD ERROR_MAGAZINE_NOT_PRESENT = 1163;
constexpr DWORD ERROR_INVALID_USER_BUFFER = 1784;

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

__time64_t _time64(__time64_t* result);
char* _ctime64(const __time64_t* time);
char* _getcwd(char* buffer, int size);
}
