// What every execution of a command begins and may end with.
#pragma once

#include "kiv/device/target.h"

/// Clears what an earlier execution left. False when the target is not open, with that outcome in the
/// command; `operation` tells the log who found out.
bool beginExecution(const ScsiTarget& target, ScsiCommand& cmd, const char* operation);

/// Gives the command the time-out that the target's model has for its operation code, if it has one.
void takeModelTimeOut(ScsiTarget& target, ScsiCommand& cmd);

/// The outcome of a command that took longer than its time-out.
void markTimedOut(ScsiCommand& cmd);
