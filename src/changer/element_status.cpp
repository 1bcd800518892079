#include "kiv/changer/element_status.h"

#include <algorithm>
#include <optional>

#include "changer/element_status_layout.h"
#include "frame/guarded.h"
#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"

namespace {

/// One page per element type.
constexpr std::size_t MOST_PAGES = 4;
/// Element addresses have 16 bits.
constexpr std::size_t MOST_DESCRIPTORS = 65535;

using Descriptors = std::vector<std::shared_ptr<ElemStatusDescriptor>>;

/// Decodes as many descriptors as are whole. They share one block of memory: a library has thousands of
/// slots.
template <typename Descriptor>
Descriptors decodeAs(std::span<const std::uint8_t> data, std::uint16_t length, bool volumeTag) {
  const std::size_t count = std::min(data.size() / length, MOST_DESCRIPTORS);
  const auto block = std::make_shared<std::vector<std::optional<Descriptor>>>(count);
  Descriptors descriptors;
  descriptors.reserve(count);
  for (auto& place : *block) {
    Descriptor& descriptor = place.emplace(data.data(), static_cast<ulong32>(data.size()), length, volumeTag);
    descriptor.decodeData();
    descriptors.emplace_back(block, &descriptor);
    data = data.subspan(length);
  }
  return descriptors;
}

template <typename Plain, typename WithIdentifier>
Descriptors decodeEither(bool withIdentifier, std::span<const std::uint8_t> data, std::uint16_t length,
                         bool volumeTag) {
  return withIdentifier ? decodeAs<WithIdentifier>(data, length, volumeTag)
                        : decodeAs<Plain>(data, length, volumeTag);
}

Descriptors decode(ChangerElementTypeCode type, bool withIdentifier, std::span<const std::uint8_t> data,
                   std::uint16_t length, bool volumeTag) {
  switch (type) {
    case ELEMENT_MEDIUM_TRANSPORT:
      return decodeAs<MediumTransportElemStatusDescriptor>(data, length, volumeTag);
    case ELEMENT_STORAGE:
      return decodeEither<StorageElemStatusDescriptor, StorageWithDVCIDElemStatusDescriptor>(
          withIdentifier, data, length, volumeTag);
    case ELEMENT_IMPORT_EXPORT:
      return decodeEither<IOElemStatusDescriptor, IOElemwDVCIDStatusDescriptor>(withIdentifier, data, length,
                                                                                volumeTag);
    case ELEMENT_DATA_TRANSFER:
      return decodeEither<DataTransferElemStatusDescriptor, DataTransferwDVCIDElemStatusDescriptor>(
          withIdentifier, data, length, volumeTag);
    default:
      return {};
  }
}

}  // namespace

ChangerElementStatusPage::ChangerElementStatusPage(const std::uint8_t* data, ulong32 available,
                                                   bool deviceIdentifier)
    : pageData(data), bytesAvailable(data == nullptr ? 0 : available), withIdentifier(deviceIdentifier) {
  initialize();
}

void ChangerElementStatusPage::initialize() {
  descriptors.clear();
  const bool whole = guarded(false, [&] {
    decodeData();
    return true;
  });
  // A part must not pass for the whole.
  if (!whole) descriptors.clear();
}

void ChangerElementStatusPage::decodeData() {
  const std::span<const std::uint8_t> page(pageData, bytesAvailable);
  if (page.size() < PAGE_HEADER) return;
  typeCode = page[0];
  primaryVolumeTag = (page[1] & 0x80) != 0;
  alternateVolumeTag = (page[1] & 0x40) != 0;
  descriptorLength = readBe16(page, 2);
  byteDescAvailable = readBe24(page, 5);
  logger->logDebug("SCSI", 0, "ChangerElementStatusPage::decodeData, type %d", typeCode);
  auto rest = page.subspan(PAGE_HEADER);
  rest = rest.first(std::min<std::size_t>(rest.size(), byteDescAvailable));
  logDump("SCSI", "ChangerElementStatusPage::decodeData, page", page.first(PAGE_HEADER + rest.size()));
  if (descriptorLength == 0) return;
  descriptors = decode(typeCode, withIdentifier, rest, descriptorLength, primaryVolumeTag);
}

ElemStatusDescriptor* ChangerElementStatusPage::getDescriptor(std::uint16_t index) const {
  return index < descriptors.size() ? descriptors[index].get() : nullptr;
}

std::uint16_t ChangerElementStatusPage::getMaxReportedElementAddress() const {
  std::uint16_t highest = 0;
  for (const auto& descriptor : descriptors) highest = std::max(highest, descriptor->getElementAddress());
  return highest;
}

std::string ChangerElementStatusPage::toString() const {
  return guarded(std::string(), [&] {
    std::string text = "ChangerElementStatusPage::toString(), Type: " + std::to_string(typeCode) +
                       ", PVolTag " + std::to_string(primaryVolumeTag) + ", DescLength " +
                       std::to_string(descriptorLength) + ", bytes desc. available " +
                       std::to_string(byteDescAvailable);
    for (const auto& descriptor : descriptors) text += descriptor->toString();
    return text;
  });
}

ChangerElementStatusData::ChangerElementStatusData(const std::uint8_t* data, ulong32 length,
                                                   bool deviceIdentifier) {
  if (data == nullptr) return;
  const bool whole = guarded(false, [&] {
    decodeData({data, length}, deviceIdentifier);
    return true;
  });
  if (!whole) pages.clear();
}

void ChangerElementStatusData::decodeData(std::span<const std::uint8_t> data, bool deviceIdentifier) {
  if (data.size() < REPORT_HEADER) return;
  firstElementAddressReported = readBe16(data, 0);
  numberElementsAvail = readBe16(data, 2);
  byteCntReportAvail = readBe24(data, 5);
  for (auto rest = data.subspan(REPORT_HEADER); rest.size() >= PAGE_HEADER && pages.size() < MOST_PAGES;) {
    const std::size_t pageLength = PAGE_HEADER + readBe24(rest, 5);
    if (pageLength > rest.size()) return;
    const std::uint8_t type = rest[0];
    if (type < ELEMENT_MEDIUM_TRANSPORT || type > ELEMENT_DATA_TRANSFER) {
      logger->logDebug("SCSI", 0, "ChangerElementStatusData::decodeData, wrong type detected %d", type);
      return;
    }
    pages.push_back(std::make_unique<ChangerElementStatusPage>(rest.data(), static_cast<ulong32>(rest.size()),
                                                               deviceIdentifier));
    rest = rest.subspan(pageLength);
  }
}

ChangerElementStatusPage* ChangerElementStatusData::getElementStatusPage(std::uint16_t index) const {
  return index < pages.size() ? pages[index].get() : nullptr;
}

std::uint16_t ChangerElementStatusData::getMaxReportedElementAddress() const {
  std::uint16_t highest = 0;
  for (const auto& page : pages) highest = std::max(highest, page->getMaxReportedElementAddress());
  return highest;
}

std::string ChangerElementStatusData::toString() const {
  return guarded(std::string(), [&] {
    std::string text;
    for (const auto& page : pages) text += page->toString();
    return text;
  });
}
