// Medium auxiliary memory: READ ATTRIBUTE and WRITE ATTRIBUTE (SPC-4 6.17, 6.38, 7.4).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

enum ServiceAction : std::uint8_t { values = 0, identifiers = 1, volumes = 2, partitions = 3, supported = 5 };

struct WritableAttribute {
  std::uint16_t id;
  std::uint16_t longest;
  Attribute::Format format;
};
// Attributes that a host may create (SPC-4 7.4.2.4).
constexpr WritableAttribute writable[] = {
    {0x0800, 8, Attribute::Ascii},    // application vendor
    {0x0801, 32, Attribute::Ascii},   // application name
    {0x0802, 8, Attribute::Ascii},    // application version
    {0x0803, 160, Attribute::Text},   // user medium text label
    {0x0804, 12, Attribute::Ascii},   // date and time last written
    {0x0805, 1, Attribute::Binary},   // text localization identifier
    {0x0806, 32, Attribute::Ascii},   // barcode
    {0x0807, 80, Attribute::Text},    // owning host textual name
    {0x0808, 160, Attribute::Text},   // media pool
    {0x080B, 16, Attribute::Ascii},   // application format version
    {0x080C, 50, Attribute::Binary},  // volume coherency information
};

std::uint64_t mebibytes(std::uint64_t bytes) { return bytes >> 20; }

Bytes encode(std::uint16_t id, const Attribute& attribute) {
  Bytes bytes = bigEndian(2, id);
  bytes.push_back(static_cast<std::uint8_t>(flag(attribute.readOnly, 7) | attribute.format));
  append(bytes, bigEndian(2, attribute.value.size()));
  append(bytes, attribute.value);
  return bytes;
}

}  // namespace

void VirtualDrive::addAttributeCommands() {
  for (const std::uint8_t action : {values, identifiers, volumes, partitions, supported}) {
    const Bytes usage{0xFF, 0, 0, 0, 0, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0};
    onServiceAction(0x8C, action, usage, &VirtualDrive::readAttribute);
  }
  onCommand(0x8D, {0xFF, 0x01, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
            &VirtualDrive::writeAttribute);
}

const Partition& VirtualDrive::attributePartition(const ScsiRequest& request) {
  checkReady();
  if (request.cdb[5] != 0) invalidField(5);  // there is one logical volume, number 0
  if (request.cdb[7] >= medium_->partitions().size()) invalidField(7);
  return medium_->partitions()[request.cdb[7]];
}

/// What the memory holds, with what the drive knows at this moment.
Attributes VirtualDrive::attributes(const Partition& partition) const {
  const MediumUsage& usage = medium_->usage();
  Attributes all = medium_->attributes();
  std::uint64_t taken = 0;
  for (const auto& [id, attribute] : all) taken += encode(id, attribute).size();
  const struct {
    std::uint16_t id;
    std::size_t width;
    std::uint64_t value;
  } numbers[] = {
      {0x0000, 8, mebibytes(partition.capacity - partition.used(partition.objects.size()))},  // remaining
      {0x0001, 8, mebibytes(partition.capacity)},
      {0x0002, 8, tapeAlerts()},
      {0x0003, 8, usage.loads},
      {0x0004, 8, memoryCapacity - std::min(memoryCapacity, taken)},  // space remaining in this memory
      {0x0006, 1, medium_->options().densityCode},                    // as formatted
      {0x0007, 2, usage.formats},
      {0x0009, 4, usage.changes},  // volume change reference
      {0x0220, 8, mebibytes(usage.written)},
      {0x0221, 8, mebibytes(usage.read)},
      {0x0222, 8, mebibytes(usage.writtenNow)},
      {0x0223, 8, mebibytes(usage.readNow)},
  };
  for (const auto& row : numbers) all[row.id] = Attribute::number(row.width, row.value);
  std::uint16_t driveOfLoad = 0x020A;  // at the last loads, the latest first
  for (const auto& drive : usage.drives) all[driveOfLoad++] = {Attribute::Ascii, true, drive};
  return all;
}

void VirtualDrive::readAttribute(ScsiRequest& request) {
  Attributes all = attributes(attributePartition(request));
  const std::uint8_t action = request.cdb[1];
  const std::uint32_t allocation = request.cdb32(10);
  if (action == volumes || action == partitions) {
    const std::size_t count = action == volumes ? 1 : medium_->partitions().size();
    return request.reply({0, 2, 0, static_cast<std::uint8_t>(count)}, allocation);
  }
  if (action == supported) {
    for (const WritableAttribute& row : writable) all.try_emplace(row.id);
  }
  const auto first = all.find(request.cdb16(8));
  if (first == all.end()) invalidField(8);
  Bytes data(4);
  for (auto entry = first; entry != all.end(); ++entry) {
    append(data, action == values ? encode(entry->first, entry->second) : bigEndian(2, entry->first));
  }
  put32(data, 0, data.size() - 4);
  request.reply(std::move(data), allocation);
}

void VirtualDrive::writeAttribute(ScsiRequest& request) {
  attributePartition(request);
  const auto list = request.parameterList(request.cdb32(10));
  if (list.empty()) return;
  if (list.size() < 4 || readNumber(list, 0, 4) != list.size() - 4) parameterListLengthError();
  auto changed = medium_->attributes();
  for (std::size_t at = 4; at < list.size();) {
    if (at + 5 > list.size()) parameterListLengthError();
    const auto position = static_cast<std::uint16_t>(at);
    const auto id = static_cast<std::uint16_t>(readNumber(list, at, 2));
    const std::size_t length = readNumber(list, at + 3, 2);
    if (at + 5 + length > list.size()) parameterListLengthError();
    const auto row = std::find_if(std::begin(writable), std::end(writable),
                                  [id](const WritableAttribute& candidate) { return candidate.id == id; });
    if (row == std::end(writable) || (list[at + 2] & 0x83) != row->format) invalidParameter(position);
    if (length > row->longest) invalidParameter(static_cast<std::uint16_t>(at + 3));
    const auto value = list.subspan(at + 5, length);
    if (length == 0) {
      changed.erase(id);
    } else {
      changed[id] = {row->format, false, Bytes(value.begin(), value.end())};
    }
    at += 5 + length;
  }
  medium_->attributes() = std::move(changed);
}

}  // namespace simulator
