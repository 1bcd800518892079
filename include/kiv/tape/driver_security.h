#pragma once

#include <cstdint>

#include "kiv/scsi/driver_command.h"

/// @file
/// Driver twins for encryption and the protection of logical blocks. CMD_OK, or CMD_ERROR when the request
/// fails.

// clang-format off
/// Asks the driver how logical blocks are protected. The answer comes as the mode data that the CDB would
/// have brought.
struct KIV_API QORTapeCmdQueryLogicalBlockProtection : QORScsiCommand { using QORScsiCommand::QORScsiCommand; ReturnCode doOperation(void*) override; };
// clang-format on

/// Tells the driver how to protect logical blocks: not at all, unless something is set.
class KIV_API QORTapeCmdSetLogicalBlockProtection : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
  /// 0 none, 1 Reed-Solomon CRC, 2 CRC32C.
  void setLbpMethod(std::uint8_t method) { lbpMethod = method; }
  /// Bytes of protection information at the end of each block.
  void setLbpInfoLength(std::uint8_t length) { lbpInfoLength = length; }
  ///@{
  /// Whether blocks are written, read, and recovered from the buffer with protection information.
  void setLbpWrite(bool on) { lbpWrite = on; }
  void setLbpRead(bool on) { lbpRead = on; }
  void setLbpRBDP(bool on) { lbpRbdp = on; }
  ///@}

 private:
  std::uint8_t lbpMethod = 0;
  std::uint8_t lbpInfoLength = 0;
  bool lbpWrite = false;
  bool lbpRead = false;
  bool lbpRbdp = false;
};

/// Asks the driver whether and how the drive encrypts. What it told is all zero until the operation
/// succeeded.
class KIV_API QORTapeCmdGetEncryptionStatus : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
  /// Whether the drive can encrypt.
  bool isEncryptionCapable() const { return capable; }
  /// 0 none, 1 library, 2 system, 3 application, 4 custom.
  std::uint32_t getEncryptionMethod() const { return method; }
  /// 1: encryption is on.
  std::uint32_t getEncryptionStatus() const { return status; }

 private:
  bool capable = false;
  std::uint32_t method = 0;
  std::uint32_t status = 0;
};

/// Has the driver test the way to the encryption key manager.
class KIV_API QORTapeCmdDataEncryptionDiag : public QORScsiCommand {
 public:
  using QORScsiCommand::QORScsiCommand;
  ReturnCode doOperation(void* deviceHandle) override;
  /// 0 full diagnostic (unless set otherwise), 1 path, 15 set-up.
  void setType(std::uint32_t value) { type = value; }
  ///@{
  /// What the test found, 0 when it passed, and the error number that goes with it. Both 0 until the
  /// operation succeeded.
  std::uint32_t getCompletionCode() const { return completionCode; }
  std::uint32_t getErrno() const { return errorNumber; }
  ///@}

 private:
  std::uint32_t type = 0;
  std::uint32_t completionCode = 0;
  std::uint32_t errorNumber = 0;
};
