// The SCSI port driver (ntddscsi.h, ntddstor.h).
#pragma once

#include "platform/win32/system.h"

constexpr DWORD IOCTL_SCSI_GET_INQUIRY_DATA =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0403, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_GET_CAPABILITIES =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0404, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_PASS_THROUGH_DIRECT =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0405, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
constexpr DWORD IOCTL_SCSI_GET_ADDRESS =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0406, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_SCSI_RESCAN_BUS =
    CTL_CODE(FILE_DEVICE_CONTROLLER, 0x0407, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD IOCTL_STORAGE_QUERY_PROPERTY =
    CTL_CODE(FILE_DEVICE_MASS_STORAGE, 0x0500, METHOD_BUFFERED, FILE_ANY_ACCESS);

constexpr UCHAR SCSI_IOCTL_DATA_OUT = 0;
constexpr UCHAR SCSI_IOCTL_DATA_IN = 1;
constexpr UCHAR SCSI_IOCTL_DATA_UNSPECIFIED = 2;

struct SCSI_PASS_THROUGH_DIRECT {
  USHORT Length;
  UCHAR ScsiStatus;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  UCHAR CdbLength;
  UCHAR SenseInfoLength;
  UCHAR DataIn;
  ULONG DataTransferLength;
  ULONG TimeOutValue;
  PVOID DataBuffer;
  ULONG SenseInfoOffset;
  UCHAR Cdb[16];
};

struct SCSI_BUS_DATA {
  UCHAR NumberOfLogicalUnits;
  UCHAR InitiatorBusId;
  ULONG InquiryDataOffset;
};

struct SCSI_ADAPTER_BUS_INFO {
  UCHAR NumberOfBuses;
  SCSI_BUS_DATA BusData[1];
};

struct SCSI_INQUIRY_DATA {
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
  BOOLEAN DeviceClaimed;
  ULONG InquiryDataLength;
  ULONG NextInquiryDataOffset;
  UCHAR InquiryData[1];
};

struct SCSI_ADDRESS {
  ULONG Length;
  UCHAR PortNumber;
  UCHAR PathId;
  UCHAR TargetId;
  UCHAR Lun;
};

struct IO_SCSI_CAPABILITIES {
  ULONG Length;
  ULONG MaximumTransferLength;
  ULONG MaximumPhysicalPages;
  ULONG SupportedAsynchronousEvents;
  ULONG AlignmentMask;
  BOOLEAN TaggedQueuing;
  BOOLEAN AdapterScansDown;
  BOOLEAN AdapterUsesPio;
};

enum STORAGE_PROPERTY_ID : int { StorageDeviceProperty = 0, StorageAdapterProperty = 1 };
enum STORAGE_QUERY_TYPE : int { PropertyStandardQuery = 0, PropertyExistsQuery = 1 };

struct STORAGE_PROPERTY_QUERY {
  STORAGE_PROPERTY_ID PropertyId;
  STORAGE_QUERY_TYPE QueryType;
  BYTE AdditionalParameters[1];
};

struct STORAGE_ADAPTER_DESCRIPTOR {
  DWORD Version;
  DWORD Size;
  DWORD MaximumTransferLength;
  DWORD MaximumPhysicalPages;
  DWORD AlignmentMask;
  BOOLEAN AdapterUsesPio;
  BOOLEAN AdapterScansDown;
  BOOLEAN CommandQueueing;
  BOOLEAN AcceleratedTransfer;
  BYTE BusType;
  WORD BusMajorVersion;
  WORD BusMinorVersion;
};
