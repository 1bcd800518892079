#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// What every driver twin is made of.

/// A command carried out by the maker's device driver or by the operating system's tape and changer
/// interfaces.
///
/// Made from a generic command, it borrows that command's buffers, and its destructor writes the outcome
/// back. On its own it owns its buffers like any command.
class KIV_API QORScsiCommand : public ScsiCommand {
 public:
  /// On its own, without a CDB.
  QORScsiCommand();
  /// On its own, with a zeroed CDB.
  explicit QORScsiCommand(CDBLength cdbBytes);
  /// The twin of a generic command, which must outlive it.
  explicit QORScsiCommand(GenericScsiCommand* generic);
  ~QORScsiCommand() override;

  ///@{
  /// With a generic command these resize its buffers and borrow them anew.
  ReturnCode setSenseDataLength(std::uint8_t n) override;
  ReturnCode setIoDataLength(ulong32 n) override;
  ReturnCode setCdbLength(std::uint8_t n) override;
  ///@}

  /// Does the operation on an open driver handle. CMD_OK, CMD_ERROR, or CMD_NOT_SUPPORTED when the driver has
  /// no request for it: the caller may then send the CDB instead. The base answers CMD_NOT_SUPPORTED.
  virtual ReturnCode doOperation(void* deviceHandle);

  /// Zeroes the data buffer, then copies at most its length from `source`.
  void copyIoData(const void* source, ulong32 n);

 protected:
  GenericScsiCommand* genericCommand = nullptr;

 private:
  void borrowBuffers();
};
