#include "changer/changer_interface.h"

#include <cstring>

#include "kiv/frame/logger.h"
#include "platform/device_control.h"

bool getChangerParameters(HANDLE changer, GET_CHANGER_PARAMETERS& parameters) {
  parameters = {};
  return askDevice(changer, IOCTL_CHANGER_GET_PARAMETERS, parameters).has_value();
}

void logElementRanges(const char* prefix, const GET_CHANGER_PARAMETERS& parameters) {
  logger->logDebug("SCSI", 0, "%sTransport:%d %d Drive:%d %d Slot:%d %d IE:%d %d", prefix,
                   parameters.FirstTransportNumber, parameters.NumberTransportElements,
                   parameters.FirstDriveNumber, parameters.NumberDataTransferElements,
                   parameters.FirstSlotNumber, parameters.NumberStorageElements, parameters.FirstIEPortNumber,
                   parameters.NumberIEElements);
}

DWORD elementType(const CHANGER_ELEMENT& element) {
  static_assert(sizeof(DWORD) == sizeof element.ElementType);
  DWORD type;
  std::memcpy(&type, &element.ElementType, sizeof type);
  return type;
}
