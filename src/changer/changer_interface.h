// How the driver twins call Windows' changer interface.
#pragma once

#include "kiv/changer/commands.h"
#include "platform/win32.h"

/// A kind of element, and its range in a changer.
struct ElementKind {
  ChangerElementTypeCode scsi;
  ELEMENT_TYPE windows;
  WORD GET_CHANGER_PARAMETERS::*first;
  WORD GET_CHANGER_PARAMETERS::*count;
};

/// In the order of SMC-3's element type codes.
inline constexpr ElementKind ELEMENT_KINDS[] = {
    {ELEMENT_MEDIUM_TRANSPORT, ChangerTransport, &GET_CHANGER_PARAMETERS::FirstTransportNumber,
     &GET_CHANGER_PARAMETERS::NumberTransportElements},
    {ELEMENT_STORAGE, ChangerSlot, &GET_CHANGER_PARAMETERS::FirstSlotNumber,
     &GET_CHANGER_PARAMETERS::NumberStorageElements},
    {ELEMENT_IMPORT_EXPORT, ChangerIEPort, &GET_CHANGER_PARAMETERS::FirstIEPortNumber,
     &GET_CHANGER_PARAMETERS::NumberIEElements},
    {ELEMENT_DATA_TRANSFER, ChangerDrive, &GET_CHANGER_PARAMETERS::FirstDriveNumber,
     &GET_CHANGER_PARAMETERS::NumberDataTransferElements},
};

/// The changer's element ranges and features. False when the request fails.
bool getChangerParameters(HANDLE changer, GET_CHANGER_PARAMETERS& parameters);

/// Logs first address and number of each kind's elements, behind a prefix.
void logElementRanges(const char* prefix, const GET_CHANGER_PARAMETERS& parameters);

/// The type of an element that a driver names. It may be none that Windows knows, so it is not read as one.
DWORD elementType(const CHANGER_ELEMENT& element);
