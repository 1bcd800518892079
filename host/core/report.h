// scsiExe.txt, as far as the host has to write it itself.
#pragma once

#include "host/core/device.h"

namespace host {

/// Begins the report of a run anew: well-formed, and without a device. Throws HostError when it cannot be
/// written.
void startReport();

/// Adds a drive, unless the library has told of it in this run already. What a process left torn when it was
/// ended goes. Returns whether the report could be written.
bool addToReport(const Device& drive, int result);

}  // namespace host
