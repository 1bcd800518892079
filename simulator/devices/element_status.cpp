// What a library says of its elements: READ ELEMENT STATUS (SMC-3 6.11) and its mode pages (SMC-3 7.3).
#include "simulator/devices/element_status.h"

#include <algorithm>

#include "simulator/devices/virtual_changer.h"
#include "simulator/devices/virtual_drive.h"

namespace simulator {
namespace {

constexpr std::size_t designatorHeader = 4;
constexpr std::uint8_t elementAddressAssignment = 0x1D;
constexpr std::uint8_t transportGeometry = 0x1E;
constexpr std::uint8_t deviceCapabilities = 0x1F;

}  // namespace

std::uint8_t VirtualChanger::storingTypes() const {
  std::uint8_t types = 0;  // robots only carry
  for (const ElementType type : {elementStorage, elementImportExport, elementDrive}) {
    types |= flag(range(type).count > 0, type - 1);
  }
  return types;
}

void VirtualChanger::addModePages() {
  Bytes assignment;
  Bytes capabilities{storingTypes(), 0};
  Bytes moves;
  for (const ElementType type : {elementTransport, elementStorage, elementImportExport, elementDrive}) {
    append(assignment, bigEndian(2, range(type).first));
    append(assignment, bigEndian(2, range(type).count));
    // Cartridges go from each kind that stores them to each.
    moves.push_back(storingTypes() >> (type - 1) & 1 ? storingTypes() : std::uint8_t{0});
  }
  assignment.resize(18);
  append(capabilities, moves);
  capabilities.resize(10);
  if (changer_.exchanges) append(capabilities, moves);
  capabilities.resize(18);
  Bytes geometry;  // of each robot: it can rotate cartridges, its place in the set
  for (std::uint16_t member = 0; member < changer_.robots.count; ++member)
    append(geometry, {0x01, static_cast<std::uint8_t>(member)});
  modes_.add(elementAddressAssignment, 0, std::move(assignment), {});
  modes_.add(transportGeometry, 0, std::move(geometry), {});
  modes_.add(deviceCapabilities, 0, std::move(capabilities), {});
}

Designator VirtualChanger::designatorOf(const Element& element) {
  if (element.designator) return *element.designator;
  Designator result{.codeSet = 0, .type = 0};
  if (element.drive) {
    const DeviceOptions& drive = element.drive->options();
    result.codeSet = 2;
    result.type = 1;
    putText(result.identifier, 0, 8, drive.vendor);
    putText(result.identifier, 8, 16, drive.model);
    putText(result.identifier, 24, std::max<std::size_t>(10, drive.serial.size()), drive.serial);
  }
  return result;
}

/// Descriptors of a page are equally long: the longest identifier counts.
std::size_t VirtualChanger::identifierWidth(ElementType type) const {
  std::size_t width = 0;
  for (const auto& [address, element] : elements_) {
    if (element.type == type) width = std::max(width, designatorOf(element).identifier.size());
  }
  return width;
}

std::optional<std::pair<std::uint8_t, std::uint8_t>> VirtualChanger::exceptionOf(const Element& element) {
  if (element.exception || element.type != elementDrive || element.drive) return element.exception;
  return std::pair<std::uint8_t, std::uint8_t>{0x3B, 0x1A};  // data transfer element removed
}

std::uint8_t VirtualChanger::stateByte(const Element& element) const {
  int state = flag(element.medium() != nullptr, 0) | flag(exceptionOf(element).has_value(), 2);
  if (element.type != elementTransport) {
    const bool noDrive = element.type == elementDrive && !element.drive;
    const bool loaded = element.drive && element.drive->loaded();
    const bool open = stationOpen_ && element.type == elementImportExport;
    state |= flag(element.accessible && !noDrive && !loaded && !open, 3);
  }
  if (element.type == elementImportExport) {
    state |= flag(element.placedByOperator, 1) | flag(true, 4) | flag(true, 5);  // both ways are enabled
  }
  return static_cast<std::uint8_t>(state);
}

std::uint8_t VirtualChanger::originByte(const Element& element) {
  return static_cast<std::uint8_t>(flag(element.source.has_value(), 7) | flag(element.inverted, 6));
}

Bytes VirtualChanger::volumeTag(const Element& element) {
  Bytes tag(volumeTagSize);
  if (const Medium* medium = element.medium()) putText(tag, 0, 32, medium->options().barcode);
  return tag;
}

Bytes VirtualChanger::descriptor(const Element& element, bool volumeTags, bool identifiers) const {
  Bytes data(descriptorHeader);
  put16(data, 0, element.address);
  data[2] = stateByte(element);
  if (const auto exception = exceptionOf(element)) {
    data[4] = exception->first;
    data[5] = exception->second;
  }
  if (element.drive && element.drive->options().interface == Interface::ParallelScsi) {
    const DeviceOptions& drive = element.drive->options();
    const bool elsewhere = drive.adapter != options().adapter || drive.bus != options().bus;
    data[6] =
        static_cast<std::uint8_t>(flag(elsewhere, 7) | flag(true, 5) | flag(true, 4) | (drive.lun & 0x07));
    data[7] = drive.target;
  }
  data[9] = originByte(element);
  put16(data, 10, element.source.value_or(0));
  if (volumeTags) append(data, volumeTag(element));
  const std::size_t at = data.size();
  data.resize(at + designatorHeader);
  if (identifiers) {
    const Designator designator = designatorOf(element);
    data.resize(at + designatorHeader + identifierWidth(element.type));
    data[at] = designator.codeSet;
    data[at + 1] = designator.type;
    data[at + 3] = designator.claimedLength.value_or(static_cast<std::uint8_t>(designator.identifier.size()));
    std::copy(designator.identifier.begin(), designator.identifier.end(), &data[at] + designatorHeader);
  }
  return data;
}

void VirtualChanger::readElementStatus(ScsiRequest& request) {
  const std::uint8_t wanted = request.cdb[1] & 0x0F;
  const std::uint16_t start = request.cdb16(2);
  const std::uint16_t limit = request.cdb16(4);
  const bool volumeTags = (request.cdb[1] & 0x10) && changer_.barcodeReader;
  const bool identifiers = request.cdb[6] & 0x01;
  const std::uint32_t allocation = request.cdb24(7);
  if (wanted > elementDrive) invalidField(1);

  // Pieces that are transferred whole or not at all: headers and descriptors.
  std::vector<Bytes> pieces(1, Bytes(8));
  std::size_t reported = 0;
  std::uint16_t lowest = 0;
  for (const ElementType type : {elementTransport, elementStorage, elementImportExport, elementDrive}) {
    if (wanted != 0 && wanted != type) continue;
    const std::size_t header = pieces.size();
    std::size_t length = 0;
    for (const auto& [address, element] : elements_) {
      if (element.type != type || address < start || reported == limit) continue;
      if (pieces.size() == header) pieces.emplace_back(8);
      pieces.push_back(descriptor(element, volumeTags, identifiers));
      length = pieces.back().size();
      if (reported++ == 0 || address < lowest) lowest = address;
    }
    if (pieces.size() == header) continue;
    pieces[header][0] = type;
    pieces[header][1] = flag(volumeTags, 7);
    put16(pieces[header], 2, lies_.descriptorLength.value_or(static_cast<std::uint16_t>(length)));
    put24(pieces[header], 5, lies_.pageByteCount.value_or(length * (pieces.size() - header - 1)));
  }
  std::size_t total = 0;
  for (const Bytes& piece : pieces) total += piece.size();
  put16(pieces[0], 0, lowest);
  put16(pieces[0], 2, lies_.elementCount.value_or(static_cast<std::uint16_t>(reported)));
  put24(pieces[0], 5, lies_.reportByteCount.value_or(total - 8));

  Bytes data;
  for (const Bytes& piece : pieces) {
    if (data.size() + piece.size() > allocation) break;
    append(data, piece);
  }
  request.reply(std::move(data), allocation);
}

}  // namespace simulator
