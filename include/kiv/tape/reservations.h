#pragma once

#include <cstdint>
#include <vector>

#include "kiv/scsi/command.h"

/// @file
/// Reservations of the drive (SPC-2 for the unit, SPC-4 for persistent ones).

/// Service actions of PERSISTENT RESERVE IN (SPC-4).
enum PersistReserveInServiceAction : std::uint8_t {
  PERSIST_READ_KEYS = 0x00,
  PERSIST_READ_RESERVATION = 0x01,
  PERSIST_REPORT_CAPABILITIES = 0x02,
  PERSIST_READ_FULL_STATUS = 0x03
};

/// Service actions of PERSISTENT RESERVE OUT (SPC-4).
enum PersistReserveOutServiceAction : std::uint8_t {
  PERSIST_REGISTER = 0x00,
  PERSIST_RESERVE = 0x01,
  PERSIST_RELEASE = 0x02,
  PERSIST_CLEAR = 0x03,
  PERSIST_PREEMPT = 0x04,
  PERSIST_PREEMPT_AND_ABORT = 0x05,
  PERSIST_REGISTER_AND_IGNORE_EXISTING_KEY = 0x06,
  PERSIST_REGISTER_AND_MOVE = 0x07
};

/// Persistent reservation types (SPC-4).
enum PersistReserveOutReservationType : std::uint8_t {
  PERSIST_WRITE_EXCLUSIVE = 0x01,
  PERSIST_EXCLUSIVE_ACCESS = 0x03,
  PERSIST_WRITE_EXCLUSIVE_REGISTRANTS_ONLY = 0x05,
  PERSIST_EXCLUSIVE_ACCESS_REGISTRANTS_ONLY = 0x06,
  PERSIST_WRITE_EXCLUSIVE_ALL_REGISTRANTS = 0x07,
  PERSIST_EXCLUSIVE_ACCESS_ALL_REGISTRANTS = 0x08
};

/// RESERVE(6) of the whole unit.
class KIV_API TapeCmdReserveUnit6 : public GenericScsiCommand {
 public:
  TapeCmdReserveUnit6();
  QORScsiCommand* createQORCommand() override;
};

/// RELEASE(6) of the whole unit.
class KIV_API TapeCmdReleaseUnit6 : public GenericScsiCommand {
 public:
  TapeCmdReleaseUnit6();
  QORScsiCommand* createQORCommand() override;
};

/// PERSISTENT RESERVE IN. Time-out 60 s. The CDB holds the low 16 bits of the allocation length.
class KIV_API TapeCmdPersistentReserveIn : public GenericScsiCommand {
 public:
  ///@{
  /// The service action (SPC-4); the length is in bytes.
  TapeCmdPersistentReserveIn(PersistReserveInServiceAction action, std::uint32_t allocationLength);
  void setServiceAction(PersistReserveInServiceAction action);
  ///@}
  /// Writes byte 2, which the standard reserves in this command.
  void setReservationType(PersistReserveOutReservationType type);
  /// Bytes to ask for; also those of the data buffer.
  void setAllocationLength(std::uint32_t length);
  /// The registered keys that READ KEYS brought, as far as the data buffer holds them; empty after any other
  /// service action.
  std::vector<std::uint64_t> getReservationsKeys() const;
  QORScsiCommand* createQORCommand() override;
};

/// PERSISTENT RESERVE OUT. Time-out 60 s. The CDB holds the low 16 bits of the parameter list length; the
/// parameter list is for the caller to fill.
class KIV_API TapeCmdPersistentReserveOut : public GenericScsiCommand {
 public:
  ///@{
  /// Service action and type (SPC-4); the scope is the logical unit. The length is in bytes.
  TapeCmdPersistentReserveOut(PersistReserveOutServiceAction action, PersistReserveOutReservationType type,
                              std::uint32_t parameterListLength);
  void setServiceAction(PersistReserveOutServiceAction action);
  void setReservationType(PersistReserveOutReservationType type);
  ///@}
  /// Bytes to send; also those of the data buffer.
  void setAllocationLength(std::uint32_t length);
  QORScsiCommand* createQORCommand() override;
};
