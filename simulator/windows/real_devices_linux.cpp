#ifndef _WIN32

// No tapes, no setup API and no registry.
#include "simulator/windows/real_system.h"

namespace simulator::real {

static BOOL refuse() {
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

DWORD eraseTape(HANDLE, DWORD, BOOL) { return ERROR_INVALID_HANDLE; }
DWORD prepareTape(HANDLE, DWORD, BOOL) { return ERROR_INVALID_HANDLE; }
DWORD setTapePosition(HANDLE, DWORD, DWORD, DWORD, DWORD, BOOL) { return ERROR_INVALID_HANDLE; }
DWORD writeTapemark(HANDLE, DWORD, DWORD, BOOL) { return ERROR_INVALID_HANDLE; }
DWORD getTapeParameters(HANDLE, DWORD, LPDWORD, LPVOID) { return ERROR_INVALID_HANDLE; }
DWORD setTapeParameters(HANDLE, DWORD, LPVOID) { return ERROR_INVALID_HANDLE; }

HDEVINFO getClassDevs(const GUID*, PCSTR, HWND, DWORD) {
  refuse();
  return INVALID_HANDLE_VALUE;
}
BOOL enumDeviceInterfaces(HDEVINFO, SP_DEVINFO_DATA*, const GUID*, DWORD, SP_DEVICE_INTERFACE_DATA*) {
  return refuse();
}
BOOL getDeviceInterfaceDetail(HDEVINFO, SP_DEVICE_INTERFACE_DATA*, SP_DEVICE_INTERFACE_DETAIL_DATA_A*, DWORD,
                              PDWORD, SP_DEVINFO_DATA*) {
  return refuse();
}
BOOL enumDeviceInfo(HDEVINFO, DWORD, SP_DEVINFO_DATA*) { return refuse(); }
BOOL getDeviceRegistryProperty(HDEVINFO, SP_DEVINFO_DATA*, DWORD, PDWORD, PBYTE, DWORD, PDWORD) {
  return refuse();
}
HKEY openDevRegKey(HDEVINFO, SP_DEVINFO_DATA*, DWORD, DWORD, DWORD, REGSAM) {
  refuse();
  return INVALID_HANDLE_VALUE;
}
BOOL destroyDeviceInfoList(HDEVINFO) { return refuse(); }
LONG regQueryValue(HKEY, LPCSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) { return ERROR_INVALID_HANDLE; }
LONG regCloseKey(HKEY) { return ERROR_INVALID_HANDLE; }

}  // namespace simulator::real

#endif
