#include "kiv/tape/driver_partitions.h"

#include <algorithm>

#include "device/system_error.h"
#include "kiv/frame/logger.h"
#include "platform/device_control.h"
#include "tape/tape_driver_requests.h"

namespace {

constexpr std::uint32_t FORMAT_AS_THE_PAGE_SAYS = 1;
// Seconds. The driver returns when the drive is done, as FORMAT MEDIUM and LOCATE do.
constexpr ulong32 FORMAT_TIME_OUT = 3100;
constexpr ulong32 LOCATE_TIME_OUT = 2300;

}  // namespace

ReturnCode QORTapeCmdQueryPartition::doOperation(void* deviceHandle) {
  logger->logDebug("SCSI", 0, "QORTapeCmdQueryPartition:IOCTL_QUERY_PARTITION");
  driver::PartitionBlock block{};
  if (exchangeWithDevice(deviceHandle, driver::IOCTL_TAPE_QUERY_PARTITION, block) != sizeof block) {
    const DWORD error = GetLastError();
    logger->logDebug("SCSI", 0, "QORTapeCmdQueryPartition failed, errno %d - %s", static_cast<int>(error),
                     systemErrorText(error).c_str());
    return CMD_ERROR;
  }
  const std::uint32_t slots = std::min<std::uint32_t>(block.partitions, driver::PARTITION_SIZE_SLOTS);
  record = {};
  record.activePartition = block.active;
  record.maxAdditionalPartitions = block.maxAdditional;
  record.numberPartitions = static_cast<std::uint16_t>(slots);
  record.addPartitionsDefined = static_cast<std::uint8_t>(std::max(slots, 1u) - 1);
  if (block.method >= 1 && block.method <= 3)
    record.dataPartitionType = static_cast<std::uint8_t>(block.method);
  record.partitionUnits = block.partitionUnits & 0x0F;
  record.partitionType = block.partitionType & 0x0F;
  std::copy_n(block.sizes, slots, record.sizes.begin());
  record.gotParameters = true;
  logger->logDebug("SCSI", 0, "QORTapeCmdQueryPartition - RC_CMD_OK");
  return CMD_OK;
}

QORTapeCmdCreatePartition::QORTapeCmdCreatePartition(const PartitionRecord& layout) : record(layout) {
  timeOut = FORMAT_TIME_OUT;
}

ReturnCode QORTapeCmdCreatePartition::doOperation(void* deviceHandle) {
  driver::PartitionBlock block{};
  block.method = record.dataPartitionType;
  block.partitions = record.addPartitionsDefined + 1u;
  block.formatType = FORMAT_AS_THE_PAGE_SAYS;
  block.partitionUnits = record.partitionUnits;
  block.partitionType = record.partitionType;
  std::copy_n(record.sizes.begin(), driver::PARTITION_SIZE_SLOTS, block.sizes);

  logger->logDebug("SCSI", 0, "QORTapeCmdCreatePartition - number of partitions: %d method:%d",
                   static_cast<int>(block.partitions), static_cast<int>(block.method));
  const auto create = [&] {
    return tellDevice(deviceHandle, driver::IOCTL_TAPE_CREATE_PARTITION, block) ? CMD_OK : CMD_ERROR;
  };
  ReturnCode result = create();
  if (result != CMD_OK) {
    logger->logDebug("SCSI", 0, "QORTapeCmdCreatePartition - failed in first run");
    block.method = record.partitionType;
    result = create();
    logger->logDebug(
        "SCSI", 0,
        "QORTapeCmdCreatePartition - partition_method set to partitionType - number of partitions: %d "
        "method:%d rc:%d",
        static_cast<int>(block.partitions), static_cast<int>(block.method), static_cast<int>(result));
  }
  if (result == CMD_OK) logger->logDebug("SCSI", 0, "QORTapeCmdCreatePartition - RC_CMD_OK");
  return result;
}

QORTapeCmdChangePartition::QORTapeCmdChangePartition(std::uint32_t partition, std::uint64_t block)
    : partitionNumber(partition), blockId(block) {
  timeOut = LOCATE_TIME_OUT;
}

ReturnCode QORTapeCmdChangePartition::doOperation(void* deviceHandle) {
  driver::SetPartitionBlock block{};
  block.partition = partitionNumber;
  block.blockAddress = blockId;
  const bool done = tellDevice(deviceHandle, driver::IOCTL_TAPE_SET_PARTITION, block).has_value();
  logger->logDebug(
      "SCSI", 0, done ? "QORTapeCmdChangePartition - RC_CMD_OK" : "QORTapeCmdChangePartition - RC_CMD_ERROR");
  return done ? CMD_OK : CMD_ERROR;
}
