// What devices tell of themselves, asked without changing anything about them.
#pragma once

#include <string>

#include "c_interface/outcome.h"

/// The answer to a question. Without one the outcome of the command says why.
struct Answer {
  bool given = false;
  std::string text;
  Outcome outcome;
};

/// Lets a device tell what happened to it, so that no command after this one is refused for it.
void clearAttentions(ScsiTarget& device);

/// The firmware level and the serial number, as they were sent (INQUIRY).
Answer askLevel(ScsiTarget& drive);
Answer askSerialNumber(ScsiTarget& drive);

enum class Readiness {
  Loaded,       ///< with a cartridge
  Empty,        ///< without one, or stuck with one: new firmware may be what frees it
  Reserved,     ///< by another host
  NotReady,     ///< busy, or in the middle of something
  Unreachable,  ///< gives no answer
};
/// Whether a download could begin. `outcome` is that of the command that told.
Readiness askReadiness(ScsiTarget& drive, Outcome& outcome);

/// Whether a host keeps the cartridge in. False also when the drive does not tell.
bool isRemovalPrevented(ScsiTarget& drive);
