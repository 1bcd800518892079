#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "kiv/device/target.h"

/// The data of a command that really arrived from the target that executed it last. What lies behind them in
/// the command's buffer says nothing.
inline std::span<const std::uint8_t> arrivedData(ScsiTarget& target, const ScsiCommand& cmd) {
  const std::span<const std::uint8_t> buffer = cmd.ioDataSpan();
  return buffer.first(std::min<std::size_t>(buffer.size(), target.GetTransferredDataLength()));
}
