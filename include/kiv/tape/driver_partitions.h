#pragma once

#include <cstdint>

#include "kiv/scsi/driver_command.h"
#include "kiv/tape/partitions.h"

/// @file
/// Partitions through the maker's tape driver. CMD_OK, or CMD_ERROR when the request fails.

/// Reads the partition layout into a record.
class KIV_API QORTapeCmdQueryPartition : public QORScsiCommand {
 public:
  /// Fills the record, which must outlive this command.
  explicit QORTapeCmdQueryPartition(PartitionRecord& result) : record(result) {}
  ReturnCode doOperation(void* deviceHandle) override;

 private:
  PartitionRecord& record;
};

/// Divides the medium as a record says, and formats it. Time-out 3100 s, as that of FORMAT MEDIUM. A driver
/// that refuses the record's method is asked once more, with the partition type as the method.
class KIV_API QORTapeCmdCreatePartition : public QORScsiCommand {
 public:
  /// The record must outlive this command.
  explicit QORTapeCmdCreatePartition(const PartitionRecord& layout);
  ReturnCode doOperation(void* deviceHandle) override;

 private:
  const PartitionRecord& record;
};

/// Changes to a partition and locates a block in it. Time-out 2300 s, as that of LOCATE.
class KIV_API QORTapeCmdChangePartition : public QORScsiCommand {
 public:
  /// Partition number, and the block's address in it.
  QORTapeCmdChangePartition(std::uint32_t partition, std::uint64_t block);
  ReturnCode doOperation(void* deviceHandle) override;

 private:
  std::uint32_t partitionNumber;
  std::uint64_t blockId;
};
