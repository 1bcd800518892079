#include "kiv/config/component_id.h"
#include "kiv/frame/logger.h"
#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"
#include "update/report.h"

namespace {

constexpr char FILE_NAME[] = "scsiExe.txt";

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

const char* messageOf(int result) {
  const bool known = result >= 0 && static_cast<std::size_t>(result) < std::size(MESSAGES);
  return known ? MESSAGES[result] : "Unknown failure";
}

std::string resultEntry(ScsiTarget& target, int result) {
  std::string product;
  getProductString(&target, product);
  ComponentId ids;
  if (!ids.initialize("Devlist.txt"))
    logger->logDebug("MAIN", 0, "Componet IDs initialization failed (FW_CONFIG_ERROR)");
  if (!ids.isValid(product)) logger->logDebug("MAIN", 0, "Not supported product (FW_CONFIG_ERROR)");
  return deviceEntryStart(target, product, ids.getId4InquiryData(product)) +
         "\n"
         "      <SPStatus result=\"" +
         (result == FW_NO_ERROR ? "true" : "false") +
         "\">\n"
         "        <Message id=\"" +
         std::to_string(result) + "\">" + messageOf(result) +
         "</Message>\n"
         "      </SPStatus>\n"
         "    </Application>\n"
         "  </Device>\n";
}

}  // namespace

void UpdateFirmware::showResultHeader(int outputMode) {
  writeReport(FILE_NAME, outputMode, ReportPart::Start,
              std::string(XML_DECLARATION) + "<SVMExecution lang=\"en\">\n");
}

void UpdateFirmware::showUpdateResult(int index, int outputMode, int result) {
  std::string entry;
  if (ScsiTarget* target = supportedDevice(index)) {
    entry = resultEntry(*target, result);
  } else {
    logger->logDebug("MAIN", 0, "Invalid Device Number provided (FW_NO_DRIVE_CONNECTED)");
  }
  writeReport(FILE_NAME, outputMode, ReportPart::Continuation, entry);
}

void UpdateFirmware::showResultTrailer(int outputMode) {
  writeReport(FILE_NAME, outputMode, ReportPart::Continuation, "</SVMExecution>\n");
}
