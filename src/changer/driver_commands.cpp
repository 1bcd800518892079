#include "kiv/changer/driver_commands.h"

#include "changer/changer_interface.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "platform/device_control.h"
#include "scsi/cdb.h"

namespace {

/// The order in which an address is looked up, should ranges overlap: transport, drive, import/export,
/// storage.
constexpr std::size_t LOOKUP_ORDER[] = {0, 3, 2, 1};

/// Translates an address of the CDB; one that lies in no range is logged under its name.
bool translate(void* changer, std::uint16_t address, const char* name, CHANGER_ELEMENT& element) {
  if (QORChangerCmdElementInformation::translateAddress(changer, address, element)) return true;
  logger->logDebug("SCSI", 0, "Could not translate %s %d", name, address);
  return false;
}

}  // namespace

ReturnCode QORChangerCmdElementInformation::doOperation(void* deviceHandle) {
  GET_CHANGER_PARAMETERS parameters;
  if (!getChangerParameters(deviceHandle, parameters)) return CMD_ERROR;
  constexpr std::uint8_t PAGE_CODE = 0x1D;
  constexpr std::uint8_t PAGE_LENGTH = 18;
  std::uint8_t page[24] = {sizeof page - 1, 0, 0, 0, PAGE_CODE, PAGE_LENGTH};
  std::size_t offset = 6;
  for (const ElementKind& kind : ELEMENT_KINDS) {
    writeBigEndian(page, offset, 2, parameters.*kind.first);
    writeBigEndian(page, offset + 2, 2, parameters.*kind.count);
    offset += 4;
  }
  copyIoData(page, sizeof page);
  return CMD_OK;
}

bool QORChangerCmdElementInformation::translateAddress(void* deviceHandle, std::uint16_t scsiAddress,
                                                       CHANGER_ELEMENT& element) {
  GET_CHANGER_PARAMETERS parameters;
  if (!getChangerParameters(deviceHandle, parameters)) return false;
  logElementRanges("", parameters);
  return translateAddress(parameters, scsiAddress, element);
}

bool QORChangerCmdElementInformation::translateAddress(const GET_CHANGER_PARAMETERS& parameters,
                                                       std::uint16_t scsiAddress, CHANGER_ELEMENT& element) {
  for (const std::size_t index : LOOKUP_ORDER) {
    const ElementKind& kind = ELEMENT_KINDS[index];
    const unsigned int first = parameters.*kind.first;
    if (scsiAddress >= first && scsiAddress < first + parameters.*kind.count) {
      element.ElementType = kind.windows;
      element.ElementAddress = scsiAddress - first;
      return true;
    }
  }
  return false;
}

std::uint16_t QORChangerCmdElementInformation::absoluteAddress(const GET_CHANGER_PARAMETERS& parameters,
                                                               const CHANGER_ELEMENT& element) {
  for (const ElementKind& kind : ELEMENT_KINDS) {
    if (kind.windows == elementType(element)) {
      return static_cast<std::uint16_t>(parameters.*kind.first + element.ElementAddress);
    }
  }
  return 0;
}

ReturnCode QORChangerCmdPreventAllowMediumRemoval::doOperation(void* deviceHandle) {
  const DWORD control = readByte(cdbSpan(), 4) == 0 ? UNLOCK_ELEMENT : LOCK_ELEMENT;
  bool done = false;
  for (const ELEMENT_TYPE type : {ChangerIEPort, ChangerDoor}) {
    CHANGER_SET_ACCESS access{{type, 0}, control};
    if (tellDevice(deviceHandle, IOCTL_CHANGER_SET_ACCESS, access)) done = true;
  }
  return done ? CMD_OK : CMD_ERROR;
}

ReturnCode QORChangerCmdPositionToElement::doOperation(void* deviceHandle) {
  const std::uint16_t destination = readBe16(cdbSpan(), 4);
  logger->logDebug("SCSI", 0, "Position to element %d", destination);
  CHANGER_SET_POSITION position{};
  if (!translate(deviceHandle, readBe16(cdbSpan(), 2), "TansportAddress", position.Transport) ||
      !translate(deviceHandle, destination, "DestinationAddress", position.Destination)) {
    return CMD_ERROR;
  }
  return tellDevice(deviceHandle, IOCTL_CHANGER_SET_POSITION, position) ? CMD_OK : CMD_ERROR;
}

ReturnCode QORChangerMoveMedium::doOperation(void* deviceHandle) {
  const std::uint16_t transport = readBe16(cdbSpan(), 2);
  const std::uint16_t source = readBe16(cdbSpan(), 4);
  const std::uint16_t destination = readBe16(cdbSpan(), 6);
  CHANGER_MOVE_MEDIUM move{};
  if (!translate(deviceHandle, transport, "TansportAddress", move.Transport) ||
      !translate(deviceHandle, source, "SourceAddress", move.Source) ||
      !translate(deviceHandle, destination, "DestinationAddress", move.Destination)) {
    return CMD_ERROR;
  }
  if (!tellDevice(deviceHandle, IOCTL_CHANGER_MOVE_MEDIUM, move)) {
    logger->logDebug("SCSI", 0, "IOCTL_CHANGER_MOVE_MEDIUM failed:Transport: %d, Source: %d, Destination: %d",
                     move.Transport.ElementType, move.Source.ElementType, move.Destination.ElementType);
    return CMD_ERROR;
  }
  logger->logDebug("SCSI", 0, "IOCTL_CHANGER_MOVE_MEDIUM passed:Transport: %d, Source: %d, Destination: %d",
                   transport, source, destination);
  return CMD_OK;
}

ReturnCode QORChangerCmdExchangeMedium::doOperation(void* deviceHandle) {
  const std::uint16_t transport = readBe16(cdbSpan(), 2);
  const std::uint16_t source = readBe16(cdbSpan(), 4);
  const std::uint16_t first = readBe16(cdbSpan(), 6);
  const std::uint16_t second = readBe16(cdbSpan(), 8);
  logger->logDebug("SCSI", 0, "Exchange medium: %d %d %d %d", transport, source, first, second);
  CHANGER_EXCHANGE_MEDIUM exchange{};
  if (!translate(deviceHandle, transport, "TansportAddress", exchange.Transport) ||
      !translate(deviceHandle, source, "SourceAddress", exchange.Source) ||
      !translate(deviceHandle, first, "first DestinationAddress", exchange.Destination1) ||
      !translate(deviceHandle, second, "second DestinationAddress", exchange.Destination2)) {
    return CMD_ERROR;
  }
  GET_CHANGER_PARAMETERS parameters;
  if (!getChangerParameters(deviceHandle, parameters)) return CMD_ERROR;
  if ((parameters.Features0 & CHANGER_EXCHANGE_MEDIA) == 0) {
    logger->logDebug(
        "SCSI", 0,
        "Medium Exchange failed because changer does not support media exchange - Features 0:%8.8X-%8.8X",
        static_cast<unsigned int>(parameters.Features0), static_cast<unsigned int>(parameters.Features1));
    return CMD_ERROR;
  }
  return tellDevice(deviceHandle, IOCTL_CHANGER_EXCHANGE_MEDIUM, exchange) ? CMD_OK : CMD_ERROR;
}

ReturnCode QORChangerCmdInitializeElementStatus::doOperation(void* deviceHandle) {
  CHANGER_INITIALIZE_ELEMENT_STATUS request{};
  request.BarCodeScan = TRUE;  // the CDB has the labels read too
  request.ElementList.Element.ElementType = AllElements;
  if (tellDevice(deviceHandle, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS, request)) {
    logger->logDebug("SCSI", 0, "IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS passed");
    return CMD_OK;
  }
  logger->logDebug("SCSI", 0, "IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS failed - used passthrough instead");
  return QORScsiCommand::doOperation(deviceHandle);
}

ReturnCode QORChangerCmdInitializeElementStatusWithRange::doOperation(void* deviceHandle) {
  CHANGER_INITIALIZE_ELEMENT_STATUS request{};
  request.BarCodeScan = TRUE;  // the CDB has the labels read too
  if (!translate(deviceHandle, readBe16(cdbSpan(), 2), "SourceAddress", request.ElementList.Element))
    return CMD_ERROR;
  request.ElementList.NumberOfElements = readBe16(cdbSpan(), 6);
  if (!tellDevice(deviceHandle, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS, request)) return CMD_ERROR;
  logger->logDebug("SCSI", 0, "CHANGER_INITIALIZE_ELEMENT_STATUS with range passed");
  return CMD_OK;
}
