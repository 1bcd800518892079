// The setup API and the registry, found by their first use instead of imported: to load their libraries takes
// longer than all else of loading this one, and only the open of a device asks them.
#ifdef _WIN32

#include <atomic>

#include "platform/win32.h"

namespace {

struct Library {
  const char* name;
  std::atomic<HMODULE> loaded{};
};
Library setupApi{"setupapi.dll"};
Library registry{"advapi32.dll"};

/// Calls the function of this name; where there is none the call fails.
template <typename Result, typename... Arguments>
Result call(Library& library, const char* name, Result failure, Arguments... arguments) {
  using Function = Result(WINAPI*)(Arguments...);
  if (library.loaded == nullptr) library.loaded = LoadLibraryA(library.name);
  if (library.loaded == nullptr) return failure;
  const FARPROC found = GetProcAddress(library.loaded, name);
  if (found == nullptr) return failure;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(found))(arguments...);
}

}  // namespace

HDEVINFO WINAPI SetupDiGetClassDevsA(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags) {
  return call<HDEVINFO>(setupApi, "SetupDiGetClassDevsA", INVALID_HANDLE_VALUE, interfaceClass, enumerator,
                        parent, flags);
}
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  return call(setupApi, "SetupDiDestroyDeviceInfoList", FALSE, set);
}
BOOL WINAPI SetupDiEnumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                        DWORD index, SP_DEVICE_INTERFACE_DATA* data) {
  return call(setupApi, "SetupDiEnumDeviceInterfaces", FALSE, set, device, interfaceClass, index, data);
}
BOOL WINAPI SetupDiGetDeviceInterfaceDetailA(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                             SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size,
                                             PDWORD required, SP_DEVINFO_DATA* device) {
  return call(setupApi, "SetupDiGetDeviceInterfaceDetailA", FALSE, set, data, detail, size, required, device);
}
BOOL WINAPI SetupDiGetDeviceRegistryPropertyA(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property,
                                              PDWORD type, PBYTE buffer, DWORD size, PDWORD required) {
  return call(setupApi, "SetupDiGetDeviceRegistryPropertyA", FALSE, set, device, property, type, buffer, size,
              required);
}
HKEY WINAPI SetupDiOpenDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile,
                                 DWORD keyType, REGSAM access) {
  return call(setupApi, "SetupDiOpenDevRegKey", static_cast<HKEY>(INVALID_HANDLE_VALUE), set, device, scope,
              profile, keyType, access);
}

LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size) {
  return call<LONG>(registry, "RegQueryValueExA", ERROR_PROC_NOT_FOUND, key, name, reserved, type, data,
                    size);
}
LONG WINAPI RegCloseKey(HKEY key) { return call<LONG>(registry, "RegCloseKey", ERROR_PROC_NOT_FOUND, key); }

#endif
