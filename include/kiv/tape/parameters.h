#pragma once

#include <cstdint>
#include <string>

#include "kiv/device/target.h"
#include "kiv/scsi/command.h"
#include "kiv/tape/parameter_value.h"
#include "kiv/types.h"

/// @file
/// Settings of a drive, whatever holds them.

/// A job made of several commands to one drive; its outcome is that of the last command. It is never sent
/// itself.
class KIV_API TapeMetaCommands : public GenericScsiCommand {
 public:
  /// Every inner command gets `senseBytes` bytes for its sense data.
  TapeMetaCommands(ScsiTarget* device, std::uint8_t senseBytes);
  /// The drive, which is the caller's.
  void setScsiDevice(ScsiTarget* device) { target = device; }

 protected:
  /// Keeps the result of the whole job as its outcome, whatever its last command ended with.
  ReturnCode concluded(ReturnCode result);

  ScsiTarget* target;
  std::uint8_t senseLength;
};

/// Sets one parameter of a drive: by MODE SENSE(6) and MODE SELECT(6) on a pass-through target, by the
/// maker's driver on a driver target (the write cache always by mode pages).
///
/// Results: CMD_OK; CMD_NOT_SUPPORTED for a type without a mode page; CMD_INVALID_PARAMETER_TYPE for one that
/// the driver does not handle; else that of the command that failed. What was selected before a failure
/// stays.
class KIV_API TapeMetaCmdSetParam : public TapeMetaCommands {
 public:
  ///@{
  /// For a drive, which is the caller's, with `senseBytes` bytes for sense data; compression unless told
  /// otherwise.
  TapeMetaCmdSetParam(ScsiTarget* device, std::uint8_t senseBytes);
  TapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter, std::uint32_t newValue,
                      std::uint8_t senseBytes);
  TapeMetaCmdSetParam(ScsiTarget* device, ParamType parameter, std::string volume, std::uint8_t senseBytes);
  ///@}

  ///@{
  /// What setParameter() sets; the volume's name is kept for the driver.
  void setType(ParamType parameter) { type = parameter; }
  void setValue(std::uint32_t newValue) { value = newValue; }
  void setVolId(std::string volume) { volId = std::move(volume); }
  ///@}

  /// Sets the parameter of the type to the value.
  ReturnCode setParameter();

  ///@{
  /// Set one parameter each, with the same results; the last two have no path that supports them.
  ReturnCode setCompression(bool on);
  /// Bytes. `previous`, unless null, receives the block length that was in force.
  ReturnCode setBlockLength(ulong32 length, ulong32* previous);
  ReturnCode setWriteCache(bool on);
  ReturnCode setImmediateMode(ulong32 mode);
  ReturnCode setSILIMode(bool on);
  ///@}

 private:
  ReturnCode setByDriver();
  ReturnCode selectCompression();
  ReturnCode selectBlockLength();
  ReturnCode selectOnePage();

  ParamType type = PARAM_COMPRESSION;
  std::uint32_t value = 0;
  std::string volId;
};

/// Queries parameters of a drive, the same ways as TapeMetaCmdSetParam sets them.
class KIV_API TapeMetaCmdQueryParam : public TapeMetaCommands {
 public:
  /// Queries every parameter that the drive has.
  TapeMetaCmdQueryParam(ScsiTarget* device, std::uint8_t senseBytes);
  /// Queries one.
  TapeMetaCmdQueryParam(ScsiTarget* device, ParamType parameter, std::uint8_t senseBytes);

  /// Fills the vector anew. A parameter whose page the drive answers short or wrong is left out; of all
  /// parameters also one whose page the drive refuses. Results as those of TapeMetaCmdSetParam.
  ReturnCode queryParameter();

  /// The value of the last parameter queried.
  std::uint32_t getValue() const { return value; }
  /// Always empty.
  std::string getVolId() const { return volId; }
  /// What was queried, in the order of the types.
  ParameterVector& getAllParameters() { return parameters; }

  ///@{
  /// Query one parameter each; bytes for the block length. CMD_ERROR also when the drive leaves it out.
  ReturnCode getBlockLength(ulong32& length);
  ReturnCode getWriteCache(bool* on);
  ReturnCode getCompression(bool* on);
  ///@}

 private:
  ReturnCode queryOne(ParamType parameter);
  ReturnCode queryByDriver(ParamType parameter);
  ReturnCode queryByModePage(ParamType parameter);
  /// Queries one parameter; CMD_ERROR also when the drive left it out.
  ReturnCode readOne(ParamType parameter);
  void addEntry(ParamType parameter, std::uint32_t newValue);

  ParamType type = PARAM_COMPRESSION;
  bool all;
  std::uint32_t value = 0;
  std::string volId;
  ParameterVector parameters;
};
