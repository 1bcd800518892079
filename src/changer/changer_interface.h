#pragma once

#include <cstring>

#include "platform/device_control.h"

// How the driver twins call Windows' changer interface.

/// The changer's element ranges and features. False when the request fails.
inline bool getChangerParameters(HANDLE changer, GET_CHANGER_PARAMETERS& parameters) {
  parameters = {};
  return askDevice(changer, IOCTL_CHANGER_GET_PARAMETERS, parameters).has_value();
}

/// The type of an element that a driver names. It may be none that Windows knows, so it is not read as one.
inline DWORD elementType(const CHANGER_ELEMENT& element) {
  static_assert(sizeof(DWORD) == sizeof element.ElementType);
  DWORD type;
  std::memcpy(&type, &element.ElementType, sizeof type);
  return type;
}
