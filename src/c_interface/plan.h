#pragma once

#include <string>

#include "c_interface/devices.h"

/// What an update of a drive would do, and what it would do it with.
struct Plan {
  kiv_plan_info info;
  std::string level;   ///< that the drive runs
  std::string wanted;  ///< that Config.txt names
  std::string image;   ///< as Config.txt names it
};

/// Finds that out on the drive itself.
Plan planUpdate(const FoundDevice& device, std::uint32_t flags);

/// Throws a failure unless this is a drive and the flags are those of an update.
void requireDriveAndFlags(const FoundDevice& device, std::uint32_t flags);

/// Throws a failure when the open drive does not tell the serial number that the scan has seen.
void requireSameDrive(const FoundDevice& device, ScsiTarget& drive);
