#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "changer/changer_interface.h"
#include "changer/element_status_image.h"
#include "changer/element_status_layout.h"
#include "frame/guarded.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "platform/device_control.h"

namespace {

/// What a READ ELEMENT STATUS command asks for.
struct Request {
  explicit Request(std::span<const std::uint8_t> cdb)
      : type(static_cast<ChangerElementTypeCode>(readByte(cdb, 1) & 0x0F)),
        volumeTags((readByte(cdb, 1) & 0x10) != 0),
        identifier((readByte(cdb, 6) & 0x01) != 0),
        start(readBe16(cdb, 2)),
        count(readBe16(cdb, 4)) {}

  ChangerElementTypeCode type;
  bool volumeTags;
  bool identifier;
  std::uint16_t start;
  std::uint16_t count;
};

/// The elements of one kind that a command asks for.
struct Page {
  const ElementKind* kind;
  std::vector<CHANGER_ELEMENT_STATUS_EX> elements;
};

/// Whether the changer interface can answer the request.
bool isPossible(const Request& request, const GET_CHANGER_PARAMETERS& parameters) {
  if (request.identifier && request.type != ELEMENT_DATA_TRANSFER) {
    logger->logDebug("SCSI", 0,
                     "QORChangerCmdReadElementStatus::readElementStatusDVCID()requested for type code [%d] "
                     "other than drive",
                     request.type);
    return false;
  }
  CHANGER_ELEMENT startElement{};
  if (!QORChangerCmdElementInformation::translateAddress(parameters, request.start, startElement)) {
    logger->logDebug("SCSI", 0, "QORChangerCmdReadElementStatus invalid requested first element address - %d",
                     request.start);
    return false;
  }
  if (request.identifier) {
    logger->logDebug("SCSI", 0,
                     "QORChangerCmdReadElementStatus for Drives ElementCode:%d, ElementCount:%d Address:%d",
                     request.type, request.count, request.start);
  }
  return true;
}

/// Reads the status of some elements of one kind. False when the request fails. With product data, Windows'
/// extended records are asked for, which it tells by the size of the buffer; a driver that does not know them
/// answers with plain ones.
bool readElements(void* changer, const CHANGER_ELEMENT_LIST& list, bool volumeTags, bool productData,
                  std::vector<CHANGER_ELEMENT_STATUS_EX>& elements) {
  std::size_t recordSize = productData ? sizeof(CHANGER_ELEMENT_STATUS_EX) : sizeof(CHANGER_ELEMENT_STATUS);
  CHANGER_READ_ELEMENT_STATUS request{};
  request.ElementList = list;
  request.VolumeTagInfo = volumeTags;
  std::vector<std::uint8_t> answer(list.NumberOfElements * recordSize);
  const auto answered = askDevice(changer, IOCTL_CHANGER_GET_ELEMENT_STATUS, request, answer);
  if (!answered) return false;
  const std::size_t arrived = std::min<std::size_t>(*answered, answer.size());
  if (productData && arrived != answer.size()) {
    const bool plain = arrived % sizeof(CHANGER_ELEMENT_STATUS) == 0;
    const bool extended = arrived % sizeof(CHANGER_ELEMENT_STATUS_EX) == 0;
    // What may be either, or is neither, cannot be taken apart.
    if (arrived != 0 && plain == extended) return false;
    if (plain && arrived != 0) recordSize = sizeof(CHANGER_ELEMENT_STATUS);
  }
  const std::size_t count = arrived / recordSize;
  elements.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(&elements[i], answer.data() + i * recordSize, recordSize);
    // Plain records that are told to fill the buffer give themselves away when taken for extended ones.
    if (productData && elementType(elements[i].Element) != static_cast<DWORD>(list.Element.ElementType))
      return false;
  }
  return true;
}

/// Reads the pages that a command asks for. Nothing when a request fails.
std::optional<std::vector<Page>> readPages(void* changer, const Request& request,
                                           const GET_CHANGER_PARAMETERS& parameters) {
  std::vector<Page> pages;
  std::uint32_t wanted = request.count;
  for (const ElementKind& kind : ELEMENT_KINDS) {
    if (request.type != ELEMENT_ALL && request.type != kind.scsi) continue;
    // A starting address before the kind's first takes all of them, one behind its last takes none.
    const std::uint32_t first = parameters.*kind.first;
    const std::uint32_t skipped = request.start > first ? request.start - first : 0;
    const std::uint32_t available = parameters.*kind.count > skipped ? parameters.*kind.count - skipped : 0;
    const std::uint32_t count = std::min(available, wanted);
    if (count == 0) continue;
    logger->logDebug("SCSI", 0, "Issuing ReadElement - EA:%d, NbrE:%d Volume%d Type:%d",
                     static_cast<int>(skipped), static_cast<int>(count), request.volumeTags, kind.windows);
    Page page{&kind, {}};
    if (!readElements(changer, {{kind.windows, skipped}, count}, request.volumeTags, request.identifier,
                      page.elements)) {
      logger->logDebug("SCSI", 0, "ReadElementStatus failed");
      logger->logDebug("SCSI", 0, "ReadElement failed with %d %d %d %d", static_cast<int>(skipped),
                       static_cast<int>(count), request.volumeTags, kind.windows);
      return std::nullopt;
    }
    wanted -= static_cast<std::uint32_t>(std::min<std::size_t>(page.elements.size(), wanted));
    if (!page.elements.empty()) pages.push_back(std::move(page));
  }
  return pages;
}

}  // namespace

ReturnCode QORChangerCmdReadElementStatus::doOperation(void* deviceHandle) {
  return guarded(CMD_NO_MEMORY, [&] {
    GET_CHANGER_PARAMETERS parameters;
    if (!getChangerParameters(deviceHandle, parameters)) {
      logger->logDebug("SCSI", 0, "QORChangerCmdReadElementStatus::getElemInfo() failed");
      return CMD_ERROR;
    }
    const Request request(cdbSpan());
    if (!isPossible(request, parameters)) return CMD_ERROR;
    const auto pages = readPages(deviceHandle, request, parameters);
    if (!pages) return CMD_ERROR;

    std::ranges::fill(ioDataSpan(), std::uint8_t{0});
    ulong32 offset = REPORT_HEADER;
    std::size_t reported = 0;
    std::uint16_t lowest = 0xFFFF;
    for (const Page& page : *pages) {
      const auto descriptorLength =
          static_cast<std::uint16_t>(getDescriptorLength4Windows(page.kind->scsi, request.identifier) +
                                     (request.volumeTags ? VOLUME_TAG : 0));
      const auto byteCount = static_cast<ulong32>(page.elements.size() * descriptorLength);
      setSubHeader(offset, page.kind->scsi, request.volumeTags, descriptorLength, byteCount);
      offset += PAGE_HEADER;
      for (const CHANGER_ELEMENT_STATUS_EX& element : page.elements) {
        writeDescriptor(ioDataSpan(), offset, parameters, *page.kind, element, request.volumeTags,
                        request.identifier);
        lowest =
            std::min(lowest, QORChangerCmdElementInformation::absoluteAddress(parameters, element.Element));
        offset += descriptorLength;
      }
      reported += page.elements.size();
    }
    setHeader(reported == 0 ? std::uint16_t{0} : lowest, static_cast<std::uint16_t>(reported),
              offset - REPORT_HEADER);
    return CMD_OK;
  });
}
