#ifdef _WIN32

#include <chrono>

#include "simulator/windows/real_system.h"

namespace simulator::real {

HANDLE createFile(LPCSTR name, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                  HANDLE templateFile) {
  return CreateFileA(name, access, share, static_cast<LPSECURITY_ATTRIBUTES>(security), disposition, flags,
                     templateFile);
}
BOOL closeHandle(HANDLE handle) { return CloseHandle(handle); }
BOOL readFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, void* overlapped) {
  return ReadFile(file, buffer, count, read, static_cast<LPOVERLAPPED>(overlapped));
}
BOOL writeFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD written, void* overlapped) {
  return WriteFile(file, buffer, count, written, static_cast<LPOVERLAPPED>(overlapped));
}
DWORD getFileSize(HANDLE file, LPDWORD high) { return GetFileSize(file, high); }
BOOL deviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                     LPDWORD returned, void* overlapped) {
  return DeviceIoControl(device, code, in, inSize, out, outSize, returned,
                         static_cast<LPOVERLAPPED>(overlapped));
}
DWORD queryDosDevice(LPCSTR name, LPSTR target, DWORD size) { return QueryDosDeviceA(name, target, size); }
void sleep(DWORD milliseconds) { Sleep(milliseconds); }
__time64_t time64(__time64_t* result) { return _time64(result); }
std::int64_t milliseconds() {
  using namespace std::chrono;
  return duration_cast<std::chrono::milliseconds>(system_clock::now().time_since_epoch()).count();
}

DWORD eraseTape(HANDLE device, DWORD type, BOOL immediate) { return EraseTape(device, type, immediate); }
DWORD prepareTape(HANDLE device, DWORD operation, BOOL immediate) {
  return PrepareTape(device, operation, immediate);
}
DWORD setTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate) {
  return SetTapePosition(device, method, partition, offsetLow, offsetHigh, immediate);
}
DWORD writeTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate) {
  return WriteTapemark(device, type, count, immediate);
}
DWORD getTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information) {
  return GetTapeParameters(device, operation, size, information);
}
DWORD setTapeParameters(HANDLE device, DWORD operation, LPVOID information) {
  return SetTapeParameters(device, operation, information);
}

HDEVINFO getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags) {
  return SetupDiGetClassDevsA(interfaceClass, enumerator, parent, flags);
}
BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                          SP_DEVICE_INTERFACE_DATA* data) {
  return SetupDiEnumDeviceInterfaces(set, device, interfaceClass, index, data);
}
BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                              SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                              SP_DEVINFO_DATA* device) {
  return SetupDiGetDeviceInterfaceDetailA(set, data, detail, size, required, device);
}
BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device) {
  return SetupDiEnumDeviceInfo(set, index, device);
}
BOOL getDeviceRegistryProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, PDWORD type,
                               PBYTE buffer, DWORD size, PDWORD required) {
  return SetupDiGetDeviceRegistryPropertyA(set, device, property, type, buffer, size, required);
}
HKEY openDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile, DWORD keyType,
                   REGSAM access) {
  return SetupDiOpenDevRegKey(set, device, scope, profile, keyType, access);
}
BOOL destroyDeviceInfoList(HDEVINFO set) { return SetupDiDestroyDeviceInfoList(set); }
LONG regQueryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  return RegQueryValueExA(key, name, reserved, type, data, size);
}
LONG regCloseKey(HKEY key) { return RegCloseKey(key); }

}  // namespace simulator::real

#endif
