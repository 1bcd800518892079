#include "kiv/tape/partitions.h"

#include <algorithm>
#include <string_view>

#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/tape/driver_partitions.h"
#include "kiv/tape/medium.h"
#include "scsi/cdb.h"
#include "scsi/sense.h"
#include "tape/mode_page.h"

namespace {

// Places in the mode data: a 4-byte header, then the medium partition page (SSC-4).
constexpr std::size_t MAX_ADDITIONAL = 6;
constexpr std::size_t ADDITIONAL_DEFINED = 7;
constexpr std::size_t METHOD_FLAGS = 8;
constexpr std::size_t MEDIUM_FORMAT_RECOGNITION = 9;
constexpr std::size_t UNITS = 10;
constexpr std::size_t SIZES = 12;
/// The same for the device configuration page.
constexpr std::size_t ACTIVE_PARTITION = 7;

/// The drive recognises format and partitions of a medium.
constexpr std::uint8_t RECOGNISES_ALL = 3;
constexpr std::uint8_t METHOD_MASK = 0xE0;
/// By partitioning method, 1 to 3: IDP, SDP, FDP.
constexpr std::uint8_t METHOD_BITS[] = {0x00, 0x20, 0x40, 0x80};
constexpr std::uint8_t FORMAT_AS_THE_PAGE_SAYS = 1;

}  // namespace

ReturnCode PartitionRecord::getSize(std::uint16_t index, std::uint16_t& size) const {
  if (index > numberPartitions) return NO_PARTITION_VALUES;
  return get(index < SIZE_SLOTS ? sizes[index] : std::uint16_t{0}, size);
}

CmdQueryTapePartition::CmdQueryTapePartition(ScsiTarget* device, std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes) {}

ReturnCode CmdQueryTapePartition::getParameters() {
  return concluded(guarded(CMD_NO_MEMORY, [&] {
    if (target == nullptr) return CMD_INVALID_HANDLE;
    auto* driver = dynamic_cast<QORScsiTarget*>(target);
    if (driver == nullptr) return queryModePages();
    QORTapeCmdQueryPartition twin(*this);
    twin.setSenseDataLength(senseLength);
    const ReturnCode status = runStep(*this, *driver, twin);
    return status;
  }));
}

ReturnCode CmdQueryTapePartition::queryModePages() {
  SenseModePage layout(MEDIUM_PARTITION_PAGE, senseLength);
  const ReturnCode layoutStatus = runStep(*this, *target, layout);
  if (layoutStatus != CMD_OK) return layoutStatus;
  logDump("SCSI", "CmdQueryTapePartition MEDIUM_PARTITION_MODE_PAGE Data", layout.ioDataSpan());
  if (!layout.holds(SIZES)) return CMD_ERROR;

  PartitionRecord record;
  record.maxAdditionalPartitions = layout[MAX_ADDITIONAL];
  record.addPartitionsDefined = layout[ADDITIONAL_DEFINED];
  record.partitionUnits = layout[UNITS] & 0x0F;
  record.partitionType = layout[UNITS] >> 4;
  const std::size_t sizesArrived = (layout.arrived().size() - SIZES) / 2;
  record.numberPartitions = static_cast<std::uint16_t>(
      std::min({record.addPartitionsDefined + std::size_t{1}, sizesArrived, std::size_t{SIZE_SLOTS}}));
  for (std::uint16_t i = 0; i < record.numberPartitions; ++i) {
    record.sizes[i] = readBe16(layout.arrived(), SIZES + 2u * i);
  }

  SenseModePage configuration(DEVICE_CONFIGURATION_PAGE, senseLength);
  const ReturnCode status = runStep(*this, *target, configuration);
  if (status != CMD_OK) return status;
  logDump("SCSI", "CmdQueryTapePartition DEVICE_CONFIG_MODE_PAGE Data", configuration.ioDataSpan());
  record.activePartition = configuration[ACTIVE_PARTITION];
  record.gotParameters = true;
  static_cast<PartitionRecord&>(*this) = record;
  return status;
}

TapeCmdCreatePartition::TapeCmdCreatePartition(ScsiTarget* device, std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes) {}

void TapeCmdCreatePartition::setAdditionalPartitionsDefined(std::uint8_t count) {
  addPartitionsDefined = count;
  gotParameters = true;
}

void TapeCmdCreatePartition::setDataPartitionType(std::uint8_t method) {
  dataPartitionType = method;
  gotParameters = true;
}

void TapeCmdCreatePartition::setPartitionType(std::uint8_t partition) {
  partitionType = partition;
  gotParameters = true;
}

void TapeCmdCreatePartition::setNumberPartitions(std::uint32_t count) {
  numberPartitions = static_cast<std::uint16_t>(count);
  gotParameters = true;
}

void TapeCmdCreatePartition::setSize(std::uint16_t index, std::uint16_t size) {
  if (index < SIZE_SLOTS) sizes[index] = size;
  gotParameters = true;
}

void TapeCmdCreatePartition::setPartitionUnits(std::uint8_t units) {
  partitionUnits = units;
  gotParameters = true;
}

ReturnCode TapeCmdCreatePartition::createPartitions() {
  const ReturnCode status = guarded(CMD_NO_MEMORY, [&] {
    if (target == nullptr) return CMD_INVALID_HANDLE;
    auto* driver = dynamic_cast<QORScsiTarget*>(target);
    if (driver == nullptr) return createByModePage();
    numberPartitions = static_cast<std::uint16_t>(addPartitionsDefined + 1);
    QORTapeCmdCreatePartition twin(*this);
    twin.setSenseDataLength(senseLength);
    const ReturnCode created = runStep(*this, *driver, twin);
    return created;
  });
  if (status == CMD_OK) gotParameters = true;
  return concluded(status);
}

ReturnCode TapeCmdCreatePartition::createByModePage() {
  SenseModePage sense(MEDIUM_PARTITION_PAGE, senseLength);
  logDump("SCSI", "TapeCmdCreatePartition - cmdModeSense CDBs", sense.cdbSpan());
  ReturnCode status = runStep(*this, *target, sense);
  if (status != CMD_OK) return status;
  logDump("SCSI", "TapeCmdCreatePartition::createPartitions ModeSense Data", sense.ioDataSpan());
  if (!sense.brought(MEDIUM_PARTITION_PAGE, SIZES)) return CMD_ERROR;

  SelectModePage select(MEDIUM_PARTITION_PAGE, sense);
  const auto list = select.list();
  writeByte(list, ADDITIONAL_DEFINED, addPartitionsDefined);
  if (dataPartitionType >= 1 && dataPartitionType <= 3) {
    writeBits(list, METHOD_FLAGS, METHOD_MASK, METHOD_BITS[dataPartitionType]);
  }
  writeByte(list, MEDIUM_FORMAT_RECOGNITION, RECOGNISES_ALL);
  std::uint8_t units = partitionUnits & 0x0F;
  if (std::string_view(target->getModelName()).find("R477") != std::string_view::npos) {
    units = static_cast<std::uint8_t>(units | (partitionType == 2 ? 0x20 : 0x10));
    logger->logDebug("SCSI", 0, "::createPartitions - partType value extened to %02X", units);
  }
  logger->logDebug("SCSI", 0, "::createPartitions - partType %02X", units);
  writeByte(list, UNITS, units);
  std::ranges::fill(list.subspan(std::min(SIZES, list.size())), std::uint8_t{0});
  numberPartitions = static_cast<std::uint16_t>(addPartitionsDefined + 1);
  for (std::uint16_t i = 0; i < numberPartitions; ++i) writeBigEndian(list, SIZES + 2u * i, 2, sizes[i]);

  logDump("SCSI", "TapeCmdCreatePartition - cmdModeSelect", list);
  status = runStep(*this, *target, select);
  logger->logDebug("SCSI", 0, "TapeCmdCreatePartition - cmdModeSelect - Sense Key: %02x",
                   select.getSenseKey());
  if (status != CMD_OK && select.getSenseKey() == RECOVERED_ERROR) {
    logDump("SCSI", "TapeCmdCreatePartition - cmdModeSelect - FAILED recovered error", select.senseSpan());
  } else if (status != CMD_OK) {
    logDump("SCSI", "TapeCmdCreatePartition - cmdModeSelect - FAILED", select.senseSpan());
    return status;
  }

  TapeCmdFormat format(FORMAT_AS_THE_PAGE_SAYS, false);
  format.setSenseDataLength(senseLength);
  logDump("SCSI", "cmdTapeFormat CDBs", format.cdbSpan());
  logger->logDebug("SCSI", 0, "TapeCmdCreatePartition - Format Medium command");
  status = runStep(*this, *target, format);
  return status;
}

void TapeCmdCreatePartition::printValues(bool labelled) {
  if (!labelled) {
    logger->logDebug(
        "SCSI", 0,
        "gotParameters = %d, maxAdditionalPartitions = %d, addPartitionsDefined = %d, dataPartitionType = %d",
        gotParameters, maxAdditionalPartitions, addPartitionsDefined, dataPartitionType);
    logger->logDebug("SCSI", 0, "partitionUnits = %d, partitionType = %d, numberPartitions = %d",
                     partitionUnits, partitionType, numberPartitions);
    return;
  }
  logger->logDebug("SCSI", 0, "maxAdditionalPartitions        :%d", maxAdditionalPartitions);
  logger->logDebug("SCSI", 0, "addPartitionsDefined           :%d", addPartitionsDefined);
  logger->logDebug("SCSI", 0, "dataPartitionType              :%d", dataPartitionType);
  logger->logDebug("SCSI", 0, "partitionUnits                 :%d", partitionUnits);
  logger->logDebug("SCSI", 0, "partitionType                  :%d", partitionType);
  logger->logDebug("SCSI", 0, "numberPartitions               :%d", numberPartitions);
}
