// The setup API and the registry. What Windows keeps in fields that it reserves is left out: it is of no
// meaning outside the run that it was made in.
#include "simulator/devices/scsi.h"
#include "simulator/recording/converse.h"
#include "simulator/recording/recorded_calls.h"

namespace simulator::recording {
namespace {

void guid(Answer& answer, GUID& value) {
  answer.bytes("class", {reinterpret_cast<std::uint8_t*>(&value), sizeof value}, sizeof value);
}

void device(Answer& answer, SP_DEVINFO_DATA* data) {
  if (!data) return;
  guid(answer, data->ClassGuid);
  answer.number("device", data->DevInst);
}

}  // namespace

HDEVINFO getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags) {
  const auto behind = [&] { return calls::getClassDevs(interfaceClass, enumerator, parent, flags); };
  Transcript* transcript = Transcript::current();
  if (!transcript) return behind();
  HANDLE set = INVALID_HANDLE_VALUE;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(interfaceClass);
  const bool held = transcript->hold(
      "SetupDiGetClassDevsA",
      {{"class", toHex({bytes, bytes ? sizeof *interfaceClass : 0})}, {"flags", flags}},
      [&] { set = behind(); }, [&](Answer& answer) { transcript->opened(answer, "handle", set); });
  return held ? set : INVALID_HANDLE_VALUE;
}

BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* of, const GUID* interfaceClass, DWORD index,
                          SP_DEVICE_INTERFACE_DATA* data) {
  return converse(
      "SetupDiEnumDeviceInterfaces", set, FALSE,
      [&]() -> Json {
        return {{"index", index}, {"cbSize", data->cbSize}};
      },
      [&] { return calls::enumDeviceInterfaces(set, of, interfaceClass, index, data); },
      [&](Answer& answer, bool failed) {
        if (failed) return;
        guid(answer, data->InterfaceClassGuid);
        answer.number("flags", data->Flags);
      });
}

BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                              SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                              SP_DEVINFO_DATA* of) {
  constexpr DWORD head = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
  const DWORD room = detail && size > head ? size - head : 0;
  return converse(
      "SetupDiGetDeviceInterfaceDetailA", set, FALSE,
      [&]() -> Json {
        return {{"cbSize", detail ? detail->cbSize : 0}, {"room", room}};
      },
      [&] { return calls::getDeviceInterfaceDetail(set, data, detail, size, required, of); },
      [&](Answer& answer, bool failed) {
        answer.wanted("required", required);
        if (failed) return;
        answer.text("path", {detail ? detail->DevicePath : nullptr, room}, room);
        device(answer, of);
      });
}

BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) {
  return converse(
      "SetupDiEnumDeviceInfo", set, FALSE,
      [&]() -> Json {
        return {{"index", index}, {"cbSize", data->cbSize}};
      },
      [&] { return calls::enumDeviceInfo(set, index, data); },
      [&](Answer& answer, bool failed) {
        if (!failed) device(answer, data);
      });
}

BOOL getDeviceRegistryProperty(HDEVINFO set, SP_DEVINFO_DATA* of, DWORD property, PDWORD type, PBYTE data,
                               DWORD size, PDWORD required) {
  const DWORD room = data ? size : 0;
  return converse(
      "SetupDiGetDeviceRegistryPropertyA", set, FALSE,
      [&]() -> Json {
        return {{"device", of ? of->DevInst : 0}, {"property", property}, {"room", room}};
      },
      [&] { return calls::getDeviceRegistryProperty(set, of, property, type, data, size, required); },
      [&](Answer& answer, bool failed) {
        answer.wanted("required", required);
        if (failed) return;
        answer.wanted("type", type);
        answer.text("text", {reinterpret_cast<char*>(data), room}, required ? *required : room);
      });
}

HKEY openDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* of, DWORD scope, DWORD profile, DWORD keyType,
                   REGSAM access) {
  HANDLE key = INVALID_HANDLE_VALUE;
  // Whether it opened is told by the key itself.
  converse(
      "SetupDiOpenDevRegKey", set, FALSE,
      [&]() -> Json {
        return {{"device", of ? of->DevInst : 0}, {"scope", scope}, {"profile", profile}, {"type", keyType}};
      },
      [&] {
        key = calls::openDevRegKey(set, of, scope, profile, keyType, access);
        return key != INVALID_HANDLE_VALUE;
      },
      [&](Answer& answer, bool) { Transcript::current()->opened(answer, "key", key); });
  return static_cast<HKEY>(key);
}

BOOL destroyDeviceInfoList(HDEVINFO set) {
  return close("SetupDiDestroyDeviceInfoList", set, FALSE, calls::destroyDeviceInfoList);
}

LONG regQueryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  const DWORD room = size && data ? *size : 0;
  return converse(
      "RegQueryValueExA", key, LONG{ERROR_GEN_FAILURE},
      [&]() -> Json {
        return {{"name", toText(name ? name : "")}, {"room", room}};
      },
      [&] { return calls::regQueryValue(key, name, reserved, type, data, size); },
      [&](Answer& answer, bool failed) {
        answer.wanted("size", size);
        if (failed) return;
        answer.wanted("type", type);
        answer.text("text", {reinterpret_cast<char*>(data), room}, size ? *size : 0);
      });
}

LONG regCloseKey(HKEY key) { return close("RegCloseKey", key, LONG{ERROR_GEN_FAILURE}, calls::regCloseKey); }

}  // namespace simulator::recording
