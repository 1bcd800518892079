#pragma once

#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// Commands that move the tape or tell where it stands (SSC-4).

/// REWIND. Time-out 600 s.
class KIV_API TapeCmdRewind : public GenericScsiCommand {
 public:
  /// IMMED: answer before it is done.
  explicit TapeCmdRewind(bool immediate);
  /// Overwrites the whole byte.
  void setImmedFlag(bool immediate);
  QORScsiCommand* createQORCommand() override;
};

/// LOCATE(10), within the partition. Time-out 2300 s.
class KIV_API TapeCmdLocate : public GenericScsiCommand {
 public:
  /// IMMED: answer before it is done. The block's address has 32 bits.
  TapeCmdLocate(bool immediate, std::uint32_t blockAddress);
  /// Overwrites the whole byte.
  void setImmedFlag(bool immediate);
  /// 32 bits.
  void setBlockAddr(std::uint32_t blockAddress);
  QORScsiCommand* createQORCommand() override;
};

/// LOCATE(16). Time-out 2300 s. Of the block address the low 56 bits are sent, of the partition number the
/// low 8.
class KIV_API TapeCmdLocate16 : public GenericScsiCommand {
 public:
  /// Always asks for a change of partition, also to partition 0.
  TapeCmdLocate16(bool immediate, std::uint64_t blockAddress, std::uint32_t partition);
  /// Overwrites the whole byte, the change-partition bit included.
  void setImmedFlag(bool immediate);
  /// Low 56 bits.
  void setBlockAdr(std::uint64_t blockAddress);
  /// Asks for a change of partition unless the number is 0; 0 leaves that bit as it is.
  void setPartitionNumber(std::uint32_t partition);
  ///@{
  /// The block address and the partition number as they were given, before anything was cut off.
  std::uint64_t getBlockId() const { return blockId; }
  std::uint32_t getPartitionNumber() const { return partitionNumber; }
  ///@}
  QORScsiCommand* createQORCommand() override;

 private:
  std::uint64_t blockId = 0;
  std::uint32_t partitionNumber = 0;
};

/// SPACE(6). Time-out 2300 s.
class KIV_API TapeCmdSpace : public GenericScsiCommand {
 public:
  /// Code: 0 blocks, 1 filemarks, 2 sequential filemarks, 3 end of data. Count: 24 bits, negative towards the
  /// beginning of the partition.
  TapeCmdSpace(std::uint8_t code, std::int32_t count);
  ///@{
  /// As in the constructor.
  void setMode(std::uint8_t code);
  void setCount(std::int32_t count);
  ///@}
  QORScsiCommand* createQORCommand() override;
};

/// READ POSITION, short form. The getters read 0 where the data buffer ends too early.
class KIV_API TapeCmdReadPosition : public GenericScsiCommand {
 public:
  TapeCmdReadPosition();
  ///@{
  /// Beginning of partition; end of partition (between early warning and the end).
  bool posBOP() const;
  bool posEOP() const;
  ///@}
  ///@{
  /// Block addresses, and what the drive's buffer holds in blocks and in bytes.
  std::uint32_t getFirstBlockPosition() const;
  std::uint32_t getLastBlockWritten() const;
  std::uint32_t getNumberOfBlocksInBuffer() const;
  std::uint32_t getNumberOfBytesInBuffer() const;
  std::uint32_t getNextBlockPosition() const;
  ///@}
  /// For the driver twin only: whether block numbers are physical ones. False at first.
  void setBlockFormatPhysical(bool physical) { blockFormatPhysical = physical; }
  QORScsiCommand* createQORCommand() override;

 private:
  bool blockFormatPhysical = false;
};
