#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "kiv/device/target.h"

/// The data of a command that really arrived from the target that executed it last.
inline std::span<const std::uint8_t> arrivedData(ScsiTarget& target, const ScsiCommand& cmd) {
  return cmd.ioDataSpan().first(
      std::min<std::size_t>(cmd.getIoDataLength(), target.GetTransferredDataLength()));
}
