// Hosts are compiled against the sizes, the places of fields and the order of virtual operations; both
// targets agree.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "kiv/sdk.h"

// Defined for these classes by the compilers that hosts may use.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace {

template <std::size_t Size, typename Class>
struct HasSize {
  static_assert(sizeof(Class) == Size);
};
template <std::size_t Size, typename... Classes>
struct HaveSize : HasSize<Size, Classes>... {};

template struct HaveSize<88, ScsiCommand, GenericScsiCommand, ScsiCmdInquiry, ScsiCmdLogSense, TapeCmdLocate,
                         TapeCmdFormat, ChangerMoveMedium, ChangerCmdReadElementStatus>;
template struct HaveSize<96, QORScsiCommand, QORScsiCmdInquiry, QORTapeCmdLocate16, QORChangerMoveMedium,
                         QORChangerCmdReadElementStatus, QORScsiCmdRequestSense,
                         QORScsiCmdChangerRequestSense>;
template struct HaveSize<104, QORScsiCmdLogSense, QORTapeCmdReadPosition, QORTapeCmdQueryPartition,
                         QORTapeCmdSetLogicalBlockProtection, TapeCmdLocate16, QORChangerCmdMount,
                         TapeMetaCommands>;
template struct HaveSize<112, QORTapeCmdChangePartition, QORTapeCmdGetEncryptionStatus,
                         QORTapeCmdDataEncryptionDiag, QORTapeMetaCmdQueryParam, TapeCmdDisplayMessage>;
template struct HaveSize<128, ChangerLibraryBaseCommands, ChangerDriveMapping,
                         ChangerCmdReadCartridgeLocation, QORTapeCmdGetDeviceInformation>;
template struct HaveSize<144, TapeMetaCmdSetParam, QORTapeMetaCmdSetParam>;
template struct HaveSize<168, TapeMetaCmdQueryParam, DeviceController>;
template struct HaveSize<624, CmdQueryTapePartition, TapeCmdCreatePartition>;
static_assert(sizeof(ScsiTarget) == 376 && sizeof(QORScsiTarget) == 384);
static_assert(sizeof(QORTapeCmdQueryDevicePaths) == 328 && sizeof(DevicePathData) == 7);
static_assert(sizeof(Logger) == 40 && sizeof(ComponentId) == 56 && sizeof(ConfigFilename) == 56);
template struct HaveSize<1, ScanBus, UpdateFirmware>;
template struct HaveSize<80, StorageElemStatusDescriptor, IOElemStatusDescriptor,
                         MediumTransportElemStatusDescriptor, DataTransferElemStatusDescriptor>;
template struct HaveSize<112, StorageWithDVCIDElemStatusDescriptor, DataTransferwDVCIDElemStatusDescriptor>;
static_assert(sizeof(ElemStatusDescriptor) == 72 && sizeof(IOElemwDVCIDStatusDescriptor) == 280);
static_assert(sizeof(ChangerElementStatusPage) == 48 && sizeof(ChangerElementStatusData) == 32);
static_assert(sizeof(ParameterValue) == 56 && sizeof(ParameterVector) == 24);
static_assert(sizeof(DriveMapping) == 208 && offsetof(DriveMapping, driveSerialNumber) == 88 &&
              offsetof(DriveMapping, driveDriverName) == 176);
static_assert(sizeof(PartitionRecord) == 522 && offsetof(PartitionRecord, numberPartitions) == 8 &&
              offsetof(PartitionRecord, sizes) == 10);

// Fields that derived classes of a host reach: only a derived class may name them.
struct CommandFields : ScsiCommand {
  static void check() {
    using Self = CommandFields;
    static_assert(offsetof(Self, ioData) == 8 && offsetof(Self, ioDataLength) == 16);
    static_assert(offsetof(Self, senseData) == 24 && offsetof(Self, senseDataLength) == 32);
    static_assert(offsetof(Self, cdb) == 40 && offsetof(Self, cdbLength) == 48);
    static_assert(offsetof(Self, timeOut) == 52 && offsetof(Self, dataDirection) == 56);
    static_assert(offsetof(Self, callback) == 64 && offsetof(Self, executionStatus) == 72);
    static_assert(offsetof(Self, targetStatus) == 76 && offsetof(Self, hostStatus) == 77);
    static_assert(offsetof(Self, timeoutOccurred) == 78 && offsetof(Self, additionalFailureCode) == 80);
  }
};

struct TargetFields : ScsiTarget {
  static void check() {
    using Self = TargetFields;
    static_assert(offsetof(Self, deviceHandle) == 8 && offsetof(Self, modelName) == 16);
    static_assert(offsetof(Self, vendorName) == 48 && offsetof(Self, firmwareVersion) == 80);
    static_assert(offsetof(Self, serialNumber) == 112 && offsetof(Self, deviceSpecialFile) == 144);
    static_assert(offsetof(Self, driverName) == 176 && offsetof(Self, tapeDrvVersion) == 208);
    static_assert(offsetof(Self, interfaceType) == 240 && offsetof(Self, deviceTyp) == 272);
    static_assert(offsetof(Self, hostAdapterId) == 273 && offsetof(Self, targetId) == 280);
    static_assert(offsetof(Self, lun) == 288 && offsetof(Self, busNumber) == 296);
    static_assert(offsetof(Self, busyBit) == 297 && offsetof(Self, lengthTargetId) == 298);
    static_assert(offsetof(Self, lengthLun) == 299 && offsetof(Self, inquiryByte6) == 300);
    static_assert(offsetof(Self, inquiryByte7) == 301 && offsetof(Self, secondHandle) == 304);
    static_assert(offsetof(Self, inquiryDataValid) == 312 && offsetof(Self, deviceOpenMode) == 316);
    static_assert(offsetof(Self, properties) == 320 && offsetof(Self, maximumTransferLength) == 368);
    static_assert(offsetof(Self, transferredDataLength) == 372);
  }
};

struct MetaFields : TapeMetaCommands {
  static void check() {
    static_assert(offsetof(MetaFields, target) == 88 && offsetof(MetaFields, senseLength) == 96);
  }
};

/// The place of a virtual operation in the virtual table: the Itanium C++ ABI keeps it in the pointer,
/// plus 1.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::size_t word = 0;
  std::memcpy(&word, &operation, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST(Layout, VirtualOperationsKeepTheirOrder) {
  // Two destructors come first: one destroys, the other deletes too.
  EXPECT_EQ(slotOf(&ScsiCommand::setSenseDataLength), 2u);
  EXPECT_EQ(slotOf(&ScsiCommand::setIoDataLength), 3u);
  EXPECT_EQ(slotOf(&ScsiCommand::setCdbLength), 4u);
  EXPECT_EQ(slotOf(&GenericScsiCommand::createQORCommand), 5u);
  EXPECT_EQ(slotOf(&QORScsiCommand::doOperation), 5u);

  using Host = std::uint8_t;
  using Address = std::uint64_t;
  EXPECT_EQ(slotOf(&ScsiTarget::scsiExecCDB), 2u);
  using Open = ReturnCode (ScsiTarget::*)(Host, Address, Host, Address, const char*, std::uint32_t);
  EXPECT_EQ(slotOf<Open>(&ScsiTarget::openDevice), 3u);
  EXPECT_EQ(slotOf<Open>(&ScsiTarget::openDeviceNoInq), 4u);
  EXPECT_EQ(slotOf<ReturnCode (ScsiTarget::*)()>(&ScsiTarget::openDevice), 5u);
  EXPECT_EQ(slotOf(&ScsiTarget::closeDevice), 6u);
  EXPECT_EQ(slotOf(&ScsiTarget::retrieveInitialInquiryData), 7u);
  EXPECT_EQ(slotOf(&ScsiTarget::GetTransferredDataLength), 8u);
  EXPECT_EQ(slotOf(&ScsiTarget::GetMaximumTransferLength), 9u);

  EXPECT_EQ(slotOf(&QORScsiTarget::scsiExecCmd), 10u);
  using OpenByName = ReturnCode (QORScsiTarget::*)(const char*, std::uint32_t);
  EXPECT_EQ(slotOf<OpenByName>(&QORScsiTarget::openDevice), 11u);
  EXPECT_EQ(slotOf<OpenByName>(&QORScsiTarget::openDeviceNoInq), 12u);
  using OpenBoth = ReturnCode (QORScsiTarget::*)(Host, Address, Host, Address, char*, std::uint32_t);
  EXPECT_EQ(slotOf<OpenBoth>(&QORScsiTarget::openDeviceNoInq), 13u);
}

}  // namespace
