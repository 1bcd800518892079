// The Windows calls of the library, answered by the current room. What is not for a simulated device goes on
// to the system underneath.
#pragma once

#include <optional>
#include <string>

#include "platform/win32.h"

namespace simulator::calls {

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile);
BOOL closeHandle(HANDLE handle);
BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped);
BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped);
BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped);
DWORD getFileSize(HANDLE file, LPDWORD high);
DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size);
void sleep(DWORD milliseconds);
__time64_t time64(__time64_t* result);

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

/// "SCSI_GET_ADDRESS", or "0x001F6068" for a control code without a name.
std::string controlName(DWORD code);
/// The name by which a fault finds a call or a control request ("0x1f60cc" becomes "0x001F60CC"); none when
/// there is no such call, or none that fails.
std::optional<std::string> nameForFaults(const std::string& name);

}  // namespace simulator::calls
