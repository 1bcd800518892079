#pragma once

#include "kiv/scsi/command.h"

/// A setter that takes every value.
template <typename Value>
ReturnCode store(Value& field, Value value) {
  field = value;
  return CMD_OK;
}
