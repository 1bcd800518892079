// What a library says of its elements: READ ELEMENT STATUS (SMC-3 6.11) and its mode pages (SMC-3 7.3).
#include <algorithm>

#include "simulator/devices/virtual_changer.h"
#include "simulator/devices/virtual_drive.h"

namespace simulator {
namespace {

constexpr std::size_t descriptorHeader = 12;
constexpr std::size_t volumeTagSize = 36;
constexpr std::size_t designatorHeader = 4;
constexpr std::uint8_t elementAddressAssignment = 0x1D;
constexpr std::uint8_t transportGeometry = 0x1E;
constexpr std::uint8_t deviceCapabilities = 0x1F;

}  // namespace

Bytes VirtualChanger::modePage(std::uint8_t code) const {
  switch (code) {
    case elementAddressAssignment: {
      Bytes page(20);
      std::size_t at = 2;
      for (const ElementType type : {elementTransport, elementStorage, elementImportExport, elementDrive}) {
        put16(page, at, range(type).first);
        put16(page, at + 2, range(type).count);
        at += 4;
      }
      return page;
    }
    case transportGeometry: {
      Bytes page(2 + std::size_t{2} * changer_.robots.count);
      for (std::uint8_t member = 0; member < changer_.robots.count; ++member) page[3 + 2u * member] = member;
      return page;
    }
    case deviceCapabilities: {
      // Robots only carry; everything else stores, and cartridges go from each kind to each.
      constexpr std::uint8_t storing = 0x0E;
      Bytes page(20);
      page[2] = storing;
      std::fill_n(&page[5], 3, storing);
      if (changer_.exchanges) std::fill_n(&page[13], 3, storing);
      return page;
    }
    default:
      return {};
  }
}

void VirtualChanger::modeSense(ScsiRequest& request) {
  const std::uint8_t wanted = request.cdb[2] & 0x3F;
  const std::uint8_t control = request.cdb[2] >> 6;
  if (control == 3) refuse(5, 0x39, 0);
  if (request.cdb[3] != 0) invalidField(3);
  Bytes data(4);
  for (const std::uint8_t code : {elementAddressAssignment, transportGeometry, deviceCapabilities}) {
    if (wanted != code && wanted != 0x3F) continue;
    Bytes page = modePage(code);
    if (control == 1) std::fill(page.begin(), page.end(), std::uint8_t{0});  // nothing is changeable
    page[0] = code;
    page[1] = static_cast<std::uint8_t>(page.size() - 2);
    append(data, page);
  }
  if (data.size() == 4) invalidField(2);
  data[0] = static_cast<std::uint8_t>(data.size() - 1);
  request.reply(std::move(data), request.cdb[4]);
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

std::uint8_t VirtualChanger::stateByte(const Element& element) const {
  int state = flag(element.medium() != nullptr, 0) | flag(element.exception.has_value(), 2);
  if (element.type != elementTransport) {
    const bool loaded = element.drive && element.drive->loaded();
    const bool open = stationOpen_ && element.type == elementImportExport;
    state |= flag(element.accessible && !loaded && !open, 3);
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
  if (element.exception) {
    data[4] = element.exception->first;
    data[5] = element.exception->second;
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
