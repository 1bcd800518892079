#include <algorithm>
#include <cstring>
#include <vector>

#include "changer/changer_driver_requests.h"
#include "changer/changer_interface.h"
#include "changer/element_status_image.h"
#include "changer/element_status_layout.h"
#include "frame/guarded.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/big_endian.h"
#include "platform/device_control.h"

namespace {

/// The descriptor of a storage element with volume tag and identification (SMC-3).
struct LocationDescriptor {
  Be16 elementAddress;
  std::uint8_t state;
  std::uint8_t reserved1;
  std::uint8_t asc;
  std::uint8_t ascq;
  std::uint8_t reserved2[3];
  std::uint8_t origin;
  Be16 sourceElementAddress;
  std::uint8_t volumeTag[VOLUME_TAG];
  std::uint8_t codeSet;
  std::uint8_t identifierType;
  std::uint8_t reserved3;
  std::uint8_t identifierLength;
  std::uint8_t identifier[sizeof driver::CartridgeLocation::identifier];
};
static_assert(offsetof(LocationDescriptor, volumeTag) == DESCRIPTOR_HEADER);
static_assert(offsetof(LocationDescriptor, identifier) == identificationOffset(true) + IDENTIFICATION_HEADER);
static_assert(alignof(LocationDescriptor) == 1);

LocationDescriptor describe(const driver::CartridgeLocation& location) {
  LocationDescriptor descriptor{};
  descriptor.elementAddress = location.elementAddress;
  descriptor.state = location.state;
  descriptor.asc = location.asc;
  descriptor.ascq = location.ascq;
  descriptor.origin = location.origin;
  descriptor.sourceElementAddress = location.sourceElementAddress;
  std::ranges::copy(location.volumeTag, descriptor.volumeTag);
  descriptor.codeSet = location.codeSet;
  descriptor.identifierType = location.identifierType;
  descriptor.identifierLength = std::min<std::uint8_t>(location.identifierLength, sizeof location.identifier);
  std::ranges::copy(location.identifier, descriptor.identifier);
  return descriptor;
}

}  // namespace

ReturnCode QORChangerCmdReadCartridgeLocation::doOperation(void* deviceHandle) {
  return guarded(CMD_NO_MEMORY, [&] {
    GET_CHANGER_PARAMETERS parameters;
    if (!getChangerParameters(deviceHandle, parameters)) return CMD_ERROR;
    logElementRanges("QORChangerCmdReadCartridgeLocation ", parameters);
    const driver::CartridgeLocationRequest request{readBe16(cdbSpan(), 2), readBe16(cdbSpan(), 4)};
    logger->logDebug("SCSI", 0, "QORChangerCmdReadCartridgeLocation, element Address %d, num elements %d",
                     request.firstElementAddress, request.numberOfElements);

    driver::CartridgeLocationHeader header;
    driver::CartridgeLocation location;
    std::vector<std::uint8_t> answer(sizeof header + request.numberOfElements * sizeof location);
    const auto answered = askDevice(deviceHandle, driver::IOCTL_CHANGER_CARTRIDGE_LOCATIONS, request, answer);
    if (!answered || *answered < sizeof header) return CMD_ERROR;
    const std::size_t arrived = std::min<std::size_t>(*answered, answer.size());
    std::memcpy(&header, answer.data(), sizeof header);
    const std::size_t count =
        std::min<std::size_t>(header.numberOfElements, (arrived - sizeof header) / sizeof location);
    logger->logDebug("SCSI", 0, "QORChangerCmdReadCartridgeLocation returned numberElem %d",
                     static_cast<int>(count));

    const auto byteCount = static_cast<ulong32>(count * sizeof(LocationDescriptor));
    std::ranges::fill(ioDataSpan(), std::uint8_t{0});
    if (count != 0) setSubHeader(REPORT_HEADER, ELEMENT_STORAGE, true, sizeof(LocationDescriptor), byteCount);
    std::uint16_t first = 0;
    for (std::size_t i = 0; i < count; ++i) {
      std::memcpy(&location, answer.data() + sizeof header + i * sizeof location, sizeof location);
      if (i == 0) first = location.elementAddress;
      const LocationDescriptor descriptor = describe(location);
      copyBytes(ioDataSpan(), REPORT_HEADER + PAGE_HEADER + i * sizeof descriptor,
                reinterpret_cast<const std::uint8_t*>(&descriptor), sizeof descriptor);
    }
    setHeader(first, static_cast<std::uint16_t>(count), count == 0 ? 0 : PAGE_HEADER + byteCount);
    return CMD_OK;
  });
}
