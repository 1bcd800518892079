#include "frame/guarded.h"
#include "kiv/config/component_id.h"
#include "kiv/frame/logger.h"
#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"
#include "update/product_string.h"
#include "update/report.h"

namespace {

/// The message of each result code, from 0 on.
constexpr const char* MESSAGES[] = {
    "Firmware update successful",
    "Device temporary disconnected - RESCAN REQUIRED",
    "Invalid file name",
    "Firmware file is corrupted",
    "Firmware update failed",
    "Reboot of tape device failed",
    "Invalid SCSI address selected",
    "Invalid Microcode level",
    "Configuration invalid",
};

std::string entryOf(ScsiTarget& target, int result) {
  const ShortageWatch memory;
  const std::string product = documentedProductString(target);
  ComponentId ids;
  if (!ids.initialize("Devlist.txt"))
    logger->logDebug("MAIN", 0, "Componet IDs initialization failed (FW_CONFIG_ERROR)");
  if (memory.ranShort()) throw std::bad_alloc();
  if (!ids.isValid(product)) logger->logDebug("MAIN", 0, "Not supported product (FW_CONFIG_ERROR)");
  return resultEntry(deviceEntryStart(addressOf(target), product, ids.getId4InquiryData(product),
                                      target.getFirmwareVersion()),
                     result, resultMessage(result));
}

}  // namespace

const char* resultMessage(int result) {
  const bool known = result >= 0 && static_cast<std::size_t>(result) < std::size(MESSAGES);
  return known ? MESSAGES[result] : "Unknown failure";
}

std::string resultEntry(const std::string& entryStart, int result, const std::string& message) {
  return entryStart +
         "\n"
         "      <SPStatus result=\"" +
         (result == FW_NO_ERROR ? "true" : "false") +
         "\">\n"
         "        <Message id=\"" +
         std::to_string(result) + "\">" + message +
         "</Message>\n"
         "      </SPStatus>\n"
         "    </Application>\n"
         "  </Device>\n";
}

void UpdateFirmware::showResultHeader(int outputMode) {
  writeReport(RESULT_REPORT, outputMode, ReportPart::Start, RESULT_REPORT_START);
}

void UpdateFirmware::showUpdateResult(int index, int outputMode, int result) {
  const auto tell = [&] {
    std::string entry;
    if (ScsiTarget* target = supportedDevice(index)) {
      entry = entryOf(*target, result);
    } else {
      logger->logDebug("MAIN", 0, "Invalid Device Number provided (FW_NO_DRIVE_CONNECTED)");
    }
    writeReport(RESULT_REPORT, outputMode, ReportPart::Continuation, entry);
    return true;
  };
  // Once more after a shortage: a result that is not told is one that nobody acts on.
  if (!guarded(false, tell) && !guarded(false, tell))
    logger->logError("MAIN", 0, "Report %s lacks device %d: out of memory", RESULT_REPORT, index);
}

void UpdateFirmware::showResultTrailer(int outputMode) {
  writeReport(RESULT_REPORT, outputMode, ReportPart::Continuation, RESULT_REPORT_END);
}
