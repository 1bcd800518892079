#include <algorithm>
#include <cstring>

#include "changer/element_status_layout.h"
#include "device/arrived_data.h"
#include "frame/log_dump.h"
#include "kiv/changer/commands.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "kiv/library/drive_mapping.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "platform/win32.h"
#include "scsi/device_types.h"
#include "scsi/sense.h"

namespace {

/// What the allocation length of the CDB can say.
constexpr ulong32 LONGEST_REPORT = 0xFFFFFF;
constexpr std::size_t FIRST_DESCRIPTOR = REPORT_HEADER + PAGE_HEADER;

/// Seconds that a changer may take to become ready.
constexpr int READY_ROUNDS = 61;

/// Whether waiting may help: the changer is becoming ready, or tells that something has happened to it.
bool isWorthWaiting(const ScsiCommand& failed) {
  return failed.isSenseDataValid() &&
         (hasSense(failed, BECOMING_READY) || failed.getSenseKey() == UNIT_ATTENTION);
}

/// Sends TEST UNIT READY once a second until the changer is ready or says that it will not be. False, with
/// the sense data in `ready`, when the last one fails.
bool waitUntilReady(ScsiTarget& changer, ScsiCmdTestUnitReady& ready) {
  for (int round = 0; round < READY_ROUNDS; ++round) {
    Sleep(1000);
    if (changer.scsiExecCDB(ready) == CMD_OK || !isWorthWaiting(ready)) break;
  }
  // The rounds may have ended without an answer, or with a condition that was reported by that: this one
  // counts.
  return changer.scsiExecCDB(ready) == CMD_OK;
}

/// Whether the serial number stands anywhere in the identifier.
bool occursIn(const std::uint8_t* identifier, std::size_t length, const char* serialNumber) {
  const std::size_t serialLength = std::strlen(serialNumber);
  const auto* end = identifier + length;
  return std::search(identifier, end, serialNumber, serialNumber + serialLength,
                     [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); }) != end;
}

}  // namespace

ChangerLibraryBaseCommands::ChangerLibraryBaseCommands(ScsiTarget* target) : changer(target) {}

void ChangerLibraryBaseCommands::resetElementsData() {
  firstMediumTransportElementAddress = numberOfMediumTransportElements = 0;
  firstStorageElementAddress = numberOfStorageElements = 0;
  firstIOElementAddress = numberOfIOElements = 0;
  firstDataTransferElementAddress = numberOfDataTransferElements = 0;
  elementsDataAvailable = false;
}

bool ChangerLibraryBaseCommands::getElementAddressRanges() {
  resetElementsData();
  if (changer == nullptr) {
    logger->logError("CLCO", 0, "getElementAddressRanges: changer is NULL");
    return false;
  }
  const auto failed = [this](const char* what, ScsiCommand& cmd) {
    takeoverCmdData(cmd);
    logger->logError("CLCO", 0,
                     "getElementAddressRanges: %s failed SK:(%2.2Xh) ASC:(%2.2Xh) ASCQ:(%2.2Xh), [%s][%s]",
                     what, cmd.getSenseKey(), cmd.getASC(), cmd.getASCQ(), changer->getModelName(),
                     changer->getSerialNumber());
    return false;
  };

  ChangerCmdElementInformation information;
  if (changer->scsiExecCDB(information) != CMD_OK) {
    if (!isWorthWaiting(information)) return failed("Mode Sense Command", information);
    ScsiCmdTestUnitReady ready;
    if (!waitUntilReady(*changer, ready)) return failed("TUR ready", ready);
    if (changer->scsiExecCDB(information) != CMD_OK) return failed("Loop Element Info Command", information);
  }
  firstMediumTransportElementAddress = information.getFirstMediumTransportElementAddress();
  numberOfMediumTransportElements = information.getNumberOfMediumTransportElements();
  firstStorageElementAddress = information.getFirstStorageElementAddress();
  numberOfStorageElements = information.getNumberOfStorageElements();
  firstIOElementAddress = information.getFirstIOElementAddress();
  numberOfIOElements = information.getNumberOfIOElements();
  firstDataTransferElementAddress = information.getFirstDataTransferElementAddress();
  numberOfDataTransferElements = information.getNumberOfTransferElements();
  elementsDataAvailable = true;
  logger->logDebug("CLCO", 0,
                   "getElementAddressRanges: Library Element "
                   "Addresses:[%2.2Xh][%d],[%2.2Xh][%d],[%2.2Xh][%d],[%2.2Xh][%d]",
                   firstMediumTransportElementAddress, numberOfMediumTransportElements,
                   firstStorageElementAddress, numberOfStorageElements, firstIOElementAddress,
                   numberOfIOElements, firstDataTransferElementAddress, numberOfDataTransferElements);
  return true;
}

unsigned char* ChangerLibraryBaseCommands::getDescriptorTableOfReadElement(ChangerCmdReadElementStatus& cmd,
                                                                           unsigned int& descriptorLength,
                                                                           unsigned int& elementCount,
                                                                           unsigned char& volumeTagPresent) {
  descriptorLength = 0;
  elementCount = 0;
  volumeTagPresent = 0;
  if (changer == nullptr) return nullptr;
  const auto execute = [&] {
    if (changer->scsiExecCDB(cmd) == CMD_OK) return true;
    takeoverCmdData(cmd);
    logger->logError("CLCO", 0, "ReadElementStatus failed: SK:(%2.2Xh) ASC:(%2.2Xh) ASCQ:(%2.2Xh), [%s][%s]",
                     cmd.getSenseKey(), cmd.getASC(), cmd.getASCQ(), changer->getModelName(),
                     changer->getSerialNumber());
    logDump("CLCO", "ReadElementStatus sense data", cmd.senseSpan());
    return false;
  };

  if (!execute()) return nullptr;
  const ulong32 reportLength = std::min(cmd.getByteCntReportAvail() + REPORT_HEADER, LONGEST_REPORT);
  cmd.setNbrOfElements(cmd.getNumberElementsAvail());
  if (cmd.setAllocLength(reportLength) != CMD_OK || !execute()) return nullptr;

  const auto report = arrivedData(*changer, cmd);
  logDump("CLCO", "ReadElementStatus data", cmd.ioDataSpan());
  if (report.size() < FIRST_DESCRIPTOR) return nullptr;
  volumeTagPresent = (readByte(report, 9) & 0x80) != 0;
  descriptorLength = readBe16(report, 10);
  elementCount = readBe16(report, 2);
  return cmd.getIoData() + FIRST_DESCRIPTOR;
}

bool ChangerLibraryBaseCommands::compareDeviceInquiry(const unsigned char* identifier, ulong32 length) {
  if (device == nullptr || device->getDeviceTyp() != SEQUENTIAL_ACCESS_DEVICE) {
    logger->logError("CLCO", 20, "compareDeviceInquiry: Device is NULL or is not a drive");
    return false;
  }
  const char* serialNumber = device->getSerialNumber();
  logDump("CLCO", "compareDeviceInquiry: ident data\n", {identifier, length});
  logger->logDebug("CLCO", 0, "compareDeviceInquiry: Inquiry to compare [%s]", serialNumber);
  // A drive that does not tell its serial number could sit in any bay that holds a drive.
  const bool matches = length != 0 && identifier != nullptr &&
                       (*serialNumber == '\0' || occursIn(identifier, length, serialNumber));
  if (matches) {
    logger->logDebug("CLCO", 0, "compareDeviceInquiry: Inquiry data matches, [%s]\n", serialNumber);
  } else {
    logger->logDebug("CLCO", 0, "::compareDeviceInquiry - Inquiry data do not match, [%s]", serialNumber);
  }
  return matches;
}
