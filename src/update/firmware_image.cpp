#include "update/firmware_image.h"

#include <cstdlib>
#include <cstring>

#include "frame/directory.h"
#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/update/update_firmware.h"
#include "update/working_directory.h"

namespace {

/// What the 24-bit offset of WRITE BUFFER can address, in bytes.
constexpr DWORD MAXIMUM_IMAGE_LENGTH = 16'777'216;

Handle openImage(const std::string& name) {
  return Handle(CreateFileA(inDirectory(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// The text is that of the C runtime's error with the number of the Windows error.
const char* errorText(DWORD error) { return std::strerror(static_cast<int>(error)); }

void logInvalidName(const std::string& name, DWORD error) {
  logger->logDebug("DLFW", 0, "Invalid Firmware filename provided <%s>", name.c_str());
  logger->logDebug("SCSI", 0, "Open File fails errno: %d ==>%s<==", static_cast<int>(error),
                   errorText(error));
}

}  // namespace

Handle findImage(std::string& name) {
  const std::string given = name;
  Handle file = openImage(name);
  if (file) return file;
  const DWORD firstError = GetLastError();
  const std::string directory = workingDirectory();
  logInvalidName(name, firstError);
  logger->logDebug("DLFW", 0, "Current Working Directory is <%s>", directory.c_str());

  name = "..\\" + given;
  file = openImage(name);
  if (file) return file;
  logInvalidName(name, GetLastError());
  // A directory that is not known would make it the root of the drive.
  if (directory.empty()) return Handle();

  name = directory + "\\" + given;
  file = openImage(name);
  if (file) return file;
  const DWORD lastError = GetLastError();
  logger->logDebug("DLFW", 0, "Retry with fullname also fails <%s>", name.c_str());
  logger->logDebug("SCSI", 0, "Retry fails errno: %d ==>%s<==", static_cast<int>(lastError),
                   errorText(lastError));
  return Handle();
}

int UpdateFirmware::loadBinaryMicrocodeFile(const char* filename, unsigned char** image, ulong32* length) {
  *image = nullptr;
  *length = 0;
  return guarded<int>(FW_NO_MEMORY, [&]() -> int {
    std::string name = filename;
    const Handle file = findImage(name);
    if (!file) return FW_INVALID_FILE_NAME;

    DWORD sizeHigh = 0;
    const DWORD size = GetFileSize(file.get(), &sizeHigh);
    if (size == 0 || size > MAXIMUM_IMAGE_LENGTH || sizeHigh != 0) {
      logger->logDebug("DLFW", 0, "Corrupted Firmware file provided <%s>", name.c_str());
      return FW_FILE_CORRUPTED;
    }
    logger->logDebug("DLFW", 0, "Firmware Filesize <%s> is %d", name.c_str(), static_cast<int>(size));
    *image = static_cast<unsigned char*>(std::malloc(size));
    if (!*image) {
      logger->logDebug("DLFW", 0, "Internal Failure: Memory allocation failed");
      return FW_NO_MEMORY;
    }
    *length = size;
    DWORD bytesRead = 0;
    if (!ReadFile(file.get(), *image, size, &bytesRead, nullptr) || bytesRead < size) {
      logger->logDebug("DLFW", 0, "Firmware file corrupted, read failure");
      return FW_FILE_CORRUPTED;
    }
    return FW_NO_ERROR;
  });
}
