// The part of the Windows API that the library uses.
//
// On Windows these are Windows' own headers. Elsewhere the same names are declared in win32/, with the same
// sizes and layouts, and the simulator implements the calls: Windows itself is the seam at which the library
// is tested.
#pragma once

#ifdef _WIN32

#include <windows.h>
// windows.h comes first: the others do not include it.
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <ntddscsi.h>
#include <setupapi.h>
#include <time.h>
#include <winioctl.h>

#else

#include "platform/win32/changer.h"
#include "platform/win32/scsi_port.h"
#include "platform/win32/setup.h"
#include "platform/win32/system.h"
#include "platform/win32/tape.h"

#endif

static_assert(sizeof(SCSI_PASS_THROUGH_DIRECT) == 56);
static_assert(sizeof(SCSI_ADDRESS) == 8);
static_assert(sizeof(SCSI_BUS_DATA) == 8);
static_assert(offsetof(SCSI_ADAPTER_BUS_INFO, BusData) == 4);
static_assert(offsetof(SCSI_INQUIRY_DATA, InquiryData) == 12);
static_assert(sizeof(IO_SCSI_CAPABILITIES) == 24);
static_assert(sizeof(STORAGE_ADAPTER_DESCRIPTOR) == 32);
static_assert(sizeof(GET_CHANGER_PARAMETERS) == 60);
static_assert(sizeof(CHANGER_SET_POSITION) == 20);
static_assert(sizeof(CHANGER_INITIALIZE_ELEMENT_STATUS) == 16);
static_assert(sizeof(CHANGER_ELEMENT_STATUS) == 100);
static_assert(sizeof(CHANGER_ELEMENT_STATUS_EX) == 156);
static_assert(IOCTL_SCSI_GET_INQUIRY_DATA == 0x0004100C);
static_assert(IOCTL_SCSI_PASS_THROUGH_DIRECT == 0x0004D014);
static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x002D1400);
static_assert(IOCTL_CHANGER_GET_PARAMETERS == 0x00304000);
static_assert(IOCTL_CHANGER_GET_ELEMENT_STATUS == 0x0030C014);
