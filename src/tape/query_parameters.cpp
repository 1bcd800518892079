#include <algorithm>
#include <array>
#include <optional>

#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/device/driver_target.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/tape/driver_parameters.h"
#include "kiv/tape/parameters.h"
#include "scsi/sense.h"
#include "tape/mode_page.h"
#include "tape/parameter_fields.h"

namespace {

constexpr std::uint8_t POWER_CONDITION_PAGE_LENGTH = 38;

using Value = std::optional<std::uint32_t>;

bool isSubpage(const SenseModePage& sense, const ModePage& page) {
  return (sense[4] & 0x30) == (page.code & 0x30) && sense[5] == page.subpage;
}

Value compression(const SenseModePage& sense) {
  if (!sense.holds(COMPRESSION_ENABLE + 1)) return std::nullopt;
  const std::uint32_t on = (sense[COMPRESSION_ENABLE] & COMPRESSION_BIT) != 0;
  logger->logDebug("SCSI", 0, "getCompression, compression on? %ld ", static_cast<long>(on));
  return on;
}

Value blockLength(const SenseModePage& sense) {
  const bool hasDescriptor =
      sense[BLOCK_DESCRIPTOR_LENGTH] >= BLOCK_DESCRIPTOR && sense.holds(MODE_HEADER + BLOCK_DESCRIPTOR);
  if (!hasDescriptor) return std::nullopt;
  const std::uint32_t length = readBe24(sense.arrived(), BLOCK_LENGTH);
  logger->logDebug("SCSI", 0, "getBlockLength(), Block length %ld", static_cast<long>(length));
  return length;
}

Value writeCache(const SenseModePage& sense) {
  if (!sense.holds(DEVICE_SPECIFIC + 1)) return std::nullopt;
  const std::uint32_t on = (sense[DEVICE_SPECIFIC] & BUFFERED_MODE_MASK) != 0;
  logger->logDebug("SCSI", 0, "getWriteCache: WriteCache is: %ld", static_cast<long>(on));
  return on;
}

Value dataSafeMode(const SenseModePage& sense) {
  if (!isSubpage(sense, DEVICE_CONFIGURATION_EXTENSION_PAGE) || !sense.holds(DATA_SAFE_MODE + 1))
    return std::nullopt;
  return sense[DATA_SAFE_MODE] >= DATA_SAFE_BIT;
}

Value skipSync(const SenseModePage& sense) {
  if (!isSubpage(sense, SKIP_SYNC_PAGE) || !sense.holds(VENDOR_FLAGS + 1)) return std::nullopt;
  return (sense[VENDOR_FLAGS] & SKIP_SYNC_BIT) != 0;
}

Value sleepModeTimer(const SenseModePage& sense) {
  const bool isPage =
      (sense[4] & 0x3F) == POWER_CONDITION_PAGE.code && sense[5] >= POWER_CONDITION_PAGE_LENGTH;
  if (!isPage || !sense.holds(IDLE_C_TIMER + 4)) return std::nullopt;
  const bool enabled = (sense[IDLE_C_ENABLE] & IDLE_C_BIT) != 0;
  return enabled ? readBe32(sense.arrived(), IDLE_C_TIMER) / TIMER_UNITS : 0;
}

Value archiveModeUnthread(const SenseModePage& sense) {
  if (!isSubpage(sense, ARCHIVE_MODE_UNTHREAD_PAGE) || !sense.holds(VENDOR_FLAGS + 1)) return std::nullopt;
  return (sense[VENDOR_FLAGS] & UNTHREAD_BIT) != 0;
}

/// How a parameter is queried and shown.
struct Query {
  ParamType type;
  const char* name;
  bool isNumber;
  ModePage page;
  bool blockDescriptors;
  /// The value in the mode data that arrived; none when the page is not what was asked for.
  Value (*decode)(const SenseModePage& sense);
  const char* component;
  const char* title;
};

constexpr const char* VENDOR_TITLE = "Getparms generic AMU ModeSense Data";

// clang-format off
constexpr std::array QUERIES = {
    Query{PARAM_COMPRESSION, "Compression", false, DATA_COMPRESSION_PAGE, false, compression,
          "SCSI", "getCompression ModeSense Data"},
    Query{PARAM_BLOCK_LENGTH, "Block Size", true, DATA_COMPRESSION_PAGE, WITH_BLOCK_DESCRIPTORS, blockLength,
          "SCSI", "getBlockLength(), ModeSense page Data"},
    Query{PARAM_WRITE_CACHE, "Buffered Mode", false, DATA_COMPRESSION_PAGE, false, writeCache,
          "SCSI", "getWriteCache ModeSense Data"},
    Query{PARAM_DATA_SAFE_MODE, "Data Safe Mode", false, DEVICE_CONFIGURATION_EXTENSION_PAGE, false, dataSafeMode,
          "TSTS", VENDOR_TITLE},
    Query{PARAM_SKIP_SYNC, "Skip Sync", false, SKIP_SYNC_PAGE, false, skipSync,
          "TSTS", VENDOR_TITLE},
    Query{PARAM_SLEEP_MODE_TIMER, "Sleep Mode Timer", true, POWER_CONDITION_PAGE, false, sleepModeTimer,
          "TSTS", VENDOR_TITLE},
    Query{PARAM_ARCHIVE_MODE_UNTHREAD, "Archive Mode Unthread", false, ARCHIVE_MODE_UNTHREAD_PAGE, false,
          archiveModeUnthread, "TSTS", VENDOR_TITLE},
};
// clang-format on

const Query* findQuery(ParamType type) {
  const auto query = std::ranges::find(QUERIES, type, &Query::type);
  return query == QUERIES.end() ? nullptr : &*query;
}

}  // namespace

TapeMetaCmdQueryParam::TapeMetaCmdQueryParam(ScsiTarget* device, std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes), all(true) {}

TapeMetaCmdQueryParam::TapeMetaCmdQueryParam(ScsiTarget* device, ParamType parameter, std::uint8_t senseBytes)
    : TapeMetaCommands(device, senseBytes), type(parameter), all(false) {}

ReturnCode TapeMetaCmdQueryParam::queryParameter() {
  return concluded(guarded(CMD_NO_MEMORY, [&] {
    parameters.clearAllParameters();
    if (target == nullptr) {
      logger->logDebug("SCSI", 0, "queryParameter(), dynamic cast failed ");
      return CMD_INVALID_HANDLE;
    }
    if (!all) return queryOne(type);
    for (const Query& query : QUERIES) {
      const ReturnCode status = queryOne(query.type);
      // A drive without the page refuses the request; its other parameters are still wanted.
      const bool refused = isSenseDataValid() && getSenseKey() == ILLEGAL_REQUEST;
      if (status != CMD_OK && !refused) return status;
    }
    return CMD_OK;
  }));
}

ReturnCode TapeMetaCmdQueryParam::queryOne(ParamType parameter) {
  return driverForParameter(target, parameter) != nullptr ? queryByDriver(parameter)
                                                          : queryByModePage(parameter);
}

ReturnCode TapeMetaCmdQueryParam::queryByDriver(ParamType parameter) {
  QORTapeMetaCmdQueryParam twin(target, parameter);
  twin.setSenseDataLength(senseLength);
  const ReturnCode status = runStep(*this, *driverForParameter(target, parameter), twin);
  logger->logDebug("SCSI", 0, "queryParameter(), cmd status %d size %d ", static_cast<int>(status),
                   static_cast<int>(twin.getIoDataLength()));
  if (status == CMD_OK) addEntry(parameter, twin.getValue());
  return status;
}

ReturnCode TapeMetaCmdQueryParam::queryByModePage(ParamType parameter) {
  const Query* query = findQuery(parameter);
  if (query == nullptr) return CMD_NOT_SUPPORTED;

  SenseModePage sense(query->page, senseLength, query->blockDescriptors);
  const ReturnCode status = runStep(*this, *target, sense);
  if (status != CMD_OK) {
    if (parameter == PARAM_BLOCK_LENGTH) {
      logger->logDebug("SCSI", 0, "getBlockLength(), ModeSense page %2.2Xh failed, (%2.2Xh-%2.2Xh-%2.2Xh)",
                       query->page.code, sense.getSenseKey(), sense.getASC(), sense.getASCQ());
    }
    return status;
  }
  logDump(query->component, query->title, sense.ioDataSpan());
  if (const Value decoded = query->decode(sense)) addEntry(parameter, *decoded);
  if (parameter != PARAM_COMPRESSION) return CMD_OK;

  SenseModePage configuration(DEVICE_CONFIGURATION_PAGE, senseLength);
  const ReturnCode logged = runStep(*this, *target, configuration);
  if (logged == CMD_OK) logDump("SCSI", "getCompression ModeSense 0x10 Data", configuration.ioDataSpan());
  return logged;
}

void TapeMetaCmdQueryParam::addEntry(ParamType parameter, std::uint32_t newValue) {
  value = newValue;
  const Query* query = findQuery(parameter);
  if (query == nullptr) return;
  if (query->isNumber) {
    parameters.add(new ParameterValueTemplate<long>(static_cast<long>(newValue), query->name, parameter, true,
                                                    OUTPUT_YES_NO));
  } else {
    parameters.add(
        new ParameterValueTemplate<bool>(newValue != 0, query->name, parameter, true, OUTPUT_YES_NO));
  }
}

ReturnCode TapeMetaCmdQueryParam::readOne(ParamType parameter) {
  type = parameter;
  all = false;
  const ReturnCode status = queryParameter();
  return concluded(status == CMD_OK && parameters.getParameterCount() == 0 ? CMD_ERROR : status);
}

static ReturnCode logged(ReturnCode status, const char* success, std::uint32_t value, const char* failure) {
  if (status == CMD_OK) {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::%s%ld", success, static_cast<long>(value));
  } else {
    logger->logDebug("SCSI", 0, "TapeMetaCommands::%s", failure);
  }
  return status;
}

ReturnCode TapeMetaCmdQueryParam::getBlockLength(ulong32& length) {
  const ReturnCode status = readOne(PARAM_BLOCK_LENGTH);
  if (status == CMD_OK) length = value;
  return logged(status, "getBlockLength(), succeeded! blockLength is:", value, "getBlockLength(), failed");
}

ReturnCode TapeMetaCmdQueryParam::getWriteCache(bool* on) {
  const ReturnCode status = readOne(PARAM_WRITE_CACHE);
  if (status == CMD_OK) *on = value != 0;
  return logged(status, "getWriteCache() succeeded! WriteCache is: ", value, "getWriteCache(), failed");
}

ReturnCode TapeMetaCmdQueryParam::getCompression(bool* on) {
  const ReturnCode status = readOne(PARAM_COMPRESSION);
  if (status == CMD_OK) *on = value != 0;
  return logged(status, "getCompression(), succeeded! Compression is: ", value, "getCompression(), failed");
}
