#pragma once

#include <cstring>

#include "platform/win32.h"

// How the driver twins call Windows' changer interface.

/// The changer's element ranges and features. False when the request fails.
inline bool getChangerParameters(HANDLE changer, GET_CHANGER_PARAMETERS& parameters) {
  parameters = {};
  DWORD returned = 0;
  return DeviceIoControl(changer, IOCTL_CHANGER_GET_PARAMETERS, nullptr, 0, &parameters, sizeof parameters,
                         &returned, nullptr) != FALSE;
}

/// The type of an element that a driver names. It may be none that Windows knows, so it is not read as one.
inline DWORD elementType(const CHANGER_ELEMENT& element) {
  static_assert(sizeof(DWORD) == sizeof element.ElementType);
  DWORD type;
  std::memcpy(&type, &element.ElementType, sizeof type);
  return type;
}

/// Sends a request that has no answer.
template <typename Block>
bool tellChanger(HANDLE changer, DWORD code, Block& block) {
  DWORD returned = 0;
  return DeviceIoControl(changer, code, &block, sizeof block, nullptr, 0, &returned, nullptr) != FALSE;
}
