// IOCTL_SCSI_PASS_THROUGH_DIRECT: what a port driver checks and does before and after a command reaches the
// device.
#include <algorithm>
#include <cstdio>

#include "simulator/room/room.h"

namespace simulator {
namespace {

/// Pages that a buffer touches at worst.
std::uint32_t pagesFor(std::uint32_t length) { return length == 0 ? 0 : (length - 1) / 4096 + 2; }

void checkRequest(const SCSI_PASS_THROUGH_DIRECT& block, const ControlRequest& request,
                  const AdapterOptions& adapter) {
  const auto address = reinterpret_cast<std::uintptr_t>(block.DataBuffer);
  const bool good =
      block.Length == sizeof block && block.CdbLength >= 1 && block.CdbLength <= sizeof block.Cdb &&
      block.DataIn <= SCSI_IOCTL_DATA_UNSPECIFIED &&
      block.DataTransferLength <= adapter.maximumTransferLength &&
      (block.DataTransferLength == 0 || (block.DataBuffer && (address & adapter.alignmentMask) == 0)) &&
      (adapter.maximumPhysicalPages == 0 ||
       pagesFor(block.DataTransferLength) <= adapter.maximumPhysicalPages) &&
      (block.SenseInfoLength == 0 ||
       (block.SenseInfoOffset >= sizeof block && block.SenseInfoOffset <= request.buffer.size() &&
        block.SenseInfoLength <= request.buffer.size() - block.SenseInfoOffset));
  if (!good) throw WindowsError{ERROR_INVALID_PARAMETER};
}

std::string outcomeOf(const ScsiRequest& command) {
  if (command.status == statusGood) return {};
  char text[16];
  if (command.status == statusCheckCondition && command.sense.size() > 13) {
    std::snprintf(text, sizeof text, "%X/%02X/%02X", command.sense[2] & 15u, command.sense[12],
                  command.sense[13]);
  } else {
    std::snprintf(text, sizeof text, "status %02X", command.status);
  }
  return text;
}

void carryOut(ScsiRequest& command, VirtualDevice& device, const Fault* fault) {
  if (fault && (fault->sense || fault->status)) {
    command.status = fault->sense ? std::uint8_t{statusCheckCondition} : *fault->status;
    if (fault->sense) command.sense = fault->sense->bytes();
    return;
  }
  device.execute(command);
  if (fault && fault->reply) command.dataIn = *fault->reply;
}

}  // namespace

void passThrough(ControlRequest& request, VirtualAdapter& adapter, VirtualDevice* device) {
  auto block = request.input<SCSI_PASS_THROUGH_DIRECT>();
  const bool throughPort = device == nullptr;
  if (throughPort) device = adapter.find(block.PathId, block.TargetId, block.Lun);
  checkRequest(block, request, adapter.options());

  const std::span<std::uint8_t> data(static_cast<std::uint8_t*>(block.DataBuffer), block.DataTransferLength);
  ScsiRequest command;
  std::copy_n(block.Cdb, block.CdbLength, command.cdb.begin());
  command.cdbLength = block.CdbLength;
  if (block.DataIn == SCSI_IOCTL_DATA_OUT) command.dataOut = data;
  if (block.DataIn == SCSI_IOCTL_DATA_IN) command.dataInCapacity = data.size();

  JournalEntry& entry = request.entry;
  entry.call = "CDB";
  entry.address =
      device ? device->address() : addressText(adapter.number(), block.PathId, block.TargetId, block.Lun);
  entry.cdb.assign(block.Cdb, block.Cdb + block.CdbLength);
  entry.text = toHex(entry.cdb);
  entry.dataOut.assign(command.dataOut.begin(),
                       command.dataOut.begin() +
                           static_cast<std::ptrdiff_t>(std::min<std::size_t>(command.dataOut.size(), 1024)));
  entry.transferLength = block.DataTransferLength;
  entry.timeOut = block.TimeOutValue;
  entry.direction = block.DataIn;
  entry.senseLength = block.SenseInfoLength;

  Room& room = *Room::current();
  const Fault* fault = room.faults().strike(entry);
  // A request that outlasts its time-out is aborted by the port driver.
  const auto spend = [&](std::int64_t milliseconds) {
    const std::int64_t limit = std::int64_t{block.TimeOutValue} * 1000;
    room.clock().advance(std::min(milliseconds, limit));
    if (milliseconds > limit) throw WindowsError{ERROR_SEM_TIMEOUT};
  };
  if (fault) {
    spend(std::int64_t{fault->delay} * 1000);
    if (fault->vanish && device) device->goAway(std::int64_t{*fault->vanish} * 1000);
    if (fault->error) throw WindowsError{*fault->error};
  }
  if (!device) throw WindowsError{ERROR_IO_DEVICE};
  // A device that a class driver has claimed is that driver's alone.
  if (throughPort && device->options().claimed) throw WindowsError{ERROR_ACCESS_DENIED};

  carryOut(command, *device, fault);
  spend(command.duration);
  if (!command.dataIn.empty() && block.DataIn != SCSI_IOCTL_DATA_IN) throw WindowsError{ERROR_IO_DEVICE};

  std::size_t moved =
      block.DataIn == SCSI_IOCTL_DATA_IN ? std::min(command.dataIn.size(), data.size()) : command.dataOutUsed;
  if (fault && fault->transfer) moved = std::min<std::size_t>(moved, *fault->transfer);
  if (block.DataIn == SCSI_IOCTL_DATA_IN) std::copy_n(command.dataIn.begin(), moved, data.begin());

  const std::size_t senseLength = std::min<std::size_t>(command.sense.size(), block.SenseInfoLength);
  std::copy_n(command.sense.begin(), senseLength,
              request.buffer.begin() + static_cast<std::ptrdiff_t>(block.SenseInfoOffset));
  block.ScsiStatus = command.status;
  block.SenseInfoLength = static_cast<UCHAR>(senseLength);
  block.DataTransferLength = static_cast<ULONG>(moved);
  std::memcpy(request.buffer.data(), &block, sizeof block);
  request.returned =
      std::min(request.outSize, std::max<std::size_t>(sizeof block, block.SenseInfoOffset + senseLength));
  entry.transferred = block.DataTransferLength;
  entry.outcome = outcomeOf(command);
}

}  // namespace simulator
