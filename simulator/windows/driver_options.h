// How the maker's driver presents a device.
#pragma once

#include <cstdint>
#include <set>
#include <string>

namespace simulator {

struct DriverOptions {
  std::string version = "6.2.7.1";    ///< at most 12 characters
  bool eightByteModeHeader = false;   ///< MODE SENSE is answered in form 0x5A instead of 0x1A
  std::set<std::uint32_t> refuses{};  ///< control codes of this driver that it does not know after all
};

}  // namespace simulator
