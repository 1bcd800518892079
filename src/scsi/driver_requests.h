#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/win32.h"

// The requests that the maker's tape and changer drivers answer on a device handle: control codes with the
// blocks that go in and out. Numbers are in the machine's order, which is little-endian.
static_assert(std::endian::native == std::endian::little);

/// Tape driver: its version, as text.
constexpr DWORD IOCTL_TAPE_DRIVER_VERSION =
    CTL_CODE(FILE_DEVICE_TAPE, 0x81A, METHOD_BUFFERED, FILE_READ_ACCESS);
/// Changer driver: its version, as text.
constexpr DWORD IOCTL_CHANGER_DRIVER_VERSION =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x81A, METHOD_BUFFERED, FILE_READ_ACCESS);
static_assert(IOCTL_TAPE_DRIVER_VERSION == 0x001F6068);
static_assert(IOCTL_CHANGER_DRIVER_VERSION == 0x00306068);

/// Answer to the version requests; not necessarily ended by a zero byte.
struct DriverVersion {
  char text[12];
};
static_assert(sizeof(DriverVersion) == 12);

/// Tape driver: the sense data of its last failed command.
constexpr DWORD IOCTL_TAPE_REQUEST_SENSE =
    CTL_CODE(FILE_DEVICE_TAPE, 0x819, METHOD_BUFFERED, FILE_READ_ACCESS);
/// Changer driver: the same.
constexpr DWORD IOCTL_CHANGER_REQUEST_SENSE =
    CTL_CODE(FILE_DEVICE_CHANGER, 0x819, METHOD_BUFFERED, FILE_READ_ACCESS);
static_assert(IOCTL_TAPE_REQUEST_SENSE == 0x001F6064);
static_assert(IOCTL_CHANGER_REQUEST_SENSE == 0x00306064);

/// Answer to the sense requests.
struct DriverSense {
  std::uint32_t length;
  std::uint8_t data[96];
};
static_assert(sizeof(DriverSense) == 100);

/// Tape driver: one log page.
constexpr DWORD IOCTL_TAPE_LOG_SENSE = CTL_CODE(FILE_DEVICE_TAPE, 0x833, METHOD_BUFFERED, FILE_READ_ACCESS);
static_assert(IOCTL_TAPE_LOG_SENSE == 0x001F60CC);

struct DriverLogSense {
  std::uint8_t pageCode;
  std::uint8_t subpageCode;
  std::uint8_t pageControl;
  std::uint8_t reserved1[5];
  std::uint32_t dataLength;  ///< returned: bytes of the page
  std::uint32_t reserved2;
  std::uint8_t page[1024];  ///< returned
};
static_assert(sizeof(DriverLogSense) == 1040);
static_assert(offsetof(DriverLogSense, dataLength) == 8 && offsetof(DriverLogSense, page) == 16);

/// Both drivers: mode pages.
constexpr DWORD IOCTL_DRIVER_MODE_SENSE =
    CTL_CODE(0x4D1B, 0x003, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
static_assert(IOCTL_DRIVER_MODE_SENSE == 0x4D1BC00C);

/// The answer lies over the request.
struct DriverModeSense {
  std::uint8_t pageOrForm;          ///< page code; returned: the operation code whose form the data have
  std::uint8_t subpageOrData[263];  ///< first byte: subpage code; returned: mode data
};
static_assert(sizeof(DriverModeSense) == 264);

/// Sends a request whose answer comes back in the same block.
template <typename Block>
bool exchangeWithDriver(HANDLE device, DWORD code, Block& block) {
  DWORD returned = 0;
  return DeviceIoControl(device, code, &block, sizeof block, &block, sizeof block, &returned, nullptr) !=
         FALSE;
}

/// Sends a request that consists of its code alone. `returned` receives the bytes of the answer.
template <typename Answer>
bool askDriver(HANDLE device, DWORD code, Answer& answer, DWORD& returned) {
  return DeviceIoControl(device, code, nullptr, 0, &answer, sizeof answer, &returned, nullptr) != FALSE;
}
