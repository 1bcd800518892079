// Device installation and registry.
#pragma once

#include "platform/win32/types.h"

constexpr DWORD DIGCF_PRESENT = 0x02;
constexpr DWORD DIGCF_DEVICEINTERFACE = 0x10;
constexpr DWORD SPDRP_DEVICEDESC = 0x00;
constexpr DWORD SPDRP_SERVICE = 0x04;
constexpr DWORD SPDRP_DRIVER = 0x09;
constexpr DWORD SPDRP_MFG = 0x0B;
constexpr DWORD SPDRP_FRIENDLYNAME = 0x0C;
constexpr DWORD SPDRP_LOCATION_INFORMATION = 0x0D;
constexpr DWORD DICS_FLAG_GLOBAL = 1;
constexpr DWORD DIREG_DRV = 2;
constexpr REGSAM KEY_READ = 0x20019;
constexpr DWORD REG_SZ = 1;
constexpr DWORD ERROR_NO_SUCH_DEVINST = 0xE000020B;

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
}
