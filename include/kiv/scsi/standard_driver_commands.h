#pragma once

#include <cstdint>
#include <span>

#include "kiv/api.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/driver_command.h"
#include "kiv/types.h"

/// @file
/// The driver twins of the primary commands. Where the driver has no request of its own, doOperation answers
/// CMD_NOT_SUPPORTED, and the CDB is sent instead.

// clang-format off
/// Twin of ScsiCmdTestUnitReady, sent as its CDB.
struct KIV_API QORScsiCmdTestUnitReady : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdInquiry, sent as its CDB.
struct KIV_API QORScsiCmdInquiry : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdModeSelect6, sent as its CDB.
struct KIV_API QORScsiCmdModeSelect6 : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdReadCapacity, sent as its CDB.
struct KIV_API QORScsiCmdReadCapacity : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdReportLuns, sent as its CDB.
struct KIV_API QORScsiCmdReportLuns : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdReceiveDiagnostic, sent as its CDB.
struct KIV_API QORScsiCmdReceiveDiagnostic : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
/// Twin of ScsiCmdSendDiagnostic, sent as its CDB.
struct KIV_API QORScsiCmdSendDiagnostic : QORScsiCommand { using QORScsiCommand::QORScsiCommand; };
// clang-format on

/// Twin of ScsiCmdReadBuffer, sent as its CDB.
class KIV_API QORScsiCmdReadBuffer : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;

  /// All five bits of the mode field, where the generic command writes three.
  std::uint8_t getCDBMode() const { return readByte(cdbSpan(), 1) & 0x1F; }
  ///@{
  /// The fields of the CDB; offset and length in bytes, 24 bits.
  std::uint8_t getCDBBufferId() const { return readByte(cdbSpan(), 2); }
  ulong32 getCDBOffset() const { return readBe24(cdbSpan(), 3); }
  ulong32 getCDBParamListLength() const { return readBe24(cdbSpan(), 6); }
  ///@}
};

/// Twin of ScsiCmdWriteBuffer, sent as its CDB.
class KIV_API QORScsiCmdWriteBuffer : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;

  /// All five bits of the mode field, where the generic command writes three.
  std::uint8_t getCDBMode() const { return readByte(cdbSpan(), 1) & 0x1F; }
  ///@{
  /// The fields of the CDB; offset and length in bytes, 24 bits.
  std::uint8_t getCDBBufferId() const { return readByte(cdbSpan(), 2); }
  ulong32 getCDBOffset() const { return readBe24(cdbSpan(), 3); }
  ulong32 getCDBParamListLength() const { return readBe24(cdbSpan(), 6); }
  ///@}
};

/// Has the tape driver read a log page. CMD_NOT_SUPPORTED when it refuses.
class KIV_API QORScsiCmdLogSense : public QORScsiCommand {
 public:
  QORScsiCmdLogSense() = default;
  /// With `force` the driver is not asked.
  explicit QORScsiCmdLogSense(GenericScsiCommand* generic, bool force = false);

  ReturnCode doOperation(void* deviceHandle) override;

  ///@{
  /// The fields of the CDB; 0 without one.
  std::uint8_t getCDBSubpageCode() const { return readByte(cdbSpan(), 3); }
  std::uint8_t getCDBPageControl() const { return readByte(cdbSpan(), 2) >> 6; }
  ///@}

 private:
  bool forcePassthrough = false;
};

/// Has the tape driver hand out the sense data that it keeps, as data-in. CMD_NOT_SUPPORTED when it refuses
/// or keeps none.
class KIV_API QORScsiCmdRequestSense : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  QORScsiCmdRequestSense() = default;
  /// On its own, with a data buffer of `allocation` bytes, 32 for 0.
  explicit QORScsiCmdRequestSense(ulong32 allocation);
  /// So that a literal 0 is a length, and no null pointer.
  explicit QORScsiCmdRequestSense(int allocation)
      : QORScsiCmdRequestSense(static_cast<ulong32>(allocation)) {}

  ReturnCode doOperation(void* deviceHandle) override;
};

/// The same of the changer driver. CMD_ERROR when it refuses, CMD_NOT_SUPPORTED when it keeps no sense data.
class KIV_API QORScsiCmdChangerRequestSense : public QORScsiCmdRequestSense {
 public:
  using QORScsiCmdRequestSense::QORScsiCmdRequestSense;

  ReturnCode doOperation(void* deviceHandle) override;
};

/// Has the driver read mode pages; its answer is turned into MODE SENSE(6) data. CMD_NOT_SUPPORTED when it
/// refuses or answers in an unknown form.
class KIV_API QORScsiCmdModeSense6 : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;

  ReturnCode doOperation(void* deviceHandle) override;

  ///@{
  /// The fields of the CDB; 0 without one.
  bool getDisableBlockDescriptor() const { return (readByte(cdbSpan(), 1) & 0x08) != 0; }
  std::uint8_t getCDBSubpageCode() const { return readByte(cdbSpan(), 3); }
  std::uint8_t getCDBPageControl() const { return readByte(cdbSpan(), 2) >> 6; }
  ///@}

 private:
  void takeModeSense6(std::span<const std::uint8_t> modeData);
  void takeModeSense10(std::span<const std::uint8_t> modeData);
  void copyModeData(std::span<const std::uint8_t, 4> header, std::span<const std::uint8_t> pages);
};
