#include "simulator/windows/tape_handle.h"

#include <algorithm>
#include <limits>

namespace simulator {
namespace {

constexpr std::uint8_t dataCompressionPage = 0x0F;  // mode page (SSC-4 8.3)
constexpr std::size_t modeHeader = 4;
constexpr std::size_t blockDescriptor = 8;

// What winnt.h calls TAPE_DRIVE_INITIATOR, ERASE_SHORT, ERASE_LONG, ERASE_IMMEDIATE, TAPE_CAPACITY,
// TAPE_REMAINING, FIXED_BLOCK, VARIABLE_BLOCK, WRITE_PROTECT, ECC, COMPRESSION, EJECT_MEDIA.
constexpr DWORD driveFeaturesLow = 0x01031FB4;
// LOAD_UNLOAD, LOCK_UNLOCK, REWIND_IMMEDIATE, SET_BLOCK_SIZE, SET_COMPRESSION, ABSOLUTE_BLK, LOGICAL_BLK,
// END_OF_DATA, RELATIVE_BLKS, FILEMARKS, REVERSE_POSITION, WRITE_FILEMARKS, FORMAT.
constexpr DWORD driveFeaturesHigh = 0xA247521D;

[[noreturn]] void notSupported() { throw WindowsError{ERROR_NOT_SUPPORTED}; }

template <class T>
Bytes bytesOf(const T& value) {
  const auto* begin = reinterpret_cast<const std::uint8_t*>(&value);
  return {begin, begin + sizeof value};
}

}  // namespace

TapeHandle::TapeHandle(std::string name, DWORD access, VirtualAdapter& adapter, VirtualDevice& drive)
    : ClassHandle(name, access, adapter, drive), driver_(drive, std::move(name)) {}

Bytes TapeHandle::modeSense(std::uint8_t page, std::uint8_t subpage, bool withBlockDescriptor) {
  const std::uint8_t disable = withBlockDescriptor ? 0 : 0x08;
  Bytes image = driver_.read({0x1A, disable, page, subpage, 0xFF, 0}, 0xFF);
  if (image.size() < modeHeader + (withBlockDescriptor ? blockDescriptor : 0))
    throw WindowsError{ERROR_IO_DEVICE};
  return image;
}

void TapeHandle::modeSelect(Bytes image) {
  image[0] = 0;  // mode data length is reserved here
  const std::size_t page = modeHeader + image[3];
  if (page < image.size()) image[page] &= 0x7F;  // PS as well
  driver_.send({0x15, 0x10, 0, 0, static_cast<std::uint8_t>(image.size()), 0}, image);
}

std::uint32_t TapeHandle::blockSize() {
  return static_cast<std::uint32_t>(readNumber(modeSense(dataCompressionPage, 0, true), modeHeader + 5, 3));
}

std::size_t TapeHandle::read(std::span<std::uint8_t> buffer) {
  const std::uint32_t fixed = blockSize();
  if (buffer.empty()) return 0;
  if (fixed != 0 && buffer.size() % fixed != 0) throw WindowsError{ERROR_INVALID_BLOCK_LENGTH};
  Bytes cdb{0x08, flag(fixed != 0, 0), 0, 0, 0, 0};
  put24(cdb, 2, fixed != 0 ? buffer.size() / fixed : buffer.size());
  const ScsiRequest outcome = driver_.run(cdb, buffer.size());
  std::copy(outcome.dataIn.begin(), outcome.dataIn.end(), buffer.begin());
  const std::size_t moved = outcome.dataIn.size();

  const bool checked = outcome.status == statusCheckCondition && outcome.sense.size() > 7;
  if (checked && (outcome.sense[2] & 0x20) && fixed == 0) {
    // A block of another length: a shorter one is no error, the rest of a longer one is lost.
    const auto residue = static_cast<std::int32_t>(readNumber(outcome.sense, 3, 4));
    if (residue < 0) throw WindowsError{ERROR_MORE_DATA, moved};
    return moved;
  }
  try {
    ClassDriver::check(outcome);
  } catch (const WindowsError& failed) {
    throw WindowsError{failed.code, moved};
  }
  return moved;
}

std::size_t TapeHandle::write(std::span<const std::uint8_t> data) {
  const std::uint32_t fixed = blockSize();
  if (data.empty()) return 0;
  if (fixed != 0 && data.size() % fixed != 0) throw WindowsError{ERROR_INVALID_BLOCK_LENGTH};
  Bytes cdb{0x0A, flag(fixed != 0, 0), 0, 0, 0, 0};
  put24(cdb, 2, fixed != 0 ? data.size() / fixed : data.size());
  const ScsiRequest outcome = driver_.run(cdb, 0, data);
  try {
    ClassDriver::check(outcome);
  } catch (const WindowsError& failed) {
    throw WindowsError{failed.code, outcome.dataOutUsed};
  }
  return outcome.dataOutUsed;
}

void TapeHandle::eraseTape(DWORD type, bool immediate) {
  if (type != TAPE_ERASE_SHORT && type != TAPE_ERASE_LONG) notSupported();
  const auto flags = static_cast<std::uint8_t>(flag(immediate, 1) | flag(type == TAPE_ERASE_LONG, 0));
  driver_.send({0x19, flags, 0, 0, 0, 0});
}

void TapeHandle::prepareTape(DWORD operation, bool immediate) {
  const std::uint8_t immediateBit = flag(immediate, 0);
  switch (operation) {
    case TAPE_LOAD:
      return driver_.send({0x1B, immediateBit, 0, 0, 0x01, 0});
    case TAPE_UNLOAD:
      return driver_.send({0x1B, immediateBit, 0, 0, 0x00, 0});
    case TAPE_TENSION:
      return driver_.send({0x1B, immediateBit, 0, 0, 0x03, 0});
    case TAPE_LOCK:
    case TAPE_UNLOCK:
      return driver_.send({0x1E, 0, 0, 0, flag(operation == TAPE_LOCK, 0), 0});
    case TAPE_FORMAT:
      return driver_.send({0x04, immediateBit, 0, 0, 0, 0});
    default:
      notSupported();
  }
}

void TapeHandle::locate(std::uint64_t block, std::optional<std::uint8_t> partition, bool immediate) {
  const auto flags = static_cast<std::uint8_t>(flag(immediate, 0) | flag(partition.has_value(), 1));
  Bytes cdb{0x92, flags, 0, partition.value_or(0), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  put64(cdb, 4, block);
  driver_.send(cdb);
}

void TapeHandle::setTapePosition(DWORD method, DWORD partition, std::int64_t offset, bool immediate) {
  // Windows numbers partitions from 1; 0 is the one that the tape is in.
  if (partition > 0xFF) throw WindowsError{ERROR_INVALID_PARAMETER};
  std::optional<std::uint8_t> other;
  if (partition != 0) other = static_cast<std::uint8_t>(partition - 1);
  const auto space = [&](std::uint8_t code, std::int64_t count) {
    if (other) locate(0, other, false);
    if (count < -0x800000 || count > 0x7FFFFF) throw WindowsError{ERROR_INVALID_PARAMETER};
    Bytes cdb{0x11, code, 0, 0, 0, 0};
    put24(cdb, 2, static_cast<std::uint64_t>(count));
    driver_.send(cdb);
  };
  switch (method) {
    case TAPE_REWIND:
      return driver_.send({0x01, flag(immediate, 0), 0, 0, 0, 0});
    case TAPE_ABSOLUTE_BLOCK:
    case TAPE_LOGICAL_BLOCK:
      if (offset < 0) throw WindowsError{ERROR_INVALID_PARAMETER};
      return locate(static_cast<std::uint64_t>(offset), other, immediate);
    case TAPE_SPACE_RELATIVE_BLOCKS:
      return space(0, offset);
    case TAPE_SPACE_FILEMARKS:
      return space(1, offset);
    case TAPE_SPACE_SEQUENTIAL_FMKS:
      return space(2, offset);
    case TAPE_SPACE_END_OF_DATA:
      return space(3, 0);
    default:
      notSupported();
  }
}

void TapeHandle::writeTapemark(DWORD type, DWORD count, bool immediate) {
  if (type != TAPE_FILEMARKS) notSupported();
  if (count > 0xFFFFFF) throw WindowsError{ERROR_INVALID_PARAMETER};
  Bytes cdb{0x10, flag(immediate, 0), 0, 0, 0, 0};
  put24(cdb, 2, count);
  driver_.send(cdb);
}

Bytes TapeHandle::getTapeParameters(DWORD operation) {
  if (operation == GET_TAPE_MEDIA_INFORMATION) return mediaParameters();
  if (operation == GET_TAPE_DRIVE_INFORMATION) return driveParameters();
  throw WindowsError{ERROR_INVALID_PARAMETER};
}

Bytes TapeHandle::mediaParameters() {
  TAPE_GET_MEDIA_PARAMETERS media{};
  driver_.send({0x00, 0, 0, 0, 0, 0});
  const Bytes mode = modeSense(dataCompressionPage, 0, true);
  media.BlockSize = static_cast<DWORD>(readNumber(mode, modeHeader + 5, 3));
  media.WriteProtected = (mode[2] & 0x80) != 0;
  media.PartitionCount =
      static_cast<DWORD>(1 + readNumber(modeSense(mediumPartitionPage), modeHeader + 3, 1));
  // Medium auxiliary memory: remaining (0000h) and maximum capacity (0001h) of the partition, in mebibytes.
  Bytes cdb{0x8C, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0, 0};
  const Bytes attributes = driver_.read(cdb, 0x40);
  for (std::size_t at = 4; at + 13 <= attributes.size();) {
    const std::uint64_t id = readNumber(attributes, at, 2);
    const std::size_t length = readNumber(attributes, at + 3, 2);
    const auto bytes = static_cast<LONGLONG>(readNumber(attributes, at + 5, 8) << 20);
    if (id == 0 && length == 8) media.Remaining.QuadPart = bytes;
    if (id == 1 && length == 8) media.Capacity.QuadPart = bytes;
    at += 5 + length;
  }
  return bytesOf(media);
}

Bytes TapeHandle::driveParameters() {
  TAPE_GET_DRIVE_PARAMETERS drive{};
  const Bytes limits = driver_.read({0x05, 0, 0, 0, 0, 0}, 6);
  drive.ECC = TRUE;
  drive.Compression = (readNumber(modeSense(dataCompressionPage), modeHeader + 2, 1) & 0x80) != 0;
  drive.MaximumBlockSize = static_cast<DWORD>(readNumber(limits, 1, 3));
  drive.MinimumBlockSize = static_cast<DWORD>(readNumber(limits, 4, 2));
  drive.DefaultBlockSize = 65536;
  drive.MaximumPartitionCount =
      static_cast<DWORD>(1 + readNumber(modeSense(mediumPartitionPage), modeHeader + 2, 1));
  drive.FeaturesLow = driveFeaturesLow;
  drive.FeaturesHigh = driveFeaturesHigh;
  return bytesOf(drive);
}

void TapeHandle::setTapeParameters(DWORD operation, const void* information) {
  if (!information) throw WindowsError{ERROR_INVALID_PARAMETER};
  if (operation == SET_TAPE_MEDIA_INFORMATION) {
    TAPE_SET_MEDIA_PARAMETERS media;
    std::memcpy(&media, information, sizeof media);
    if (media.BlockSize > 0xFFFFFF) throw WindowsError{ERROR_INVALID_PARAMETER};
    Bytes image = modeSense(dataCompressionPage, 0, true);
    put24(image, modeHeader + 5, media.BlockSize);
    image.resize(modeHeader + blockDescriptor);
    modeSelect(std::move(image));
  } else if (operation == SET_TAPE_DRIVE_INFORMATION) {
    TAPE_SET_DRIVE_PARAMETERS drive;
    std::memcpy(&drive, information, sizeof drive);
    Bytes image = modeSense(dataCompressionPage);
    if (image.size() <= modeHeader + 2) throw WindowsError{ERROR_IO_DEVICE};
    std::uint8_t& compression = image[modeHeader + 2];
    compression = static_cast<std::uint8_t>((compression & 0x7F) | flag(drive.Compression, 7));
    modeSelect(std::move(image));
  } else {
    throw WindowsError{ERROR_INVALID_PARAMETER};
  }
}

}  // namespace simulator
