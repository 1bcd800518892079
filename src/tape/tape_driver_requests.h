// The tape requests of the maker's driver.
#pragma once

#include <cstddef>
#include <cstdint>

#include "scsi/driver_requests.h"

namespace driver {

// The driver's own device types, beside the operating system's tape class.
constexpr DWORD DRIVER_TAPE = 0x84CA;
constexpr DWORD DRIVER_CHANGER = 0x84C9;

/// Out: whether the drive encrypts, and how.
constexpr DWORD IOCTL_TAPE_ENCRYPTION_STATUS = CTL_CODE(FILE_DEVICE_TAPE, 0x820, METHOD_BUFFERED, READ_ONLY);
struct EncryptionStatusBlock {
  std::uint32_t capable;  // 1: the drive can encrypt
  std::uint32_t method;   // 0 none, 1 library, 2 system, 3 application, 4 custom
  std::uint32_t status;   // 1: encryption is on
};
static_assert(IOCTL_TAPE_ENCRYPTION_STATUS == 0x001F6080);
static_assert(sizeof(EncryptionStatusBlock) == 12);

/// Out for the query, in for the creation, which writes the layout into the medium partition mode page (11h)
/// and then formats. As method, FORMAT_ONLY leaves the mode page as
/// it stands and only formats.
constexpr DWORD IOCTL_TAPE_QUERY_PARTITION = CTL_CODE(FILE_DEVICE_TAPE, 0x825, METHOD_BUFFERED, READ_WRITE);
constexpr DWORD IOCTL_TAPE_CREATE_PARTITION = CTL_CODE(FILE_DEVICE_TAPE, 0x826, METHOD_BUFFERED, READ_WRITE);
constexpr std::size_t PARTITION_SIZE_SLOTS = 64;
constexpr std::uint32_t FORMAT_ONLY = 0xFFFFFFFF;
struct PartitionBlock {
  std::uint32_t method;                       // 1 initiator-defined, 2 select-data, 3 fixed-data; 0 as it is
  std::uint32_t partitions;                   // in all; 1 when the medium is not divided
  std::uint32_t formatType;                   // creation: format type of FORMAT MEDIUM; query: 0
  std::uint8_t maxAdditional;                 // query: additional partitions that the drive can make
  std::uint8_t active;                        // query: the partition that the tape stands in
  std::uint8_t partitionUnits;                // mode page 11h byte 6, low four bits
  std::uint8_t partitionType;                 // mode page 11h byte 6, high four bits
  std::uint16_t sizes[PARTITION_SIZE_SLOTS];  // one per partition, in partition units
};
static_assert(IOCTL_TAPE_QUERY_PARTITION == 0x001FE094);
static_assert(IOCTL_TAPE_CREATE_PARTITION == 0x001FE098);
static_assert(sizeof(PartitionBlock) == 144 && offsetof(PartitionBlock, sizes) == 16);

/// In: changes to a partition and locates a block in it.
constexpr DWORD IOCTL_TAPE_SET_PARTITION = CTL_CODE(FILE_DEVICE_TAPE, 0x827, METHOD_BUFFERED, READ_WRITE);
struct SetPartitionBlock {
  std::uint32_t partition;
  std::uint32_t reserved;
  std::uint64_t blockAddress;
};
static_assert(IOCTL_TAPE_SET_PARTITION == 0x001FE09C);
static_assert(sizeof(SetPartitionBlock) == 16);

/// In: verifies from the present position. The flags (0 or 1) are those of VERIFY(6).
constexpr DWORD IOCTL_TAPE_VERIFY = CTL_CODE(FILE_DEVICE_TAPE, 0x82A, METHOD_BUFFERED, READ_ONLY);
struct VerifyBlock {
  std::uint8_t fixed;
  std::uint8_t byteCompare;
  std::uint8_t immediate;
  std::uint8_t byFilemarks;
  std::uint8_t logicalBlockProtection;
  std::uint8_t toEnd;
  std::uint8_t reserved[2];
  std::uint32_t length;  // blocks when fixed, filemarks when by filemarks, else bytes
};
static_assert(IOCTL_TAPE_VERIFY == 0x001F60A8);
static_assert(sizeof(VerifyBlock) == 12);

/// Out for the query, in for the setting. The flags are 0 or 1.
constexpr DWORD IOCTL_TAPE_QUERY_LBP = CTL_CODE(FILE_DEVICE_TAPE, 0x831, METHOD_BUFFERED, READ_WRITE);
constexpr DWORD IOCTL_TAPE_SET_LBP = CTL_CODE(FILE_DEVICE_TAPE, 0x832, METHOD_BUFFERED, READ_WRITE);
struct LogicalBlockProtectionBlock {
  std::uint8_t capable;     // query only
  std::uint8_t method;      // 0 none, 1 Reed-Solomon CRC, 2 CRC32C
  std::uint8_t infoLength;  // bytes of protection information per block
  std::uint8_t write;       // blocks are written with protection information
  std::uint8_t read;        // blocks are read with protection information
  std::uint8_t rbdp;        // RECOVER BUFFERED DATA carries protection information
  std::uint8_t reserved[2];
};
static_assert(IOCTL_TAPE_QUERY_LBP == 0x001FE0C4);
static_assert(IOCTL_TAPE_SET_LBP == 0x001FE0C8);
static_assert(sizeof(LogicalBlockProtectionBlock) == 8);

/// In and out for the query, in for the setting: one of the drive parameters 36 data safe mode, 37 skip sync,
/// 38 sleep mode timer (seconds), 39 archive mode unthread.
constexpr DWORD IOCTL_TAPE_QUERY_PARAMETER = CTL_CODE(FILE_DEVICE_TAPE, 0x834, METHOD_BUFFERED, READ_WRITE);
constexpr DWORD IOCTL_TAPE_SET_PARAMETER = CTL_CODE(FILE_DEVICE_TAPE, 0x835, METHOD_BUFFERED, READ_WRITE);
struct ParameterBlock {
  std::uint32_t type;
  std::uint32_t value;
};
static_assert(IOCTL_TAPE_QUERY_PARAMETER == 0x001FE0D0);
static_assert(IOCTL_TAPE_SET_PARAMETER == 0x001FE0D4);
static_assert(sizeof(ParameterBlock) == 8);

/// In and out: runs a diagnostic of the encryption path.
constexpr DWORD IOCTL_DRIVER_ENCRYPTION_DIAG = CTL_CODE(DRIVER_TAPE, 0x00C, METHOD_BUFFERED, READ_WRITE);
struct EncryptionDiagBlock {
  std::uint32_t type;            // in; 0 full diagnostic, 1 path, 15 set-up
  std::uint32_t completionCode;  // out; 0 when it passed
  std::uint32_t errorNumber;     // out; the operating system's error number, 0 when it passed
};
static_assert(IOCTL_DRIVER_ENCRYPTION_DIAG == 0x84CAC030);
static_assert(sizeof(EncryptionDiagBlock) == 12);

/// Out: the paths that lead to the device. A device answers one of the two: a tape drive the first, a changer
/// the second.
constexpr DWORD IOCTL_DRIVER_TAPE_PATHS = CTL_CODE(DRIVER_TAPE, 0x007, METHOD_BUFFERED, READ_WRITE);
constexpr DWORD IOCTL_DRIVER_CHANGER_PATHS = CTL_CODE(DRIVER_CHANGER, 0x007, METHOD_BUFFERED, READ_WRITE);
constexpr std::size_t MAX_DEVICE_PATHS = 32;
struct DevicePathBlock {
  std::uint8_t hostAdapter;
  std::uint8_t bus;
  std::uint8_t target;
  std::uint8_t lun;
  std::uint8_t primary;  // 1: the path that the device was found by
  std::uint8_t enabled;  // 1: in use or ready for a failover
  std::uint8_t failed;   // 1: taken out of use after an error
  std::uint8_t reserved;
};
struct DevicePathsBlock {
  std::uint32_t count;
  std::uint32_t reserved;
  DevicePathBlock paths[MAX_DEVICE_PATHS];
};
static_assert(IOCTL_DRIVER_TAPE_PATHS == 0x84CAC01C);
static_assert(IOCTL_DRIVER_CHANGER_PATHS == 0x84C9C01C);
static_assert(sizeof(DevicePathBlock) == 8);
static_assert(sizeof(DevicePathsBlock) == 264 && offsetof(DevicePathsBlock, paths) == 8);

}  // namespace driver
