// What every execution of a command begins and may end with.
#pragma once

#include "kiv/device/target.h"

/// Clears what an earlier execution left. CMD_OK when the command can be sent; otherwise the outcome, which
/// the command has too: CMD_INVALID_HANDLE when the target is not open, CMD_NO_MEMORY when a buffer of the
/// command is missing. `operation` tells the log who found out.
ReturnCode beginExecution(const ScsiTarget& target, ScsiCommand& cmd, const char* operation);

/// Gives the command the time-out that the target's model has for its operation code, if it has one.
void takeModelTimeOut(ScsiTarget& target, ScsiCommand& cmd);

/// The outcome of a command that took longer than its time-out.
void markTimedOut(ScsiCommand& cmd);
