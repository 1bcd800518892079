// The requests of the maker's tape and changer driver: control codes with the blocks that go in and out.
// Numbers are little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/win32.h"

namespace simulator::protocol {

static_assert(std::endian::native == std::endian::little);

constexpr DWORD readAccess = FILE_READ_ACCESS;
constexpr DWORD readWriteAccess = FILE_READ_ACCESS | FILE_WRITE_ACCESS;
constexpr DWORD makerTape = 0x84CA;
constexpr DWORD makerChanger = 0x84C9;

constexpr DWORD tape(DWORD function, DWORD access) {
  return CTL_CODE(FILE_DEVICE_TAPE, function, METHOD_BUFFERED, access);
}
constexpr DWORD changer(DWORD function, DWORD access) {
  return CTL_CODE(FILE_DEVICE_CHANGER, function, METHOD_BUFFERED, access);
}

// Either driver.

constexpr DWORD tapeVersion = tape(0x81A, readAccess);
constexpr DWORD changerVersion = changer(0x81A, readAccess);
static_assert(tapeVersion == 0x001F6068 && changerVersion == 0x00306068);
constexpr std::size_t versionSize = 12;

constexpr DWORD tapeRequestSense = tape(0x819, readAccess);
constexpr DWORD changerRequestSense = changer(0x819, readAccess);
static_assert(tapeRequestSense == 0x001F6064 && changerRequestSense == 0x00306064);
/// Out.
struct SenseBlock {
  std::uint32_t length = 0;
  std::uint8_t sense[96]{};
};
static_assert(sizeof(SenseBlock) == 100);

constexpr DWORD modeSense = 0x4D1BC00C;
/// In: page and subpage. Out: the form (the operation code whose mode data follow), then mode data.
struct ModeSenseBlock {
  std::uint8_t page = 0;
  std::uint8_t subpage = 0;
  std::uint8_t rest[262]{};
};
static_assert(sizeof(ModeSenseBlock) == 264);

// Tape driver.

constexpr DWORD logSense = tape(0x833, readAccess);
static_assert(logSense == 0x001F60CC);
/// In and out.
struct LogSenseBlock {
  std::uint8_t page = 0;
  std::uint8_t subpage = 0;
  std::uint8_t pageControl = 0;
  std::uint8_t reserved1[5]{};
  std::uint32_t length = 0;  ///< out
  std::uint32_t reserved2 = 0;
  std::uint8_t data[1024]{};  ///< out
};
static_assert(sizeof(LogSenseBlock) == 1040 && offsetof(LogSenseBlock, data) == 16);

constexpr DWORD encryptionStatus = tape(0x820, readAccess);
/// Out.
struct EncryptionStatusBlock {
  std::uint32_t capable = 0;
  std::uint32_t method = 0;  ///< 0 none, 1 library, 2 system, 3 application, 4 custom
  std::uint32_t status = 0;  ///< 1: on
};
static_assert(encryptionStatus == 0x001F6080 && sizeof(EncryptionStatusBlock) == 12);

constexpr DWORD queryPartition = tape(0x825, readWriteAccess);
constexpr DWORD createPartition = tape(0x826, readWriteAccess);
/// Out of the query, in for the creation: by method 0 it keeps the method that the mode page has.
constexpr std::uint32_t formatOnly = 0xFFFFFFFF;  ///< as method: nothing but FORMAT MEDIUM
struct PartitionBlock {
  std::uint32_t method = 0;  ///< 1 initiator-defined, 2 select-data, 3 fixed-data
  std::uint32_t partitions = 0;
  std::uint32_t formatType = 0;
  std::uint8_t maxAdditional = 0;
  std::uint8_t active = 0;
  std::uint8_t units = 0;
  std::uint8_t type = 0;
  std::uint16_t sizes[64]{};
};
static_assert(queryPartition == 0x001FE094 && createPartition == 0x001FE098);
static_assert(sizeof(PartitionBlock) == 144 && offsetof(PartitionBlock, sizes) == 16);

constexpr DWORD setPartition = tape(0x827, readWriteAccess);
/// In.
struct SetPartitionBlock {
  std::uint32_t partition = 0;
  std::uint32_t reserved = 0;
  std::uint64_t block = 0;
};
static_assert(setPartition == 0x001FE09C && sizeof(SetPartitionBlock) == 16);

constexpr DWORD verify = tape(0x82A, readAccess);
/// In: the fields of VERIFY(6).
struct VerifyBlock {
  std::uint8_t fixed = 0;
  std::uint8_t byteCompare = 0;
  std::uint8_t immediate = 0;
  std::uint8_t byFilemarks = 0;
  std::uint8_t logicalBlockProtection = 0;
  std::uint8_t toEnd = 0;
  std::uint8_t reserved[2]{};
  std::uint32_t length = 0;
};
static_assert(verify == 0x001F60A8 && sizeof(VerifyBlock) == 12);

constexpr DWORD queryBlockProtection = tape(0x831, readWriteAccess);
constexpr DWORD setBlockProtection = tape(0x832, readWriteAccess);
/// Out of the query, in for the setting.
struct BlockProtectionBlock {
  std::uint8_t capable = 0;
  std::uint8_t method = 0;
  std::uint8_t length = 0;
  std::uint8_t write = 0;
  std::uint8_t read = 0;
  std::uint8_t recoverBuffered = 0;
  std::uint8_t reserved[2]{};
};
static_assert(queryBlockProtection == 0x001FE0C4 && setBlockProtection == 0x001FE0C8);
static_assert(sizeof(BlockProtectionBlock) == 8);

constexpr DWORD queryParameter = tape(0x834, readWriteAccess);
constexpr DWORD setParameter = tape(0x835, readWriteAccess);
/// In, and out of the query.
struct ParameterBlock {
  std::uint32_t
      type;  ///< 36 data safe mode, 37 skip sync, 38 sleep mode timer (seconds), 39 archive mode unthread
  std::uint32_t value = 0;
};
static_assert(queryParameter == 0x001FE0D0 && setParameter == 0x001FE0D4 && sizeof(ParameterBlock) == 8);

constexpr DWORD encryptionDiagnostic = CTL_CODE(makerTape, 0x00C, METHOD_BUFFERED, readWriteAccess);
/// In and out.
struct EncryptionDiagnosticBlock {
  std::uint32_t type = 0;  ///< 0 full, 1 path, 15 set-up
  std::uint32_t completionCode = 0;
  std::uint32_t errorNumber = 0;
};
static_assert(encryptionDiagnostic == 0x84CAC030 && sizeof(EncryptionDiagnosticBlock) == 12);

constexpr DWORD tapePaths = CTL_CODE(makerTape, 0x007, METHOD_BUFFERED, readWriteAccess);
constexpr DWORD changerPaths = CTL_CODE(makerChanger, 0x007, METHOD_BUFFERED, readWriteAccess);
struct PathBlock {
  std::uint8_t hostAdapter = 0;
  std::uint8_t bus = 0;
  std::uint8_t target = 0;
  std::uint8_t lun = 0;
  std::uint8_t primary = 0;
  std::uint8_t enabled = 0;
  std::uint8_t failed = 0;
  std::uint8_t reserved = 0;
};
/// Out.
struct PathsBlock {
  std::uint32_t count = 0;
  std::uint32_t reserved = 0;
  PathBlock paths[32]{};
};
static_assert(tapePaths == 0x84CAC01C && changerPaths == 0x84C9C01C && sizeof(PathsBlock) == 264);

// Changer driver.

constexpr DWORD cartridgeLocations = changer(0x81B, readWriteAccess);
static_assert(cartridgeLocations == 0x0030E06C);
/// In.
struct LocationsRequest {
  std::uint16_t first = 0;  ///< element address
  std::uint16_t count = 0;
};
/// Out: the number of records (32 bits), then the records.
struct LocationRecord {
  std::uint16_t address = 0;
  std::uint16_t source = 0;
  std::uint8_t state = 0;   ///< byte 2 of an element descriptor
  std::uint8_t origin = 0;  ///< byte 9 of an element descriptor
  std::uint8_t asc = 0;
  std::uint8_t ascq = 0;
  std::uint8_t volumeTag[36]{};
  std::uint8_t codeSet = 0;
  std::uint8_t identifierType = 0;
  std::uint8_t reserved = 0;
  std::uint8_t identifierLength = 0;
  std::uint8_t identifier[24]{};
};
static_assert(sizeof(LocationsRequest) == 4 && sizeof(LocationRecord) == 72);

}  // namespace simulator::protocol
