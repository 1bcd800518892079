#include "kiv/tape/parameters.h"

#include <algorithm>
#include <utility>

#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/device/driver_target.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/tape/driver_parameters.h"
#include "scsi/cdb.h"
#include "tape/mode_page.h"
#include "tape/parameter_fields.h"

namespace {

void logSense(const char* failure, const ScsiCommand& failed) {
  logger->logDebug("SCSI", 0, "%s SK:(%2.2Xh) ASC:(%2.2Xh) ASCQ:(%2.2Xh)", failure, failed.getSenseKey(),
                   failed.getASC(), failed.getASCQ());
}

void logBlockLengthSense(const ScsiCommand& failed) {
  logger->logDebug("SCSI", 0, "setBlockLength(), ModeSense page %2.2Xh failed, (%2.2Xh-%2.2Xh-%2.2Xh)",
                   DATA_COMPRESSION_PAGE.code, failed.getSenseKey(), failed.getASC(), failed.getASCQ());
}

/// A parameter that is one field of one mode page.
struct PageParameter {
  ParamType type;
  ModePage page;
  std::size_t end;  ///< of the field, in the mode data
  /// Changes the list; may change the value to what the drive is given.
  void (*change)(SelectModePage& select, std::uint32_t& value);
  const char* senseFailed;
  const char* selectFailed;
};

void changeWriteCache(SelectModePage& select, std::uint32_t& value) {
  writeByte(select.list(), DEVICE_SPECIFIC, value == 1 ? BUFFERED_MODE : 0);
}

void changeDataSafeMode(SelectModePage& select, std::uint32_t& value) {
  writeBits(select.list(), DATA_SAFE_MODE, DATA_SAFE_MASK, value == 1 ? DATA_SAFE_BIT : 0);
}

void changeSkipSync(SelectModePage& select, std::uint32_t& value) {
  writeBits(select.list(), VENDOR_FLAGS, SKIP_SYNC_BIT, value ? SKIP_SYNC_BIT : 0);
}

void changeArchiveModeUnthread(SelectModePage& select, std::uint32_t& value) {
  writeBits(select.list(), VENDOR_FLAGS, UNTHREAD_BIT, value ? UNTHREAD_BIT : 0);
}

void changeSleepModeTimer(SelectModePage& select, std::uint32_t& value) {
  logger->logDebug("SCSI", 0, "Low Power Idle Timer old value:%d",
                   static_cast<int>(readBe32(select.list(), IDLE_C_TIMER) / TIMER_UNITS));
  value = std::min(value, UINT32_MAX / TIMER_UNITS) * TIMER_UNITS;
  writeByte(select.list(), IDLE_C_ENABLE, value ? IDLE_C_BIT : 0);
  writeBigEndian(select.list(), IDLE_C_TIMER, 4, value);
}

// clang-format off
constexpr PageParameter PAGE_PARAMETERS[] = {
    {PARAM_WRITE_CACHE, DATA_COMPRESSION_PAGE, DEVICE_SPECIFIC + 1, changeWriteCache,
     "setWriteCache() ModeSense Data Failed", "setWriteCache() ModeSelect Data Failed"},
    {PARAM_DATA_SAFE_MODE, DEVICE_CONFIGURATION_EXTENSION_PAGE, DATA_SAFE_MODE + 1, changeDataSafeMode,
     "datasafemode ModeSense Data Failed", "datasafemode ModeSelect Data Failed"},
    {PARAM_SKIP_SYNC, SKIP_SYNC_PAGE, VENDOR_FLAGS + 1, changeSkipSync,
     "skipsync ModeSense Data Failed", "skipsync ModeSelect Data Failed"},
    {PARAM_SLEEP_MODE_TIMER, POWER_CONDITION_PAGE, IDLE_C_TIMER + 4, changeSleepModeTimer,
     "SLEEP Mode ModeSense Data Failed", "SLEEP mode ModeSelect Data Failed"},
    {PARAM_ARCHIVE_MODE_UNTHREAD, ARCHIVE_MODE_UNTHREAD_PAGE, VENDOR_FLAGS + 1, changeArchiveModeUnthread,
     "AMU ModeSense Data Failed", "AMU ModeSelect Data Failed"},
};
// clang-format on

}  // namespace

TapeMetaCommands::TapeMetaCommands(ScsiTarget* device, std::uint8_t senseBytes)
    : GenericScsiCommand(CDB_6), target(device), senseLength(senseBytes) {}

ReturnCode TapeMetaCommands::concluded(ReturnCode result) {
  setExecutionStatus(result);
  return result;
}

TapeMetaCmdSetParam::TapeMetaCmdSetParam(ScsiTarget* device, std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes) {}

TapeMetaCmdSetParam::TapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter, std::uint32_t newValue,
                                         std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes), type(parameter), value(newValue) {}

TapeMetaCmdSetParam::TapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter, std::string volume,
                                         std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes), type(parameter), volId(std::move(volume)) {}

ReturnCode TapeMetaCmdSetParam::setParameter() {
  return concluded(guarded(CMD_NO_MEMORY, [&] {
    logger->logDebug("SCSI", 0, "TapeMetaCmdSetParam::setParameter() ");
    if (target == nullptr) return CMD_INVALID_HANDLE;
    if (driverForParameter(target, type) != nullptr) return setByDriver();
    switch (type) {
      case PARAM_COMPRESSION:
        return selectCompression();
      case PARAM_BLOCK_LENGTH:
        return selectBlockLength();
      default:
        return selectOnePage();
    }
  }));
}

ReturnCode TapeMetaCmdSetParam::setByDriver() {
  logger->logDebug("SCSI", 0, "QORTapeMetaCmdSetParam::setParameter()");
  QORTapeMetaCmdSetParam twin(target, type, value);
  twin.setSenseDataLength(senseLength);
  twin.setVolId(volId);
  const ReturnCode status = runStep(*this, *driverForParameter(target, type), twin);
  if (status == CMD_OK && type == PARAM_BLOCK_LENGTH) value = twin.getValue();
  logger->logDebug("SCSI", 0, "setParameter(), cmd status %d ", static_cast<int>(status));
  return status;
}

ReturnCode TapeMetaCmdSetParam::selectCompression() {
  SenseModePage sense(DATA_COMPRESSION_PAGE, senseLength);
  ReturnCode status = runStep(*this, *target, sense);
  if (status != CMD_OK) {
    logSense("SetCOff ModeSense Data Failed, ", sense);
    return status;
  }
  if (!sense.brought(DATA_COMPRESSION_PAGE, COMPRESSION_ENABLE + 1)) return CMD_ERROR;
  SelectModePage select(DATA_COMPRESSION_PAGE, sense);
  writeBits(select.list(), COMPRESSION_ENABLE, COMPRESSION_BIT, value == 1 ? COMPRESSION_BIT : 0);
  status = runStep(*this, *target, select);
  if (status != CMD_OK) {
    logSense("setCompression ModeSelect Data Failed", select);
    return status;
  }
  if (value == 1) {
    SenseModePage configuration(DEVICE_CONFIGURATION_PAGE, senseLength);
    status = runStep(*this, *target, configuration);
    if (status != CMD_OK) return status;
    if (!configuration.brought(DEVICE_CONFIGURATION_PAGE, COMPRESSION_ALGORITHM + 1)) return CMD_ERROR;
    if (configuration[COMPRESSION_ALGORITHM] != 1) {
      SelectModePage algorithm(DEVICE_CONFIGURATION_PAGE, configuration);
      writeByte(algorithm.list(), COMPRESSION_ALGORITHM, 1);
      status = runStep(*this, *target, algorithm);
      if (status == CMD_OK) {
        logger->logDebug("SCSI", 0, "setCompression ModeSelect 0x10 Data PASSED");
      } else {
        logSense("setCompression ModeSelect 0x10 Data Failed", algorithm);
      }
      return status;
    }
  }
  logger->logDebug("SCSI", 0, "setCompression ModeSelect 0x10 not required");
  return CMD_OK;
}

ReturnCode TapeMetaCmdSetParam::selectBlockLength() {
  SenseModePage sense(DATA_COMPRESSION_PAGE, senseLength, WITH_BLOCK_DESCRIPTORS);
  ReturnCode status = runStep(*this, *target, sense);
  if (status != CMD_OK) {
    logBlockLengthSense(sense);
    return status;
  }
  if (sense[BLOCK_DESCRIPTOR_LENGTH] < BLOCK_DESCRIPTOR || !sense.holds(MODE_HEADER + BLOCK_DESCRIPTOR)) {
    logBlockLengthSense(sense);
    return CMD_ERROR;
  }
  const std::uint32_t wanted = value;
  // From here on the value is the length that was in force: the caller reports it.
  value = readBe24(sense.arrived(), BLOCK_LENGTH);
  logger->logDebug("SCSI", 0, "setBlockLength(), current Block length %ld, target length %ld",
                   static_cast<long>(value), static_cast<long>(wanted));
  if (value == wanted) return CMD_OK;

  SelectModePage select(MODE_HEADER + sense[BLOCK_DESCRIPTOR_LENGTH], sense);
  writeBigEndian(select.list(), BLOCK_LENGTH, 3, wanted);
  status = runStep(*this, *target, select);
  if (status == CMD_OK) {
    logger->logDebug("SCSI", 0, "setBlockLength(), Mode Select succeeded, setting block length %ld",
                     static_cast<long>(wanted));
  } else {
    logger->logDebug(
        "SCSI", 0,
        "setBlockLength(), Mode Select failed (%2.2Xh-%2.2Xh-%2.2Xh), trying to set block length %ld",
        select.getSenseKey(), select.getASC(), select.getASCQ(), static_cast<long>(wanted));
  }
  return status;
}

ReturnCode TapeMetaCmdSetParam::selectOnePage() {
  const auto parameter = std::ranges::find(PAGE_PARAMETERS, type, &PageParameter::type);
  if (parameter == std::end(PAGE_PARAMETERS)) return CMD_NOT_SUPPORTED;
  const bool dumped = type == PARAM_ARCHIVE_MODE_UNTHREAD;

  SenseModePage sense(parameter->page, senseLength);
  ReturnCode status = runStep(*this, *target, sense);
  if (status != CMD_OK) {
    logger->logDebug("SCSI", 0, "%s", parameter->senseFailed);
    return status;
  }
  if (dumped) logDump("TSTS", "setparms generic AMU ModeSense Data", sense.ioDataSpan());
  if (!sense.brought(parameter->page, parameter->end)) return CMD_ERROR;
  SelectModePage select(parameter->page, sense);
  parameter->change(select, value);
  if (dumped) logDump("TSTS", "setparms generic AMU ModeSelect Data", select.ioDataSpan());
  status = runStep(*this, *target, select);
  if (status != CMD_OK) logger->logDebug("SCSI", 0, "%s", parameter->selectFailed);
  return status;
}

static ReturnCode logged(ReturnCode status, const char* operation, int value,
                         const char* success = "succeeded!") {
  logger->logDebug("SCSI", 0, "TapeMetaCommands::%s(), setting %d %s", operation, value,
                   status == CMD_OK ? success : "failed");
  return status;
}

ReturnCode TapeMetaCmdSetParam::setCompression(bool on) {
  type = PARAM_COMPRESSION;
  value = on;
  return logged(setParameter(), "setCompression", on);
}

ReturnCode TapeMetaCmdSetParam::setBlockLength(ulong32 length, ulong32* previous) {
  type = PARAM_BLOCK_LENGTH;
  value = static_cast<std::uint32_t>(length);
  const ReturnCode status = setParameter();
  if (status != CMD_OK) {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::setBlockLength(), setting %ld failed",
                     static_cast<long>(length));
    return status;
  }
  if (previous != nullptr) *previous = value;
  logger->logDebug("SCSI", 0,
                   "TapeMetaCommands::setBlockLength(), setting %ld succeeded! previous length %ld",
                   static_cast<long>(length), static_cast<long>(value));
  return status;
}

ReturnCode TapeMetaCmdSetParam::setWriteCache(bool on) {
  type = PARAM_WRITE_CACHE;
  value = on;
  return logged(setParameter(), "setWriteCache", on);
}

ReturnCode TapeMetaCmdSetParam::setImmediateMode(ulong32 mode) {
  type = PARAM_IMMEDIATE_MODE;
  value = static_cast<std::uint32_t>(mode);
  return logged(setParameter(), "setImmediateMode", static_cast<int>(mode), "succeeded");
}

ReturnCode TapeMetaCmdSetParam::setSILIMode(bool on) {
  type = PARAM_SILI_MODE;
  value = on;
  const ReturnCode status = setParameter();
  if (status == CMD_OK) {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::setSILIMode(), setting %d succeeded!", on);
  } else if (status == CMD_NOT_SUPPORTED) {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::setSILIMode(), setting %d not supported!", on);
  } else {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::setSILIMode(), setting rc:%d %d failed",
                     static_cast<int>(status), on);
  }
  return status;
}
