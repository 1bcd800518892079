#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/core/device.h"

namespace host {

struct UpdateFlags {
  bool force = false;
  bool eject = false;
  std::uint32_t bits() const;  ///< kiv_update_flags
};

struct Image {
  std::string file;  ///< as Config.txt names it
  std::uint64_t bytes = 0;
  std::string sha256;
};

/// What an update of one drive would do.
struct Plan {
  std::string verdict;  ///< "update"
  int status = 0;       ///< exit status of the verdict
  std::string level;    ///< that the drive runs, asked now
  std::string wanted;   ///< that Config.txt names
  std::optional<Image> image;
  bool cartridge = false;  ///< one is loaded
  std::uint32_t windowsError = 0;
  kiv_sense sense{};
  std::string why;  ///< a sentence, with what to do

  bool writes() const { return verdict == "update"; }
};

/// Asks the drive itself. Writes nothing and moves no cartridge.
Plan makePlan(const Device& drive, const UpdateFlags& flags);

}  // namespace host
