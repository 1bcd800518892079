// The requests of the maker's changer driver beyond Windows' changer interface.
#pragma once

#include <cstdint>

#include "scsi/driver_requests.h"

namespace driver {

/// Storage elements with the place of each cartridge. In: CartridgeLocationRequest. Out: a
/// CartridgeLocationHeader, then one CartridgeLocation per element.
constexpr DWORD IOCTL_CHANGER_CARTRIDGE_LOCATIONS =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x81B, METHOD_BUFFERED, READ_WRITE);
static_assert(IOCTL_CHANGER_CARTRIDGE_LOCATIONS == 0x0030E06C);

struct CartridgeLocationRequest {
  std::uint16_t firstElementAddress;  ///< SCSI element address
  std::uint16_t numberOfElements;     ///< at most so many are returned
};
static_assert(sizeof(CartridgeLocationRequest) == 4);

struct CartridgeLocationHeader {
  std::uint32_t numberOfElements;  ///< records that follow
};
static_assert(sizeof(CartridgeLocationHeader) == 4);

struct CartridgeLocation {
  std::uint16_t elementAddress;        ///< SCSI element address
  std::uint16_t sourceElementAddress;  ///< SCSI element address
  std::uint8_t state;                  ///< byte 2 of an element descriptor: full, except, access
  std::uint8_t origin;                 ///< byte 9 of an element descriptor: source valid, invert
  std::uint8_t asc;
  std::uint8_t ascq;
  std::uint8_t volumeTag[36];
  std::uint8_t codeSet;  ///< as in a designation descriptor (SPC-4)
  std::uint8_t identifierType;
  std::uint8_t reserved;
  std::uint8_t identifierLength;
  std::uint8_t identifier[24];
};
static_assert(sizeof(CartridgeLocation) == 72);

}  // namespace driver
