#pragma once

#include <array>
#include <cstdint>

#include "kiv/tape/parameters.h"

/// @file
/// How a medium is divided.

/// What every getter of a partition record answers while the record holds no values.
inline constexpr ReturnCode NO_PARTITION_VALUES = 0xFFFFFFFF;

/// How a medium is divided. The getters answer CMD_OK and the value, or NO_PARTITION_VALUES and leave it
/// alone.
class KIV_API PartitionRecord {
 public:
  static constexpr std::uint16_t SIZE_SLOTS = 256;  ///< partition sizes that the record has room for

  ///@{
  /// How many partitions can be added to the first and are, how many there are in all, and which one is
  /// active (from 0).
  ReturnCode getMaxAddPartitions(std::uint8_t& count) const { return get(maxAdditionalPartitions, count); }
  ReturnCode getAdditionalPartitionsDefined(std::uint16_t& count) const {
    return get(addPartitionsDefined, count);
  }
  ReturnCode getNumberOfPartitions(std::uint16_t& count) const { return get(numberPartitions, count); }
  ReturnCode getActivePartition(std::uint8_t& partition) const { return get(activePartition, partition); }
  ///@}
  /// The partitioning method: 1 initiator-defined, 2 select-data, 3 fixed-data.
  ReturnCode getDataPartitionType(std::uint8_t& method) const { return get(dataPartitionType, method); }
  /// SSC-4 partition units: 0 bytes, 1 kilobytes, 2 megabytes, 3 a power of ten.
  ReturnCode getPartitionUnits(std::uint8_t& units) const { return get(partitionUnits, units); }
  /// The drive's own type of partitioning.
  ReturnCode getPartitionType(std::uint8_t& partition) const { return get(partitionType, partition); }
  /// The size of a partition, in partition units. An index equal to the number of partitions is accepted, a
  /// larger one is not; beyond the slots a size is 0.
  ReturnCode getSize(std::uint16_t index, std::uint16_t& size) const;

  bool gotParameters = false;                     ///< the record holds values
  std::uint8_t activePartition = 0;               ///< from 0
  std::uint8_t maxAdditionalPartitions = 0;       ///< beside the first
  std::uint8_t addPartitionsDefined = 0;          ///< beside the first
  std::uint8_t dataPartitionType = 0;             ///< as getDataPartitionType() tells
  std::uint8_t partitionUnits = 0;                ///< as getPartitionUnits() tells
  std::uint8_t partitionType = 0;                 ///< as getPartitionType() tells
  std::uint16_t numberPartitions = 0;             ///< in all
  std::array<std::uint16_t, SIZE_SLOTS> sizes{};  ///< in partition units

 private:
  template <typename Field, typename Value>
  ReturnCode get(Field field, Value& value) const {
    if (!gotParameters) return NO_PARTITION_VALUES;
    value = field;
    return CMD_OK;
  }
};

/// Reads how the medium in a drive is divided: from the medium partition page (11h) and the device
/// configuration page (10h), or from the maker's driver.
class KIV_API CmdQueryTapePartition : public TapeMetaCommands, public PartitionRecord {
 public:
  /// For a drive, which is the caller's, with `senseBytes` bytes for sense data.
  CmdQueryTapePartition(ScsiTarget* device, std::uint8_t senseBytes);
  /// CMD_OK, or the result of the command that failed; CMD_ERROR for a page cut before its sizes.
  ReturnCode getParameters();

 private:
  ReturnCode queryModePages();
};

/// Divides the medium in a drive: writes the medium partition page (11h) and formats, or has the maker's
/// driver do it. All data on the medium are lost.
class KIV_API TapeCmdCreatePartition : public TapeMetaCommands, public PartitionRecord {
 public:
  /// For a drive, which is the caller's, with `senseBytes` bytes for sense data.
  TapeCmdCreatePartition(ScsiTarget* device, std::uint8_t senseBytes);

  /// Partitions beside the first.
  void setAdditionalPartitionsDefined(std::uint8_t count);
  /// The partitioning method; 0 leaves the one that the drive has.
  void setDataPartitionType(std::uint8_t method);
  /// R477 drives only: 2 or another value selects their extended type.
  void setPartitionType(std::uint8_t partition);
  /// Partitions in all.
  void setNumberPartitions(std::uint32_t count);
  /// In partition units; an index beyond the slots is ignored.
  void setSize(std::uint16_t index, std::uint16_t size);
  /// SSC-4 partition units, as PartitionRecord::getPartitionUnits() tells.
  void setPartitionUnits(std::uint8_t units);

  /// CMD_OK, or the result of the command that failed. A selection that ends with a recovered error goes on
  /// to the format.
  ReturnCode createPartitions();
  /// Logs the record, in two lines or as labelled lines.
  void printValues(bool labelled);

 private:
  ReturnCode createByModePage();
};
