// The command table as the device itself tells it: REPORT SUPPORTED OPERATION CODES (SPC-4 6.31).
#include "simulator/devices/virtual_device.h"

namespace simulator {
namespace {

constexpr std::uint8_t notSupported = 1;
constexpr std::uint8_t asTheStandardSays = 3;

/// Command timeouts descriptor: no times are told.
const Bytes noTimeouts{0x00, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

}  // namespace

bool VirtualDevice::hasServiceActions(std::uint8_t operation) const {
  const auto row = commands_.lower_bound({operation, std::nullopt});
  return row != commands_.end() && row->first.first == operation && row->first.second.has_value();
}

const VirtualDevice::Command& VirtualDevice::commandOf(const ScsiRequest& request) const {
  const std::uint8_t operation = request.operation();
  CommandCode code{operation, std::nullopt};
  if (hasServiceActions(operation)) code.second = request.cdb[1] & serviceActionBits;
  const auto row = commands_.find(code);
  if (row != commands_.end()) return row->second;
  if (code.second) invalidField(1);
  refuse(5, 0x20, 0x00);
}

void VirtualDevice::reportOperationCodes(ScsiRequest& request) {
  const std::uint8_t options = request.cdb[2] & 0x07;
  const bool timeouts = request.cdb[2] & 0x80;
  Bytes data(4);
  if (options == 0) {
    for (const auto& [code, command] : commands_) {
      Bytes descriptor{code.first, 0, 0, code.second.value_or(0), 0, flag(code.second.has_value(), 0), 0, 0};
      descriptor[5] |= flag(timeouts, 1);
      put16(descriptor, 6, command.usage.size());
      append(data, descriptor);
      if (timeouts) append(data, noTimeouts);
    }
    put32(data, 0, data.size() - 4);
  } else {
    CommandCode code{request.cdb[3], std::nullopt};
    const bool divided = hasServiceActions(code.first);
    const std::uint16_t action = request.cdb16(4);
    // 1 asks for a command without service actions, 2 for one with them, 3 for either.
    if (options > 3 || (options == 1 && divided)) invalidField(2);
    if (options == 2 && !divided && commands_.contains(code)) invalidField(2);
    if (divided) code.second = static_cast<std::uint8_t>(action);
    // Only option 1 pays no heed to the service action.
    const bool fits = options == 1 || action <= (divided ? serviceActionBits : 0);
    const auto row = commands_.find(code);
    data[1] = notSupported;
    if (fits && row != commands_.end()) {
      data[1] = asTheStandardSays | flag(timeouts, 7);
      put16(data, 2, row->second.usage.size());
      append(data, row->second.usage);
      data[4] = code.first;
      if (divided) data[5] = static_cast<std::uint8_t>((data[5] & ~serviceActionBits) | *code.second);
      if (timeouts) append(data, noTimeouts);
    }
  }
  request.reply(std::move(data), request.cdb32(6));
}

}  // namespace simulator
