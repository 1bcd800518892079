// The tape interface (winnt.h).
#pragma once

#include "platform/win32/types.h"

constexpr DWORD TAPE_LOAD = 0;
constexpr DWORD TAPE_UNLOAD = 1;
constexpr DWORD TAPE_TENSION = 2;
constexpr DWORD TAPE_LOCK = 3;
constexpr DWORD TAPE_UNLOCK = 4;
constexpr DWORD TAPE_FORMAT = 5;
constexpr DWORD TAPE_REWIND = 0;
constexpr DWORD TAPE_ABSOLUTE_BLOCK = 1;
constexpr DWORD TAPE_LOGICAL_BLOCK = 2;
constexpr DWORD TAPE_SPACE_END_OF_DATA = 4;
constexpr DWORD TAPE_SPACE_RELATIVE_BLOCKS = 5;
constexpr DWORD TAPE_SPACE_FILEMARKS = 6;
constexpr DWORD TAPE_SPACE_SEQUENTIAL_FMKS = 7;
constexpr DWORD TAPE_FILEMARKS = 1;
constexpr DWORD TAPE_ERASE_SHORT = 0;
constexpr DWORD TAPE_ERASE_LONG = 1;
constexpr DWORD GET_TAPE_MEDIA_INFORMATION = 0;
constexpr DWORD GET_TAPE_DRIVE_INFORMATION = 1;
constexpr DWORD SET_TAPE_MEDIA_INFORMATION = 0;
constexpr DWORD SET_TAPE_DRIVE_INFORMATION = 1;

struct TAPE_GET_DRIVE_PARAMETERS {
  BOOLEAN ECC;
  BOOLEAN Compression;
  BOOLEAN DataPadding;
  BOOLEAN ReportSetmarks;
  DWORD DefaultBlockSize;
  DWORD MaximumBlockSize;
  DWORD MinimumBlockSize;
  DWORD MaximumPartitionCount;
  DWORD FeaturesLow;
  DWORD FeaturesHigh;
  DWORD EOTWarningZoneSize;
};

struct TAPE_SET_DRIVE_PARAMETERS {
  BOOLEAN ECC;
  BOOLEAN Compression;
  BOOLEAN DataPadding;
  BOOLEAN ReportSetmarks;
  DWORD EOTWarningZoneSize;
};

struct TAPE_GET_MEDIA_PARAMETERS {
  LARGE_INTEGER Capacity;
  LARGE_INTEGER Remaining;
  DWORD BlockSize;
  DWORD PartitionCount;
  BOOLEAN WriteProtected;
};

struct TAPE_SET_MEDIA_PARAMETERS {
  DWORD BlockSize;
};

extern "C" {
DWORD EraseTape(HANDLE device, DWORD type, BOOL immediate);
DWORD PrepareTape(HANDLE device, DWORD operation, BOOL immediate);
DWORD SetTapePosition(HANDLE device, DWORD method, DWORD partition, DWORD offsetLow, DWORD offsetHigh,
                      BOOL immediate);
DWORD WriteTapemark(HANDLE device, DWORD type, DWORD count, BOOL immediate);
DWORD GetTapeParameters(HANDLE device, DWORD operation, LPDWORD size, LPVOID information);
DWORD SetTapeParameters(HANDLE device, DWORD operation, LPVOID information);
}
