// Who is there: identification by INQUIRY (SPC-4).
#include <algorithm>
#include <string>

#include "device/arrived_data.h"
#include "device/scan_witness.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "scsi/device_types.h"
#include "scsi/text_field.h"

namespace {

constexpr std::uint8_t SERIAL_NUMBER_PAGE = 0x80;
constexpr std::uint8_t DEVICE_IDENTIFICATION_PAGE = 0x83;
constexpr std::uint8_t PROTOCOL_SAS = 6;
constexpr std::uint16_t SERIAL_ALLOCATION = 30;

/// Sends a question that tells devices apart.
bool isAnswered(ScsiTarget& target, ScsiCmdInquiry& inquiry) {
  if (target.scsiExecCDB(inquiry) == CMD_OK) return true;
  ScanWitness::unanswered(target, inquiry);
  return false;
}

/// A tape drive of these families tells its protocol in the standard data.
bool isSasByStandardInquiry(ScsiTarget& target) {
  const std::string model = target.getModelName();
  if (model.find("PX") == std::string::npos && model.find("RX") == std::string::npos) return false;
  logger->logDebug("SCSI", 0, "Check Interface Typ by Inquiry Page 0");
  ScsiCmdInquiry inquiry(0, false, 96);
  if (!isAnswered(target, inquiry)) return false;
  const auto data = arrivedData(target, inquiry);
  if (readByte(data, 2) != 6 || readByte(data, 38) >> 4 != PROTOCOL_SAS) return false;
  logger->logDebug("SCSI", 0, "Interface Typ SAS detected by Inquiry Page 0");
  return true;
}

bool isSasByDeviceIdentification(ScsiTarget& target) {
  ScsiCmdInquiry inquiry(DEVICE_IDENTIFICATION_PAGE, true, 100);
  // A drive that refuses the page says nothing about its ports.
  if (!isAnswered(target, inquiry)) return false;
  const auto data = arrivedData(target, inquiry);
  logDump("SCSI", (std::string("Inquiry Page 0x83 ") + target.getModelName()).c_str(), data);

  // The first designator names the logical unit, the second the port, whose protocol is told in the high
  // nibble.
  const int pageLength = readByte(data, 3);
  const int firstLength = readByte(data, 7);
  const int rest = pageLength - firstLength;
  if (rest > 4) {
    const int second = 8 + firstLength;
    const std::uint8_t protocol = readByte(data, static_cast<std::size_t>(second));
    logger->logDebug("SCSI", 0, "Port Identification descriptor is available. length is 0x%02X value 0x%02X",
                     rest, protocol);
    if (protocol >> 4 == PROTOCOL_SAS) {
      logger->logDebug("SCSI", 0, "Interface SAS Typ detected by Inquiry Page 0x83 Byte %d", second);
      return true;
    }
  }
  // Drives whose page has this length are SAS drives, whatever their descriptors say.
  if (pageLength == 0x52) {
    logger->logDebug("SCSI", 0, "Interface SAS Typ detected by Inquiry Page 0x83 Byte 3 page length");
    return true;
  }
  return false;
}

}  // namespace

ReturnCode ScsiTarget::retrieveInitialInquiryData() {
  if (inquiryDataValid) {
    logger->logDebug("SCSI", 0, "retrieveInitialInquiryData() Inquiry Data are already set");
    return CMD_OK;
  }
  return guarded(CMD_NO_MEMORY, [&] {
    const ReturnCode result = readStandardInquiry();
    if (result != CMD_OK) return result;
    readSerialNumber();
    detectInterfaceType();
    inquiryDataValid = true;
    logger->logDebug("SCSI", 0, "ScsiTarget::open Inquiry cmd OK [%s-%s]", vendorName.c_str(),
                     modelName.c_str());
    logger->logDebug("SCSI", 0, "retrieveInitialInquiryData() returned CMD_OK!");
    return CMD_OK;
  });
}

ReturnCode ScsiTarget::readStandardInquiry() {
  ScsiCmdInquiry inquiry(0, false, 36);
  const ReturnCode result = scsiExecCDB(inquiry);
  if (result != CMD_OK) {
    logger->logError("SCSI", 0, "ScsiTarget::open Inquiry cmd failed: (%d-%d-%d)", inquiry.getSenseKey(),
                     inquiry.getASC(), inquiry.getASCQ());
    ScanWitness::refused(driverName, ERROR_IO_DEVICE);
    return result;
  }
  const auto data = arrivedData(*this, inquiry);
  logger->logDebug("SCSI", 0, "retrieveInitialInquiryData() Inquiry passed");
  logDump("SCSI", "Standard Inquiry Page 0x00", data);
  if (!data.empty()) deviceTyp = data[0];
  vendorName = readText(data, 8, 8);
  modelName = readText(data, 16, 16);
  firmwareVersion = readText(data, 32, 4);
  inquiryByte6 = readByte(data, 6);
  inquiryByte7 = readByte(data, 7);
  interfaceType = "N/A";
  return CMD_OK;
}

void ScsiTarget::readSerialNumber() {
  serialNumber.clear();
  if (deviceTyp != SEQUENTIAL_ACCESS_DEVICE && deviceTyp != MEDIUM_CHANGER) {
    logger->logDebug("SCSI", 0, "ScsiTarget::skip Inquiry page 0x80");
    return;
  }
  ScsiCmdInquiry inquiry(SERIAL_NUMBER_PAGE, true, SERIAL_ALLOCATION);
  if (!isAnswered(*this, inquiry)) {
    logger->logError("SCSI", 0, "ScsiTarget::Inquiry page 0x80 failed");
    return;
  }
  const auto data = arrivedData(*this, inquiry);
  // A longer serial number is cut to what the allocation holds behind the page's header.
  const std::size_t length = std::min<std::size_t>(readBe16(data, 2), SERIAL_ALLOCATION - 4);
  serialNumber = readText(data, 4, length);
  logDump("SCSI", "Inquiry Data 0x80", data);
}

void ScsiTarget::detectInterfaceType() {
  if ((inquiryByte6 & 0x01) != 0 || (inquiryByte7 & 0x20) != 0) {
    interfaceType = "SCSI";
  } else if (deviceTyp == SEQUENTIAL_ACCESS_DEVICE) {
    const bool sasByStandardInquiry = isSasByStandardInquiry(*this);
    interfaceType = isSasByDeviceIdentification(*this) || sasByStandardInquiry ? "SAS" : "Fibre";
  }
}
