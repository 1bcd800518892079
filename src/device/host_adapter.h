#pragma once

#include "kiv/api.h"

/// What is known about a target's host adapter stands in the target's properties under these names. The
/// system does not tell the firmware: a host that knows it may set it.
inline constexpr const char* HOST_ADAPTER_PROPERTIES[] = {
    "HBA Vendor",
    "HBA Description",
    "HBA Information",
    "HBA Driver",
    "HBA Driver Version",
    "HBA Driver Provider",
    "HBA Driver Information",
    "HBA Driver Date",
    "HBA Driver Description",
    "HBA Firmware",
};

struct _GUID;
/// The device interface class by which host adapters are looked up; the host may change it.
extern KIV_API _GUID testHost;
