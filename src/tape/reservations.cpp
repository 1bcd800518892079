#include "kiv/tape/reservations.h"

#include <algorithm>

#include "scsi/cdb.h"

// clang-format off
TapeCmdReserveUnit6::TapeCmdReserveUnit6() : GenericScsiCommand(cdbOf(RESERVE_6, Be32(0), 0)) {}

TapeCmdReleaseUnit6::TapeCmdReleaseUnit6() : GenericScsiCommand(cdbOf(RELEASE_6, Be32(0), 0)) {}

TapeCmdPersistentReserveIn::TapeCmdPersistentReserveIn(PersistReserveInServiceAction action,
                                                       std::uint32_t allocationLength)
    : GenericScsiCommand(cdbOf(PERSISTENT_RESERVE_IN, action, 0, Be32(0), Be16(allocationLength & 0xFFFF), 0),
                         SCSI_DATA_IN, allocationLength, 60) {}
void TapeCmdPersistentReserveIn::setServiceAction(PersistReserveInServiceAction action) { putNumber(1, 1, action); }
void TapeCmdPersistentReserveIn::setReservationType(PersistReserveOutReservationType type) { putNumber(2, 1, type); }
void TapeCmdPersistentReserveIn::setAllocationLength(std::uint32_t length) {
  putNumber(6, 1, 0);
  putLength(7, 2, length);
}
std::vector<std::uint64_t> TapeCmdPersistentReserveIn::getReservationsKeys() const {
  constexpr std::size_t HEADER = 8, KEY = 8;
  std::vector<std::uint64_t> keys;
  if (readByte(cdbSpan(), 1) != PERSIST_READ_KEYS || ioDataLength < HEADER) return keys;
  // The additional length tells of all keys, also of those for which the buffer had no room.
  const std::size_t told = readBe32(ioDataSpan(), 4) / KEY, present = (ioDataLength - HEADER) / KEY;
  for (std::size_t i = 0; i < std::min(told, present); ++i)
    keys.push_back(readBe64(ioDataSpan(), HEADER + KEY * i));
  return keys;
}

TapeCmdPersistentReserveOut::TapeCmdPersistentReserveOut(PersistReserveOutServiceAction action,
                                                         PersistReserveOutReservationType type,
                                                         std::uint32_t parameterListLength)
    : GenericScsiCommand(cdbOf(PERSISTENT_RESERVE_OUT, action, type, Be32(0), Be16(parameterListLength & 0xFFFF), 0),
                         SCSI_DATA_OUT, parameterListLength, 60) {}
void TapeCmdPersistentReserveOut::setServiceAction(PersistReserveOutServiceAction action) { putNumber(1, 1, action); }
void TapeCmdPersistentReserveOut::setReservationType(PersistReserveOutReservationType type) { putNumber(2, 1, type); }
void TapeCmdPersistentReserveOut::setAllocationLength(std::uint32_t length) {
  putNumber(6, 1, 0);
  putLength(7, 2, length);
}
