// The setup API and the registry, as far as they tell about host adapters.
#include <algorithm>
#include <cstdio>
#include <map>

#include "simulator/windows/answer.h"
#include "simulator/windows/real_system.h"
#include "simulator/windows/windows_calls.h"

namespace simulator::calls {
namespace {

constexpr GUID storagePortInterface{
    0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr GUID adapterClass{0x4D36E97B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

bool same(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// What SetupDiGetClassDevsA returns: the host adapters, or nothing for any other class.
class DeviceInfoSet : public Handle {
 public:
  explicit DeviceInfoSet(std::vector<VirtualAdapter*> adapters)
      : Handle("device information set", 0), adapters_(std::move(adapters)) {}
  VirtualAdapter& at(std::size_t index) const {
    if (index >= adapters_.size()) throw WindowsError{ERROR_NO_MORE_ITEMS};
    return *adapters_[index];
  }
  VirtualAdapter& of(const SP_DEVINFO_DATA* device) const {
    if (!device || device->cbSize != sizeof *device) throw WindowsError{ERROR_INVALID_USER_BUFFER};
    if (device->DevInst == 0 || device->DevInst > adapters_.size()) throw WindowsError{ERROR_NO_SUCH_DEVINST};
    return *adapters_[device->DevInst - 1];
  }

 private:
  std::vector<VirtualAdapter*> adapters_;
};

class RegistryKey : public Handle {
 public:
  explicit RegistryKey(const AdapterOptions& adapter)
      : Handle("driver key", 0),
        values_{{"ProviderName", adapter.driverProvider},
                {"DriverVersion", adapter.driverVersion},
                {"DriverDate", adapter.driverDate},
                {"DriverDesc", adapter.driverDescription}} {}
  const std::string& value(const char* name) const {
    const auto found = values_.find(name ? name : "");
    if (found == values_.end() || found->second.empty()) throw WindowsError{ERROR_FILE_NOT_FOUND};
    return found->second;
  }

 private:
  std::map<std::string, std::string> values_;
};

Room& here() {
  if (!Room::current()) throw WindowsError{ERROR_INVALID_HANDLE};
  return *Room::current();
}

template <class T>
T& as(HANDLE value) {
  auto* object = dynamic_cast<T*>(&handleOf(value));
  if (!object) throw WindowsError{ERROR_INVALID_HANDLE};
  return *object;
}

void describe(SP_DEVINFO_DATA* device, DWORD index) {
  if (device->cbSize != sizeof *device) throw WindowsError{ERROR_INVALID_USER_BUFFER};
  device->ClassGuid = adapterClass;
  device->DevInst = index + 1;
}

/// A text value: with its final zero byte, unless a fault supplies the bytes.
Bytes textValue(const std::string& text, const Fault* fault) {
  if (fault && fault->reply) return *fault->reply;
  Bytes value(text.begin(), text.end());
  value.push_back(0);
  return value;
}

void copyValue(const Bytes& value, void* buffer, std::size_t size, DWORD tooSmall) {
  if (value.size() > size) throw WindowsError{tooSmall};
  std::memcpy(buffer, value.data(), value.size());
}

std::string property(const AdapterOptions& adapter, std::uint8_t number, DWORD which) {
  switch (which) {
    case SPDRP_DEVICEDESC:
      return adapter.description;
    case SPDRP_MFG:
      return adapter.manufacturer;
    case SPDRP_SERVICE:
      return adapter.service;
    case SPDRP_LOCATION_INFORMATION:
      return adapter.location;
    case SPDRP_DRIVER: {
      char key[64];
      std::snprintf(key, sizeof key, "{4d36e97b-e325-11ce-bfc1-08002be10318}\\%04u", number);
      return key;
    }
    default:
      return {};
  }
}

}  // namespace

HDEVINFO getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND parent, DWORD flags) {
  if (!Room::current()) return real::getClassDevs(interfaceClass, enumerator, parent, flags);
  return answer("SetupDiGetClassDevsA", "", "", failing(INVALID_HANDLE_VALUE),
                [&](JournalEntry&, const Fault*) {
                  std::vector<VirtualAdapter*> adapters;
                  const GUID& wanted = flags & DIGCF_DEVICEINTERFACE ? storagePortInterface : adapterClass;
                  if (interfaceClass && same(*interfaceClass, wanted)) {
                    for (const auto& adapter : here().adapters()) adapters.push_back(adapter.get());
                  }
                  return here().addHandle(std::make_unique<DeviceInfoSet>(std::move(adapters)));
                });
}

BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* of, const GUID* interfaceClass, DWORD index,
                          SP_DEVICE_INTERFACE_DATA* data) {
  if (!Room::current()) return real::enumDeviceInterfaces(set, of, interfaceClass, index, data);
  return answer("SetupDiEnumDeviceInterfaces", "", std::to_string(index), failing(FALSE),
                [&](JournalEntry&, const Fault*) {
                  as<DeviceInfoSet>(set).at(index);
                  if (data->cbSize != sizeof *data) throw WindowsError{ERROR_INVALID_USER_BUFFER};
                  data->InterfaceClassGuid = storagePortInterface;
                  data->Flags = 1;  // SPINT_ACTIVE
                  data->Reserved = index + 1;
                  return TRUE;
                });
}

BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                              SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, PDWORD required,
                              SP_DEVINFO_DATA* device) {
  if (!Room::current()) return real::getDeviceInterfaceDetail(set, data, detail, size, required, device);
  return answer("SetupDiGetDeviceInterfaceDetailA", "", "", failing(FALSE), [&](JournalEntry&, const Fault*) {
    if (data->Reserved == 0) throw WindowsError{ERROR_INVALID_PARAMETER};
    const auto index = static_cast<DWORD>(data->Reserved - 1);
    const std::string path = as<DeviceInfoSet>(set).at(index).interfacePath();
    constexpr std::size_t head = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
    if (required) *required = static_cast<DWORD>(head + path.size() + 1);
    if (device) describe(device, index);
    if (size < head + path.size() + 1) throw WindowsError{ERROR_INSUFFICIENT_BUFFER};
    if (detail->cbSize != sizeof *detail) throw WindowsError{ERROR_INVALID_USER_BUFFER};
    copyValue(textValue(path, nullptr), reinterpret_cast<char*>(detail) + head, size - head,
              ERROR_INSUFFICIENT_BUFFER);
    return TRUE;
  });
}

BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device) {
  if (!Room::current()) return real::enumDeviceInfo(set, index, device);
  return answer("SetupDiEnumDeviceInfo", "", std::to_string(index), failing(FALSE),
                [&](JournalEntry&, const Fault*) {
                  as<DeviceInfoSet>(set).at(index);
                  describe(device, index);
                  return TRUE;
                });
}

BOOL getDeviceRegistryProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD which, PDWORD type, PBYTE buffer,
                               DWORD size, PDWORD required) {
  if (!Room::current())
    return real::getDeviceRegistryProperty(set, device, which, type, buffer, size, required);
  return answer("SetupDiGetDeviceRegistryPropertyA", "", std::to_string(which), failing(FALSE),
                [&](JournalEntry&, const Fault* fault) {
                  VirtualAdapter& adapter = as<DeviceInfoSet>(set).of(device);
                  const std::string text = property(adapter.options(), adapter.number(), which);
                  if (text.empty()) throw WindowsError{ERROR_INVALID_DATA};
                  const Bytes value = textValue(text, fault);
                  if (type) *type = REG_SZ;
                  if (required) *required = static_cast<DWORD>(value.size());
                  copyValue(value, buffer, buffer ? size : 0, ERROR_INSUFFICIENT_BUFFER);
                  return TRUE;
                });
}

HKEY openDevRegKey(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD scope, DWORD profile, DWORD keyType,
                   REGSAM access) {
  if (!Room::current()) return real::openDevRegKey(set, device, scope, profile, keyType, access);
  const auto failure = [](DWORD) { return reinterpret_cast<HKEY>(INVALID_HANDLE_VALUE); };
  return answer("SetupDiOpenDevRegKey", "", "", failure, [&](JournalEntry&, const Fault*) {
    const AdapterOptions& adapter = as<DeviceInfoSet>(set).of(device).options();
    if (keyType != DIREG_DRV) throw WindowsError{ERROR_FILE_NOT_FOUND};
    return reinterpret_cast<HKEY>(here().addHandle(std::make_unique<RegistryKey>(adapter)));
  });
}

BOOL destroyDeviceInfoList(HDEVINFO set) {
  if (!Room::current()) return real::destroyDeviceInfoList(set);
  return answer("SetupDiDestroyDeviceInfoList", "", "", failing(FALSE), [&](JournalEntry&, const Fault*) {
    as<DeviceInfoSet>(set);
    here().closeHandle(set);
    return TRUE;
  });
}

LONG regQueryValue(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
  if (!Room::current()) return real::regQueryValue(key, name, reserved, type, data, size);
  return static_cast<LONG>(answer("RegQueryValueExA", "", name ? name : "", failingWithCode,
                                  [&](JournalEntry&, const Fault* fault) -> DWORD {
                                    const Bytes value = textValue(as<RegistryKey>(key).value(name), fault);
                                    if (type) *type = REG_SZ;
                                    if (!size) return NO_ERROR;
                                    const DWORD room = *size;
                                    *size = static_cast<DWORD>(value.size());
                                    if (data) copyValue(value, data, room, ERROR_MORE_DATA);
                                    return NO_ERROR;
                                  }));
}

LONG regCloseKey(HKEY key) {
  if (!Room::current()) return real::regCloseKey(key);
  return static_cast<LONG>(
      answer("RegCloseKey", "", "", failingWithCode, [&](JournalEntry&, const Fault*) -> DWORD {
        as<RegistryKey>(key);
        here().closeHandle(key);
        return NO_ERROR;
      }));
}

}  // namespace simulator::calls
