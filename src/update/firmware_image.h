#pragma once

#include <cstdlib>
#include <string>

#include "device/handle.h"
#include "kiv/types.h"

/// A firmware image in memory.
struct FirmwareImage {
  FirmwareImage() = default;
  ~FirmwareImage() { std::free(bytes); }
  FirmwareImage(const FirmwareImage&) = delete;
  FirmwareImage& operator=(const FirmwareImage&) = delete;

  unsigned char* bytes = nullptr;
  ulong32 length = 0;
};

/// Opens the image under its name, in the parent directory, or under the working directory's full name.
/// `name` becomes the name that was tried last. Empty when there is none; GetLastError tells why.
Handle findImage(std::string& name);
