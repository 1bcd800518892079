#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kiv/kiv_c.h"

namespace host {

/// Host adapter, bus, target, logical unit.
using Address = std::array<std::uint32_t, 4>;

/// "0,0,3,0"
std::string addressText(const Address& address);
/// Empty when the text is anything but four numbers with commas between.
std::optional<Address> parseAddress(const std::string& text);

/// A drive or library that was found and opened.
struct Device {
  kiv_device handle = 0;
  std::size_t index = 0;  ///< among all devices of the maker, by address
  int type = 0;           ///< kiv_device_type
  Address address{};
  bool configured = false;  ///< Config.txt names it
  std::string serial, vendor, product, productString, interface, level, component, librarySerial;
  std::uint32_t element = 0;  ///< in which it stands, of the library above

  bool isDrive() const { return type == KIV_TYPE_DRIVE; }
  bool isLibrary() const { return type == KIV_TYPE_LIBRARY; }
  /// How messages call it: by its serial number, or its address when it has none.
  std::string name() const;
};

/// A device that could not be opened.
struct Unreachable {
  std::string path;
  std::uint32_t windowsError = 0;
  std::string message;
};

struct Inventory {
  std::vector<Device> devices;  ///< by address
  std::vector<Unreachable> unreachable;
};

/// Looks for all devices of the maker, and asks each library which drives stand in it.
Inventory scanDevices();

/// Whether two entries are paths to one drive: it answers with the same serial number at both.
bool isSameDrive(const Device& a, const Device& b);

}  // namespace host
