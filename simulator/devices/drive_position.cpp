// Moving on the tape (SSC-4 7.3, 7.7, 7.8, 7.10, 7.12).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

/// INFORMATION has four bytes; a count that does not fit is not told.
std::optional<std::uint32_t> residual(std::uint64_t left) {
  if (left > 0xFFFFFFFF) return std::nullopt;
  return static_cast<std::uint32_t>(left);
}

Sense beginning(std::uint64_t left) {
  return {.key = 0, .asc = 0x00, .ascq = 0x04, .information = residual(left), .endOfMedium = true};
}

}  // namespace

void VirtualDrive::addPositionCommands() {
  onReady(0x01, {0xFF, 0x01, 0, 0, 0, 0}, [this](ScsiRequest&) { object_ = 0; });
  const auto spaceBy = [this](ScsiRequest& request, std::int64_t count) {
    const std::uint8_t code = request.cdb[1] & 0x0F;
    if (code > static_cast<std::uint8_t>(SpaceCode::EndOfData)) invalidField(1);
    space(static_cast<SpaceCode>(code), count);
  };
  onReady(0x11, {0xFF, 0x0F, 0xFF, 0xFF, 0xFF, 0}, [=](ScsiRequest& request) {
    spaceBy(request, static_cast<std::int32_t>(request.cdb24(2) << 8) >> 8);  // the sign is bit 23
  });
  onReady(0x91, {0xFF, 0x0F, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
          [=](ScsiRequest& request) { spaceBy(request, static_cast<std::int64_t>(request.cdb64(4))); });
  onReady(0x2B, {0xFF, 0x07, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0xFF, 0}, [this](ScsiRequest& request) {
    if (request.cdb[1] & 0x04) invalidField(1);  // a block address of the device's own
    locate(request.cdb[1] & 0x02 ? request.cdb[8] : partition_, request.cdb32(3));
  });
  onReady(0x92, {0xFF, 0x3B, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
          &VirtualDrive::locate16);
  onReady(0x34, {0xFF, 0x1F, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::readPosition);
}

void VirtualDrive::enterPartition(std::size_t number) {
  partition_ = static_cast<std::uint8_t>(number);
  if (modes_.has(0x10)) modes_.current(0x10)[3] = partition_;  // device configuration: active partition
}

void VirtualDrive::space(SpaceCode code, std::int64_t count) {
  const auto& objects = partition().objects;
  if (code == SpaceCode::EndOfData) {
    object_ = objects.size();
    return;
  }
  const bool forward = count >= 0;
  auto left = forward ? static_cast<std::uint64_t>(count) : 0 - static_cast<std::uint64_t>(count);
  const std::uint64_t wanted = left;
  while (left > 0) {
    if (forward && object_ >= objects.size()) {
      throw CheckCondition{{.key = 8, .asc = 0x00, .ascq = 0x05, .information = residual(left)}};
    }
    if (!forward && object_ == 0) throw CheckCondition{beginning(left)};
    const bool filemark = objects[forward ? object_ : object_ - 1].filemark;
    object_ = forward ? object_ + 1 : object_ - 1;
    switch (code) {
      case SpaceCode::Blocks:
        if (filemark) {
          throw CheckCondition{
              {.key = 0, .asc = 0x00, .ascq = 0x01, .information = residual(left), .filemark = true}};
        }
        --left;
        break;
      case SpaceCode::Filemarks:
        if (filemark) --left;
        break;
      default:  // filemarks in a row: a block between them starts the count anew
        left = filemark ? left - 1 : wanted;
    }
  }
}

void VirtualDrive::locate(std::size_t partition, std::uint64_t object) {
  if (partition >= medium_->partitions().size()) invalidField(3);
  enterPartition(partition);
  const std::size_t end = VirtualDrive::partition().objects.size();
  object_ = static_cast<std::size_t>(std::min<std::uint64_t>(object, end));
  if (object > end) refuse(8, 0x00, 0x05);
}

void VirtualDrive::locate16(ScsiRequest& request) {
  const std::size_t target = request.cdb[1] & 0x02 ? request.cdb[3] : partition_;
  switch (request.cdb[1] >> 3 & 7) {  // DEST_TYPE
    case 0:
      locate(target, request.cdb64(4));
      break;
    case 1:  // a logical file: it begins behind that many filemarks
      locate(target, 0);
      for (std::uint64_t files = request.cdb64(4); files > 0; --files) space(SpaceCode::Filemarks, 1);
      break;
    case 3:
      locate(target, 0);
      space(SpaceCode::EndOfData, 0);
      break;
    default:
      invalidField(1);
  }
}

void VirtualDrive::readPosition(ScsiRequest& request) {
  const std::uint8_t form = request.cdb[1] & 0x1F;
  const auto& objects = partition().objects;
  const auto files = std::count_if(objects.begin(), objects.begin() + static_cast<std::ptrdiff_t>(object_),
                                   [](const TapeObject& object) { return object.filemark; });
  // Nothing stays in the drive's buffer: first and last object are the same.
  Bytes data;
  if (form == 0) {
    if (request.cdb16(7) != 0) invalidField(7);
    data.resize(20);
    data[1] = partition_;
    put32(data, 4, object_);
    put32(data, 8, object_);
  } else if (form == 6) {
    if (request.cdb16(7) != 0) invalidField(7);
    data.resize(32);
    put32(data, 4, partition_);
    put64(data, 8, object_);
    put64(data, 16, static_cast<std::uint64_t>(files));
  } else if (form == 8) {
    data.resize(32);
    data[1] = partition_;
    put16(data, 2, 0x1C);
    put64(data, 8, object_);
    put64(data, 16, object_);
  } else {
    invalidField(1);
  }
  if (object_ == 0) data[0] |= 0x80;
  if (pastEarlyWarning()) data[0] |= 0x40;
  request.reply(std::move(data), form == 8 ? request.cdb16(7) : 32);
}

}  // namespace simulator
