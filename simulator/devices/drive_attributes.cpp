// Medium auxiliary memory: READ ATTRIBUTE and WRITE ATTRIBUTE (SPC-4 6.17, 6.38, 7.4).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

enum ServiceAction : std::uint8_t { values = 0, identifiers = 1, volumes = 2, partitions = 3 };

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

Attribute megabytes(std::uint64_t bytes) {
  Attribute attribute{Attribute::Binary, true, {}};
  put64(attribute.value, 0, bytes / 1'000'000);
  return attribute;
}

Bytes encode(std::uint16_t id, const Attribute& attribute) {
  Bytes bytes(5);
  put16(bytes, 0, id);
  bytes[2] = static_cast<std::uint8_t>((attribute.readOnly ? 0x80 : 0) | attribute.format);
  put16(bytes, 3, attribute.value.size());
  append(bytes, attribute.value);
  return bytes;
}

}  // namespace

void VirtualDrive::addAttributeCommands() {
  onReady(0x8C, {0xFF, 0x1F, 0, 0, 0, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0},
          &VirtualDrive::readAttribute);
  onReady(0x8D, {0xFF, 0x01, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
          &VirtualDrive::writeAttribute);
}

const Partition& VirtualDrive::attributePartition(const ScsiRequest& request) {
  if (request.cdb[5] != 0) invalidField(5);  // there is one logical volume, number 0
  if (request.cdb[7] >= medium_->partitions().size()) invalidField(7);
  return medium_->partitions()[request.cdb[7]];
}

void VirtualDrive::readAttribute(ScsiRequest& request) {
  const Partition& partition = attributePartition(request);
  const std::uint8_t action = request.cdb[1] & 0x1F;
  const std::uint16_t first = request.cdb16(8);
  if (action == volumes || action == partitions) {
    Bytes data(4);
    put16(data, 0, 2);
    data[3] = static_cast<std::uint8_t>(action == volumes ? 1 : medium_->partitions().size());
    request.reply(std::move(data), request.cdb32(10));
    return;
  }
  if (action != values && action != identifiers) invalidField(1);
  auto all = medium_->attributes();
  all[0x0000] = megabytes(partition.capacity - partition.used(partition.objects.size()));
  all[0x0001] = megabytes(partition.capacity);
  Bytes data(4);
  for (auto entry = all.lower_bound(first); entry != all.end(); ++entry) {
    if (action == values) {
      append(data, encode(entry->first, entry->second));
    } else {
      put16(data, data.size(), entry->first);
    }
  }
  put32(data, 0, data.size() - 4);
  request.reply(std::move(data), request.cdb32(10));
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
