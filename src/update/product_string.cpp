#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>

#include "device/arrived_data.h"
#include "device/scan_witness.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/device/controller.h"
#include "kiv/frame/logger.h"
#include "kiv/frame/modes.h"
#include "kiv/frame/text.h"
#include "kiv/kiv.h"
#include "kiv/library/drive_mapping.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/update/scan_bus.h"
#include "scsi/device_types.h"
#include "update/product_string.h"

namespace {

constexpr char WHITE_SPACE[] = " \n\r\t";

/// Where a model keeps the bit that tells whether it is ready for automation.
struct FeatureBit {
  std::string_view model;  ///< part of the model name
  std::uint32_t offset;    ///< of the byte in the buffer
  std::uint8_t bufferId;   ///< of READ BUFFER
};

/// The bit is in the entry "lib_feature" of the buffer instead.
constexpr std::uint32_t NAMED_ENTRY = 65535;

/// Of several rows that fit a model, the last counts.
constexpr FeatureBit FEATURE_BITS[] = {
    {"PX1", 104, 3},         {"PX2", 6403, 3},        {"PX3", 403, 3},         {"RX3", 403, 3},
    {"PX4", 403, 3},         {"RX4", 403, 3},         {"PX5", 471, 3},         {"RX5", 471, 3},
    {"PX6", NAMED_ENTRY, 3}, {"RX6", NAMED_ENTRY, 3}, {"PX7", NAMED_ENTRY, 3}, {"RX7", NAMED_ENTRY, 3},
    {"PX8", NAMED_ENTRY, 3}, {"RX8", NAMED_ENTRY, 3}, {"W11", NAMED_ENTRY, 7},
};

/// Clear in a drive that is ready for automation.
constexpr std::uint8_t FEATURE_BYTE_MASK = 0x08;
constexpr ulong32 FEATURE_WORD_MASK = 0x10000000;

/// Models whose second hardware version is told by its load id.
constexpr std::string_view VERSIONED_MODELS[] = {"PX3", "RX3", "PX4", "RX4"};
constexpr std::uint32_t LAST_LOAD_ID_OF_VERSION_1 = 0xA1700D75;

const FeatureBit* featureBitOf(std::string_view model) {
  const FeatureBit* found = nullptr;
  for (const FeatureBit& row : FEATURE_BITS) {
    if (model.find(row.model) != model.npos) found = &row;
  }
  return found;
}

/// Sends a command that reads data. Nothing when it fails.
std::optional<std::span<const std::uint8_t>> readFrom(ScsiTarget& target, GenericScsiCommand& command) {
  if (target.scsiExecCDB(command) == CMD_OK) return arrivedData(target, command);
  ScanWitness::unanswered(target, command);
  return std::nullopt;
}

/// Logs the 64 bytes around a byte, as far as there are so many.
void dumpAround(std::span<const std::uint8_t> data, std::size_t offset) {
  const std::size_t begin = std::min(offset - std::min<std::size_t>(offset, 33), data.size());
  const std::size_t end = std::min(offset + 31, data.size());
  logDump("MAIN", "AutomationReady Check", data.subspan(begin, end - begin));
}

bool isAutomationReady(ScsiTarget& target, const FeatureBit& bit) {
  constexpr std::uint8_t DATA = 2;
  constexpr std::uint8_t DESCRIPTOR = 3;
  ScsiCmdReadBuffer readDescriptor(DESCRIPTOR, bit.bufferId, 0, 4);
  const auto descriptor = readFrom(target, readDescriptor);
  if (!descriptor) {
    logger->logDebug("MAIN", 0, "Buff descriptor Check fails");
    return false;
  }
  const std::uint32_t capacity = readBe24(*descriptor, 1);
  logger->logDebug("MAIN", 0, "BufferLength %d", static_cast<int>(capacity));
  if (capacity == 0) return false;

  ScsiCmdReadBuffer readData(DATA, bit.bufferId, 0, capacity);
  const auto data = readFrom(target, readData);
  if (!data) {
    logger->logDebug("MAIN", 0, "AutomationReady Check fails");
    return false;
  }
  if (bit.offset != NAMED_ENTRY) {
    const bool ready = bit.offset < data->size() && !((*data)[bit.offset] & FEATURE_BYTE_MASK);
    dumpAround(*data, bit.offset);
    return ready;
  }
  ulong32 features = 0;
  if (!getVPDEntryAsULong(readData.getIoData(), static_cast<ulong32>(data->size()), "lib_feature",
                          features)) {
    logger->logDebug("MAIN", 0, "::getVPDEntryAsUlong failed");
    return false;
  }
  logger->logDebug("MAIN", 0, "::getVPDEntryAsUlong returned: %ld", static_cast<long>(features));
  features &= FEATURE_WORD_MASK;
  if (features) return false;
  logger->logDebug("MAIN", 0, "::getVPDEntryAsUlong masked: %ld", static_cast<long>(features));
  return true;
}

/// Whether a tape library reports this drive in one of its bays.
bool isInsideLibrary(ScsiTarget& target) {
  const bool wasOpened = target.isOpened();
  std::vector<DriveMapping> drives;
  ChangerDriveMapping().getMapping(deviceController, drives);
  // The mapping opens and closes the drives that it compares, this one too.
  if (wasOpened) target.openDevice();
  logger->logDebug("MAIN", 0, "Drive/Libray Map contains %d ", static_cast<int>(drives.size()));
  const std::string_view serial = target.getSerialNumber();
  const bool inside = std::ranges::any_of(
      drives, [&](const DriveMapping& drive) { return drive.driveSerialNumber == serial; });
  if (inside) logger->logDebug("MAIN", 0, "Library Check %s is used inside a library", serial.data());
  return inside;
}

/// Reads the load id of a drive; nothing when the drive does not tell it.
std::optional<std::uint32_t> readLoadId(ScsiTarget& target) {
  constexpr std::uint8_t DESIGN_PAGE = 3;
  ScsiCmdInquiry inquiry(DESIGN_PAGE, true, 43);
  const auto page = readFrom(target, inquiry);
  if (!page) return std::nullopt;
  logDump("MAIN", "Inquiry Page 0x3", *page);
  const std::uint32_t loadId = readBe32(*page, 8);
  logger->logDebug("MAIN", 0, "Inquiry Page 0x3 Load ID %08X", loadId);
  if (page->size() < 12) return std::nullopt;
  return loadId;
}

bool isSecondVersion(ScsiTarget& target, std::string_view model) {
  const std::optional<std::uint32_t> loadId = readLoadId(target);
  return loadId && *loadId > LAST_LOAD_ID_OF_VERSION_1 &&
         std::ranges::any_of(VERSIONED_MODELS,
                             [&](std::string_view part) { return model.find(part) != model.npos; });
}

}  // namespace

std::string productString(ScsiTarget& target, const std::function<bool()>& isInLibrary) {
  const ShortageWatch memory;
  std::string vendor = target.getVendorName();
  std::string model = target.getModelName();
  trimString(vendor, WHITE_SPACE);
  trimString(model, WHITE_SPACE);
  std::string product = vendor + "-" + model;

  const bool wasOpened = target.isOpened();
  if (!wasOpened) target.openDevice();
  if (target.getDeviceTyp() == SEQUENTIAL_ACCESS_DEVICE) {
    product += std::string(":") + target.getInterfaceType();
    const FeatureBit* bit = automationReadyMode ? featureBitOf(model) : nullptr;
    if (bit && isAutomationReady(target, *bit)) product += ":AutomationReady";
    if (libraryMode && isInLibrary()) product += ":Library";
    if (isSecondVersion(target, model)) product += ":v2";
  }
  logger->logDebug("MAIN", 0, "Productstring is <%s>", product.c_str());
  if (!wasOpened) target.closeDevice();
  // A suffix whose test lacked memory is left out, and without it this is the name of another product.
  if (memory.ranShort()) throw std::bad_alloc();
  return product;
}

std::string documentedProductString(ScsiTarget& target) {
  return productString(target, [&] { return isInsideLibrary(target); });
}

char* getProductString(ScsiTarget* target, std::string& product) {
  // Half a name could be that of another product.
  product.clear();
  guarded([&] { product = documentedProductString(*target); });
  return product.data();
}

bool getVPDEntryAsULong(unsigned char* data, ulong32 length, std::string name, ulong32& value) {
  // A record, as offsets from its start; each number is a word. With N the length of the name:
  //   0 length of the rest   8 "NAME"   12 N   16 name   N+32 length of the value   N+36 value
  // Sums of hostile words stay below 2^35 here and cannot wrap.
  constexpr std::uint64_t RECORD_OVERHEAD = 36;
  constexpr std::uint32_t NAME = 0x4E414D45;
  const std::span<const std::uint8_t> buffer(data, data ? length : 0);
  if (buffer.size() <= RECORD_OVERHEAD) return false;

  for (std::uint64_t record = 0; record < buffer.size() - RECORD_OVERHEAD;) {
    const std::uint64_t recordLength = readBe32(buffer, record);
    if (recordLength == 0) return false;
    const std::uint64_t nameLength = readBe32(buffer, record + 12);
    if (readBe32(buffer, record + 8) == NAME && record + nameLength + 16 <= buffer.size() &&
        nameLength == name.size() && std::memcmp(&buffer[record + 16], name.data(), name.size()) == 0) {
      const std::uint64_t rest = record + nameLength;
      const std::uint64_t valueLength = readBe32(buffer, rest + 32);
      logger->logDebug("TSTS", 21, "getVPDEntryAsString check name %s Matches %lX length:%ld", name.c_str(),
                       static_cast<unsigned long>(readBe32(buffer, rest + 16)),
                       static_cast<long>(valueLength));
      if (rest + valueLength + RECORD_OVERHEAD < buffer.size() && valueLength < 9) {
        value = static_cast<ulong32>(readBigEndian(buffer, rest + RECORD_OVERHEAD, valueLength));
        logger->logDebug("TSTS", 21, "getVPDEntryAsString check name %s return %ld", name.c_str(),
                         static_cast<long>(value));
        return true;
      }
    }
    record += recordLength + 4;
  }
  return false;
}
