// The requests that the maker's tape and changer drivers both answer, or that the commands of all devices
// need.
//
// What is said here holds for the requests of the tape and changer rooms too. Blocks are in the machine's
// little-endian order. "In" and "out" are seen from the driver: a block that is "in and out" is handed over
// for both and answered in place. A request fails like any other I/O control; the device's sense data are
// then fetched with the driver's request for them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/win32.h"

namespace driver {

static_assert(std::endian::native == std::endian::little);

constexpr DWORD READ_ONLY = FILE_READ_ACCESS;
constexpr DWORD READ_WRITE = FILE_READ_ACCESS | FILE_WRITE_ACCESS;

/// Tape driver: its version, as text.
constexpr DWORD IOCTL_TAPE_DRIVER_VERSION = CTL_CODE(FILE_DEVICE_TAPE, 0x81A, METHOD_BUFFERED, READ_ONLY);
/// Changer driver: its version, as text.
constexpr DWORD IOCTL_CHANGER_DRIVER_VERSION =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x81A, METHOD_BUFFERED, READ_ONLY);
static_assert(IOCTL_TAPE_DRIVER_VERSION == 0x001F6068);
static_assert(IOCTL_CHANGER_DRIVER_VERSION == 0x00306068);

/// Answer to the version requests; not necessarily ended by a zero byte.
struct VersionBlock {
  char text[12];
};
static_assert(sizeof(VersionBlock) == 12);

/// Tape driver: the sense data of its last failed command.
constexpr DWORD IOCTL_TAPE_REQUEST_SENSE = CTL_CODE(FILE_DEVICE_TAPE, 0x819, METHOD_BUFFERED, READ_ONLY);
/// Changer driver: the same.
constexpr DWORD IOCTL_CHANGER_REQUEST_SENSE =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x819, METHOD_BUFFERED, READ_ONLY);
static_assert(IOCTL_TAPE_REQUEST_SENSE == 0x001F6064);
static_assert(IOCTL_CHANGER_REQUEST_SENSE == 0x00306064);

/// Answer to the sense requests.
struct SenseBlock {
  std::uint32_t length;
  std::uint8_t data[96];
};
static_assert(sizeof(SenseBlock) == 100);

/// Tape driver: one log page.
constexpr DWORD IOCTL_TAPE_LOG_SENSE = CTL_CODE(FILE_DEVICE_TAPE, 0x833, METHOD_BUFFERED, READ_ONLY);
static_assert(IOCTL_TAPE_LOG_SENSE == 0x001F60CC);

struct LogSenseBlock {
  std::uint8_t pageCode;
  std::uint8_t subpageCode;
  std::uint8_t pageControl;
  std::uint8_t reserved1[5];
  std::uint32_t dataLength;  ///< returned: bytes of the page
  std::uint32_t reserved2;
  std::uint8_t page[1024];  ///< returned
};
static_assert(sizeof(LogSenseBlock) == 1040);
static_assert(offsetof(LogSenseBlock, dataLength) == 8 && offsetof(LogSenseBlock, page) == 16);

/// Both drivers: mode pages.
constexpr DWORD IOCTL_DRIVER_MODE_SENSE = CTL_CODE(0x4D1B, 0x003, METHOD_BUFFERED, READ_WRITE);
static_assert(IOCTL_DRIVER_MODE_SENSE == 0x4D1BC00C);

/// The answer lies over the request.
struct ModeSenseBlock {
  std::uint8_t pageOrForm;          ///< page code; returned: the operation code whose form the data have
  std::uint8_t subpageOrData[263];  ///< first byte: subpage code; returned: mode data
};
static_assert(sizeof(ModeSenseBlock) == 264);

}  // namespace driver
