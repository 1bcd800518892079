// READ BUFFER, and the firmware download by WRITE BUFFER.
#include <algorithm>

#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

namespace simulator {

constexpr std::uint8_t modeData = 2;
constexpr std::uint8_t modeDescriptor = 3;
constexpr std::uint8_t firmwareBuffer = 4;
constexpr std::uint32_t firmwareBufferCapacity = 0xFFFFFF;

Bytes namedEntryBuffer(const std::string& name, std::uint32_t value) {
  // A record: its length without this word, a mark, then chunks of mark, length and content.
  const auto record = [](const std::string& entry, std::uint32_t number) {
    Bytes bytes(4);
    putText(bytes, 4, 4, "ENTR");
    putText(bytes, 8, 4, "NAME");
    put32(bytes, 12, entry.size());
    putText(bytes, 16, entry.size(), entry);
    std::size_t at = 16 + entry.size();
    putText(bytes, at, 4, "TYPE");
    put32(bytes, at + 4, 4);
    put32(bytes, at + 8, 1);
    putText(bytes, at + 12, 4, "DATA");
    put32(bytes, at + 16, 4);
    put32(bytes, at + 20, number);
    put32(bytes, 0, bytes.size() - 4);
    return bytes;
  };
  // Real drives list many entries; the one that matters stands between others.
  Bytes data = record("drive_family", 7);
  append(data, record(name, value));
  append(data, record("end_of_list", 0));
  data.resize(data.size() + 64);
  return data;
}

void VirtualDrive::addFirmwareCommands() {
  const Bytes usage{0xFF, 0x1F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
  onCommand(0x3C, usage, &VirtualDrive::readBuffer);
  onCommand(0x3B, usage, &VirtualDrive::writeBuffer);
}

void VirtualDrive::readBuffer(ScsiRequest& request) {
  const std::uint8_t mode = request.cdb[1] & 0x1F;
  const std::uint8_t id = request.cdb[2];
  const std::uint32_t offset = request.cdb24(3);
  const std::uint32_t allocation = request.cdb24(6);
  const auto found = buffers_.find(id);
  if (mode == modeDescriptor) {
    // A buffer that does not exist has a descriptor of zeros.
    Bytes descriptor(4);
    if (id == firmwareBuffer) put24(descriptor, 1, firmwareBufferCapacity);
    if (found != buffers_.end()) put24(descriptor, 1, found->second.size());
    request.reply(std::move(descriptor), allocation);
    return;
  }
  if (mode != modeData) invalidField(1);
  if (found == buffers_.end()) invalidField(2);
  const Bytes& buffer = found->second;
  if (offset > buffer.size()) invalidField(3);
  request.reply(Bytes(buffer.begin() + static_cast<std::ptrdiff_t>(offset), buffer.end()), allocation);
}

void VirtualDrive::writeBuffer(ScsiRequest& request) {
  if ((request.cdb[1] & 0x1F) != modeData) invalidField(1);
  if (request.cdb[2] != firmwareBuffer) invalidField(2);
  const std::uint32_t offset = request.cdb24(3);
  const auto chunk = request.parameterList(request.cdb24(6));
  // Firmware cannot change under a cartridge that moves.
  if (loaded() && !jammed_) refuse(5, 0x2C, 0x00);
  if (offset == 0) image_.clear();
  if (offset != image_.size()) invalidField(3);
  if (offset == 0 && !chunk.empty()) checkFirmwareHeader(chunk);
  image_.insert(image_.end(), chunk.begin(), chunk.end());
  const std::uint64_t length = readNumber(image_, 16, 4);
  if (image_.size() > length) {
    image_.clear();
    invalidField(6);
  }
  if (image_.size() == length) finishDownload();
}

void VirtualDrive::checkFirmwareHeader(std::span<const std::uint8_t> chunk) const {
  const std::string magic(
      chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(chunk.size(), 4)));
  if (chunk.size() < firmwareHeaderSize || magic != "QFWI") invalidField(2);
  Bytes vendor;
  putText(vendor, 0, 8, options().vendor);
  // Another maker's image.
  if (!std::equal(vendor.begin(), vendor.end(), chunk.begin() + 4)) {
    refuse(5, 0x82, 0x83);
  }
}

void VirtualDrive::finishDownload() {
  const auto code = std::span(image_).subspan(firmwareHeaderSize);
  if (crc32(code) != readNumber(image_, 20, 4)) invalidParameter(20);
  VirtualDevice::options().level.assign(image_.begin() + 12, image_.begin() + 16);
  reboot();
  addUnitAttention(0x3F, 0x01);  // microcode has been changed
}

}  // namespace simulator
