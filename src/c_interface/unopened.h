#pragma once

#include <string_view>
#include <vector>

#include "c_interface/devices.h"
#include "device/scan_witness.h"

/// Whether a vendor identification is this maker's.
inline bool isMakers(std::string_view vendor) { return vendor.find("QOR") != std::string_view::npos; }

/// The devices that a scan could not open, as far as they may be the maker's; each once, however often it was
/// tried, and none that was opened in the end.
std::vector<FoundDevice> unopenedDevices(const ScanWitness& witness, const std::vector<FoundDevice>& opened);
