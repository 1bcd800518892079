// The system underneath, for calls that are not for a simulated device: Windows itself, or on Linux files
// that behave like Windows' files, on a machine without devices. A program that brings all these functions
// along puts another system there.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace simulator::real {

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile);
BOOL closeHandle(HANDLE handle);
BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped);
BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped);
DWORD getFileSize(HANDLE file, LPDWORD high);
BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped);
DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size);
void sleep(DWORD milliseconds);
__time64_t time64(__time64_t* result);
/// Milliseconds since 1970, by the clock of time64.
std::int64_t milliseconds();

DWORD eraseTape(HANDLE device, DWORD type, BOOL immediate);
DWORD prepareTape(HANDLE device, DWORD operation, BOOL immediate);
DWORD setTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate);
DWORD writeTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate);
DWORD getTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information);
DWORD setTapeParameters(HANDLE device, DWORD operation, LPVOID information);

HDEVINFO getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags);
BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                          SP_DEVICE_INTERFACE_DATA* data);
BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                              SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                              SP_DEVINFO_DATA* device);
BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device);
BOOL getDeviceRegistryProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, PDWORD type,
                               PBYTE buffer, DWORD size, PDWORD required);
HKEY openDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile, DWORD keyType,
                   REGSAM access);
BOOL destroyDeviceInfoList(HDEVINFO set);
LONG regQueryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LONG regCloseKey(HKEY key);

}  // namespace simulator::real
