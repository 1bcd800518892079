#pragma once

#include "host/core/document.h"
#include "host/core/drive_order.h"
#include "host/core/output.h"

namespace host {

/// Updates one drive in a process of its own, and shows its progress. Returns what document.h calls an
/// outcome, whatever becomes of the process: one that ends without a word, or does not say one for too long,
/// is answered for. `replay` may be null; throws HostError where the process departs from it.
Json updateInProcess(DriveOrder order, const Device& drive, const Output& output, Log& log, Replay* replay);

}  // namespace host
