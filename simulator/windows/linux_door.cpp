#ifndef _WIN32

// The door on Linux: the functions that platform/win32.h declares.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "simulator/recording/recorded_calls.h"
#include "simulator/windows/door.h"

namespace {

thread_local DWORD lastError = 0;

constexpr DWORD errorMessageNotFound = 317;

struct Message {
  DWORD code;
  const char* text;
};
// As English Windows words them.
constexpr Message messages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {13, "The data is invalid."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {22, "The device does not recognize the command."},
    {23, "Data error (cyclic redundancy check)."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {50, "The request is not supported."},
    {87, "The parameter is incorrect."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {170, "The requested resource is in use."},
    {234, "More data is available."},
    {259, "No more data is available."},
    {1100, "The physical end of the tape has been reached."},
    {1101, "A tape access reached a filemark."},
    {1102, "The beginning of the tape or a partition was encountered."},
    {1103, "A tape access reached the end of a set of files."},
    {1104, "No more data is on the tape."},
    {1105, "Tape could not be partitioned."},
    {1106, "When accessing a new tape of a multivolume partition, the current block size is incorrect."},
    {1107, "Tape partition information could not be found when loading a tape."},
    {1110, "The media in the drive may have changed."},
    {1111, "The I/O bus was reset."},
    {1112, "No media in drive."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1167, "The device is not connected."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
};

std::string messageText(DWORD code) {
  for (const Message& message : messages) {
    if (message.code == code) return std::string(message.text) + "\r\n";
  }
  return {};
}

/// Answers a call of the library.
template <auto answer, typename... Arguments>
auto behind(Arguments... arguments) {
  const simulator::BehindDoor here;
  return answer(arguments...);
}

}  // namespace

namespace calls = simulator::recording;

extern "C" {

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                   HANDLE templateFile) {
  return behind<calls::createFile>(name, access, share, security, disposition, flags, templateFile);
}
BOOL CloseHandle(HANDLE handle) { return behind<calls::closeHandle>(handle); }
BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped) {
  return behind<calls::deviceIoControl>(device, code, in, inSize, out, outSize, returned, overlapped);
}
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped) {
  return behind<calls::readFile>(file, buffer, count, read, overlapped);
}
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped) {
  return behind<calls::writeFile>(file, buffer, count, written, overlapped);
}
DWORD GetFileSize(HANDLE file, LPDWORD high) { return behind<calls::getFileSize>(file, high); }
DWORD QueryDosDeviceA(LPCSTR name, LPSTR target, DWORD size) {
  return behind<calls::queryDosDevice>(name, target, size);
}
void Sleep(DWORD milliseconds) { behind<calls::sleep>(milliseconds); }
__time64_t _time64(__time64_t* result) { return behind<calls::time64>(result); }

DWORD EraseTape(HANDLE device, DWORD type, BOOL immediate) {
  return behind<calls::eraseTape>(device, type, immediate);
}
DWORD PrepareTape(HANDLE device, DWORD operation, BOOL immediate) {
  return behind<calls::prepareTape>(device, operation, immediate);
}
DWORD SetTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate) {
  return behind<calls::setTapePosition>(device, method, partition, offsetLow, offsetHigh, immediate);
}
DWORD WriteTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate) {
  return behind<calls::writeTapemark>(device, type, count, immediate);
}
DWORD GetTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information) {
  return behind<calls::getTapeParameters>(device, operation, size, information);
}
DWORD SetTapeParameters(HANDLE device, DWORD operation, LPVOID information) {
  return behind<calls::setTapeParameters>(device, operation, information);
}

HDEVINFO SetupDiGetClassDevsA(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags) {
  return behind<calls::getClassDevs>(interfaceClass, enumerator, parent, flags);
}
BOOL SetupDiEnumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                 DWORD index, SP_DEVICE_INTERFACE_DATA* data) {
  return behind<calls::enumDeviceInterfaces>(set, device, interfaceClass, index, data);
}
BOOL SetupDiGetDeviceInterfaceDetailA(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                                      SP_DEVINFO_DATA* device) {
  return behind<calls::getDeviceInterfaceDetail>(set, data, detail, size, required, device);
}
BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device) {
  return behind<calls::enumDeviceInfo>(set, index, device);
}
BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, PDWORD type,
                                       PBYTE buffer, DWORD size, PDWORD required) {
  return behind<calls::getDeviceRegistryProperty>(set, device, property, type, buffer, size, required);
}
HKEY SetupDiOpenDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile, DWORD keyType,
                          REGSAM access) {
  return behind<calls::openDevRegKey>(set, device, scope, profile, keyType, access);
}
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) { return behind<calls::destroyDeviceInfoList>(set); }
LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  return behind<calls::regQueryValue>(key, name, reserved, type, data, size);
}
LONG RegCloseKey(HKEY key) { return behind<calls::regCloseKey>(key); }

DWORD GetLastError() { return lastError; }
void SetLastError(DWORD error) { lastError = error; }

DWORD FormatMessageA(DWORD flags, LPCVOID, DWORD message, DWORD, LPSTR buffer, DWORD size, void*) {
  const simulator::BehindDoor here;
  const std::string text = messageText(message);
  if (text.empty()) {
    lastError = errorMessageNotFound;
    return 0;
  }
  if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
    auto* allocated = static_cast<char*>(std::malloc(text.size() + 1));
    if (!allocated) {
      lastError = ERROR_NOT_ENOUGH_MEMORY;
      return 0;
    }
    // With this flag the buffer argument is where the pointer goes.
    std::memcpy(buffer, &allocated, sizeof allocated);
    buffer = allocated;
  } else if (text.size() + 1 > size) {
    lastError = ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return static_cast<DWORD>(text.size());
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}

char* _ctime64(const __time64_t* time) {
  const std::time_t seconds = *time;
  return std::ctime(&seconds);
}

char* _getcwd(char* buffer, int size) { return getcwd(buffer, static_cast<std::size_t>(size)); }

}  // extern "C"

#endif
