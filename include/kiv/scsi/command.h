#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/api.h"
#include "kiv/types.h"

/// @file
/// What every command is made of.

/// The outcome of a command execution and of most target operations.
using ReturnCode = std::uint32_t;
inline constexpr ReturnCode CMD_OK = 0;     ///< completed with SCSI status GOOD
inline constexpr ReturnCode CMD_ERROR = 2;  ///< not executed yet, no transport, other status, or timed out
inline constexpr ReturnCode CMD_NO_MEMORY = 6;                ///< a buffer could not be allocated
inline constexpr ReturnCode CMD_BUSY = 7;                     ///< SCSI status BUSY
inline constexpr ReturnCode CMD_NOT_SUPPORTED = 8;            ///< the chosen path has no way to do this
inline constexpr ReturnCode CMD_NO_ADDRESS = 9;               ///< the target's address is still incomplete
inline constexpr ReturnCode CMD_INVALID_HANDLE = 11;          ///< the target is not open
inline constexpr ReturnCode CMD_INVALID_PARAMETER_TYPE = 12;  ///< the driver does not know this parameter

/// CDB lengths in bytes.
enum CDBLength : std::uint8_t { CDB_6 = 6, CDB_10 = 10, CDB_12 = 12, CDB_16 = 16 };

/// Direction of the data phase. Other values are logged as illegal at execution and sent as data out.
enum ScsiDataDirection : std::uint32_t { SCSI_DATA_NONE = 0, SCSI_DATA_IN = 1, SCSI_DATA_OUT = 2 };

/// Bytes of sense data that a command makes room for unless told otherwise.
inline constexpr std::uint8_t DEFAULT_SENSE_LENGTH = 32;
/// Seconds that a command may take unless told otherwise.
inline constexpr ulong32 DEFAULT_TIME_OUT = 30;

class QORScsiCommand;

/// One request to a drive or library: the CDB, the data and sense buffers, and after execution the outcome.
///
/// The command owns its three buffers. Targets fill the outcome; a command may be executed again without
/// being rebuilt.
///
/// Hosts have the accessors compiled in, perhaps by another compiler than the library's: so the fields keep
/// their order, and the buffers are bare pointers with lengths, which look the same to every C++ library.
class KIV_API ScsiCommand {
 public:
  ScsiCommand();
  /// A zeroed CDB of `cdbBytes` bytes, a zeroed sense buffer of 32 bytes, no data buffer.
  explicit ScsiCommand(CDBLength cdbBytes);
  ScsiCommand(const ScsiCommand&) = delete;
  ScsiCommand& operator=(const ScsiCommand&) = delete;
  virtual ~ScsiCommand();

  ///@{
  /// Each replaces its buffer by a zeroed one of n bytes (none for 0). CMD_OK, or CMD_NO_MEMORY with length
  /// 0: until a buffer of some length can be had, the command is not sent. setIoDataLength leaves the buffer
  /// and its content alone when n is its present length.
  virtual ReturnCode setSenseDataLength(std::uint8_t n);
  virtual ReturnCode setIoDataLength(ulong32 n);
  virtual ReturnCode setCdbLength(std::uint8_t n);
  ///@}

  ///@{
  /// The three buffers and their lengths in bytes; null for a length of 0. They live until their length is
  /// set anew.
  std::uint8_t* getIoData() { return ioData; }
  const std::uint8_t* getIoData() const { return ioData; }
  ulong32 getIoDataLength() const { return ioDataLength; }
  std::uint8_t* getSenseData() { return senseData; }
  const std::uint8_t* getSenseData() const { return senseData; }
  std::uint8_t getSenseDataLength() const { return senseDataLength; }
  std::uint8_t* getCdb() { return cdb; }
  const std::uint8_t* getCdb() const { return cdb; }
  std::uint8_t getCdbLength() const { return cdbLength; }
  ///@}
  /// Whether all buffers that were asked for could be had. Otherwise targets answer CMD_NO_MEMORY.
  bool isComplete() const { return missingBuffers == 0; }

  ///@{
  /// The three buffers with their lengths.
  std::span<std::uint8_t> ioDataSpan() { return {ioData, ioDataLength}; }
  std::span<const std::uint8_t> ioDataSpan() const { return {ioData, ioDataLength}; }
  std::span<std::uint8_t> cdbSpan() { return {cdb, cdbLength}; }
  std::span<const std::uint8_t> cdbSpan() const { return {cdb, cdbLength}; }
  std::span<std::uint8_t> senseSpan() { return {senseData, senseDataLength}; }
  std::span<const std::uint8_t> senseSpan() const { return {senseData, senseDataLength}; }
  ///@}

  ///@{
  /// Time-out in seconds. Setting it logs it with the operation code.
  ReturnCode setTimeOut(ulong32 seconds);
  ulong32 getTimeOut() const { return timeOut; }
  ///@}
  ///@{
  /// The direction of the data phase.
  ReturnCode setDataDirection(ScsiDataDirection direction);
  ScsiDataDirection getDataDirection() const { return dataDirection; }
  ///@}
  /// Kept for hosts; the library calls it never. Always CMD_OK.
  ReturnCode setCallBackFunction(void* function);

  ///@{
  /// The outcome as a whole; CMD_ERROR before execution.
  ReturnCode setExecutionStatus(ReturnCode status);
  ReturnCode getExecutionStatus() const { return executionStatus; }
  ///@}
  ///@{
  /// SCSI status byte (SAM-5); 0xFF before execution.
  ReturnCode setTargetStatus(std::uint8_t status);
  std::uint8_t getTargetStatus() const { return targetStatus; }
  ///@}
  ///@{
  /// Transport status: 5 means timed out; 0xFF before execution.
  ReturnCode setHostStatus(std::uint8_t status);
  std::uint8_t getHostStatus() const { return hostStatus; }
  ///@}
  ///@{
  /// Whether the last execution ran out of time.
  ReturnCode setTimeoutOccured(bool occurred);
  bool getTimeoutOccured() const { return timeoutOccurred; }
  ///@}
  ///@{
  /// Operating-system error number of a failed execution.
  ReturnCode setAdditionalFailureCode(ulong32 code);
  ulong32 getAdditionalFailureCode() const { return additionalFailureCode; }
  ///@}

  /// The operation code (CDB byte 0); 0xFFFFFFFF without a CDB.
  std::uint32_t getCmdCode() const;
  /// Writes CDB byte 0, when there is a CDB.
  ReturnCode setCmdCode(std::uint8_t code);

  /// Zeroes the sense buffer.
  ReturnCode clearSenseData();
  /// Back to the state before execution: status 2, target and host status 0xFF, no time-out, no failure code.
  ReturnCode clearStatusData();
  /// Resizes the three buffers to the other command's, copies their contents and the five outcome fields.
  /// Time-out and direction stay.
  ReturnCode takeoverCmdData(ScsiCommand& other);

  ///@{
  /// Sense data are read in fixed format only (SPC-4 response codes 70h and 71h). True when there is a sense
  /// buffer and its response code is not 0; the other three do not test that, and read absent bytes as 0.
  bool isSenseDataValid() const;
  std::uint8_t getSenseKey() const;
  std::uint8_t getASC() const;
  std::uint8_t getASCQ() const;
  ///@}

 protected:
  std::uint8_t* ioData = nullptr;
  ulong32 ioDataLength = 0;
  std::uint8_t* senseData = nullptr;
  std::uint8_t senseDataLength = 0;
  std::uint8_t* cdb = nullptr;
  std::uint8_t cdbLength = 0;
  ulong32 timeOut = DEFAULT_TIME_OUT;
  ScsiDataDirection dataDirection = SCSI_DATA_NONE;
  void* callback = nullptr;
  ReturnCode executionStatus = CMD_ERROR;
  std::uint8_t targetStatus = 0xFF;
  std::uint8_t hostStatus = 0xFF;
  bool timeoutOccurred = false;

 private:
  /// A bit for each buffer that could not be had.
  std::uint8_t missingBuffers = 0;

 protected:
  ulong32 additionalFailureCode = 0;

 private:
  friend class QORScsiCommand;
  void copyOutcome(const ScsiCommand& other);
};

/// A command that is sent as a CDB.
class KIV_API GenericScsiCommand : public ScsiCommand {
 public:
  using ScsiCommand::ScsiCommand;

  /// A newly allocated twin that does the same through the maker's driver, for the caller to delete; null
  /// when this command has none. The twin borrows this command's buffers, so this command must outlive it.
  virtual QORScsiCommand* createQORCommand();

 protected:
  /// A command with its data phase, its CDB still zeroed; `timeOutSeconds` as in setTimeOut.
  GenericScsiCommand(CDBLength cdbBytes, ScsiDataDirection direction, ulong32 ioBytes,
                     ulong32 timeOutSeconds = DEFAULT_TIME_OUT);
  /// A row of the standard's table: the bytes of the CDB, the data phase with its length in bytes, the
  /// time-out in seconds.
  explicit GenericScsiCommand(std::span<const std::uint8_t> cdbBytes,
                              ScsiDataDirection direction = SCSI_DATA_NONE, ulong32 ioBytes = 0,
                              ulong32 timeOutSeconds = DEFAULT_TIME_OUT);
  /// The same with a data buffer that starts as `parameterList`.
  GenericScsiCommand(std::span<const std::uint8_t> cdbBytes, ScsiDataDirection direction,
                     std::span<const std::uint8_t> parameterList, ulong32 timeOutSeconds = DEFAULT_TIME_OUT);

  // What setters are made of. Offsets count in the CDB; what falls outside it is dropped.

  /// Writes a big-endian number of `width` bytes.
  void putNumber(std::size_t offset, std::size_t width, std::uint64_t value);
  /// Writes a field inside one byte, as a flag is: `value` counts in units of the lowest bit of `mask`.
  void putBits(std::size_t offset, std::uint8_t mask, unsigned int value);
  /// Writes the length of the data, and replaces the data buffer by a zeroed one of that length. CMD_OK, or
  /// CMD_NO_MEMORY.
  ReturnCode putLength(std::size_t offset, std::size_t width, ulong32 length);
};
