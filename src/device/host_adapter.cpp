// What the setup API and the registry tell about a host adapter, for the log.
#include "device/host_adapter.h"

#include <algorithm>
#include <vector>

#include "device/handle.h"
#include "device/inquiry_list.h"
#include "device/port_driver.h"
#include "frame/guarded.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"

namespace {

/// Far more than any descriptive text takes; what is longer counts as absent.
constexpr DWORD LONGEST_TEXT = 4096;
/// More interfaces than a system has, so that an enumeration that never ends does.
constexpr DWORD MOST_INTERFACES = 1024;

struct SystemProperty {
  const char* name;
  DWORD property;
};
constexpr SystemProperty DEVICE_PROPERTIES[] = {
    {"HBA Vendor", SPDRP_MFG},
    {"HBA Description", SPDRP_DEVICEDESC},
    {"HBA Information", SPDRP_LOCATION_INFORMATION},
    {"HBA Driver", SPDRP_SERVICE},
    {"HBA Driver Information", SPDRP_DRIVER},
};

struct DriverKeyValue {
  const char* name;
  const char* value;
};
constexpr DriverKeyValue DRIVER_KEY_VALUES[] = {
    {"HBA Driver Provider", "ProviderName"},
    {"HBA Driver Version", "DriverVersion"},
    {"HBA Driver Date", "DriverDate"},
    {"HBA Driver Description", "DriverDesc"},
};

class DeviceInfoSet {
 public:
  explicit DeviceInfoSet(const GUID& interfaceClass)
      : set(SetupDiGetClassDevsA(&interfaceClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}
  ~DeviceInfoSet() {
    if (set != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(set);
  }
  DeviceInfoSet(const DeviceInfoSet&) = delete;
  DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;
  HDEVINFO get() const { return set; }

 private:
  HDEVINFO set;
};

class RegistryKey {
 public:
  explicit RegistryKey(HKEY opened) : key(opened) {}
  ~RegistryKey() {
    if (*this) RegCloseKey(key);
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  explicit operator bool() const { return static_cast<HANDLE>(key) != INVALID_HANDLE_VALUE; }
  HKEY get() const { return key; }

 private:
  HKEY key;
};

/// Text as the registry keeps it: its final zero may be missing, and the length may be wrong.
bool takeText(const std::vector<char>& buffer, DWORD type, DWORD length, std::string& text) {
  if (type != REG_SZ) return false;
  const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(length, buffer.size()));
  text.assign(buffer.begin(), std::find(buffer.begin(), end, '\0'));
  return true;
}

/// The path of one device interface, and its device. Empty when it cannot be had.
std::string interfacePath(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& interface, SP_DEVINFO_DATA& device) {
  constexpr DWORD HEAD = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
  DWORD size = 0;
  SetupDiGetDeviceInterfaceDetailA(set, &interface, nullptr, 0, &size, nullptr);
  if (size < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) || size > LONGEST_TEXT) return {};
  std::vector<char> buffer(size);
  // A vector's memory is aligned for any structure.
  auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(buffer.data());
  detail->cbSize = sizeof *detail;
  if (!SetupDiGetDeviceInterfaceDetailA(set, &interface, detail, size, nullptr, &device)) return {};
  return {buffer.begin() + HEAD, std::find(buffer.begin() + HEAD, buffer.end(), '\0')};
}

/// Finds the device of a host adapter. The setup API does not know port numbers: the adapter is the one whose
/// port driver gives the same inquiry list, the first of several that nothing tells apart.
bool findAdapter(HDEVINFO set, const InquiryList& wanted, SP_DEVINFO_DATA& device) {
  for (DWORD index = 0; index < MOST_INTERFACES; ++index) {
    SP_DEVICE_INTERFACE_DATA interface {};
    interface.cbSize = sizeof interface;
    if (!SetupDiEnumDeviceInterfaces(set, nullptr, &testHost, index, &interface)) return false;
    device = {};
    device.cbSize = sizeof device;
    const std::string path = interfacePath(set, interface, device);
    if (path.empty()) continue;
    const Handle port = openShared(path);
    if (!port) continue;
    DWORD error = ERROR_SUCCESS;
    const auto list = readInquiryList(port.get(), error);
    if (list && std::ranges::equal(list->buffer(), wanted.buffer())) return true;
  }
  return false;
}

}  // namespace

bool ScsiTarget::getDeviceRegistryProperty(void* deviceSet, _SP_DEVINFO_DATA* device, ulong32 property,
                                           std::string& text) {
  return guarded(false, [&] {
    std::vector<char> buffer(LONGEST_TEXT);
    DWORD type = 0;
    DWORD length = 0;
    return SetupDiGetDeviceRegistryPropertyA(deviceSet, device, property, &type,
                                             reinterpret_cast<BYTE*>(buffer.data()), LONGEST_TEXT, &length) &&
           takeText(buffer, type, length, text);
  });
}

bool ScsiTarget::getDeviceDriverRegistryProperty(void* deviceSet, _SP_DEVINFO_DATA* device,
                                                 const char* valueName, std::string& text) {
  return guarded(false, [&] {
    const RegistryKey key(SetupDiOpenDevRegKey(deviceSet, device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_READ));
    if (!key) return false;
    std::vector<char> buffer(LONGEST_TEXT);
    DWORD type = 0;
    DWORD length = LONGEST_TEXT;
    return RegQueryValueExA(key.get(), valueName, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                            &length) == ERROR_SUCCESS &&
           takeText(buffer, type, length, text);
  });
}

void ScsiTarget::queryHostAdapterInformation() {
  guarded([&] {
    const std::string path = portPath(hostAdapterId);
    SP_DEVINFO_DATA device{};
    DeviceInfoSet set(testHost);
    {
      const Handle port = openShared(path);
      if (!port) return;
      DWORD error = ERROR_SUCCESS;
      const auto list = readInquiryList(port.get(), error);
      if (!list || !findAdapter(set.get(), *list, device)) return;
    }
    std::string text;
    for (const SystemProperty& row : DEVICE_PROPERTIES) {
      if (getDeviceRegistryProperty(set.get(), &device, row.property, text))
        setProperty(row.name, text.c_str());
    }
    for (const DriverKeyValue& row : DRIVER_KEY_VALUES) {
      if (getDeviceDriverRegistryProperty(set.get(), &device, row.value, text))
        setProperty(row.name, text.c_str());
    }
    const auto value = [this](const char* name) {
      const char* found = getProperty(name);
      return found != nullptr ? found : "";
    };
    logger->logInfo("SCSI", 0, "Host Apdater Proprties available for ====>>%s<<==== detected [%s][%s][%s] \n",
                    path.c_str(), value("HBA Vendor"), value("HBA Driver"), value("HBA Information"));
    for (const DriverKeyValue& row : DRIVER_KEY_VALUES)
      logger->logInfo("SCSI", 0, "%s: %s", row.name, value(row.name));
  });
}
