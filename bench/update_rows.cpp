#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/hollow_windows.h"
#include "bench/measure.h"
#include "bench/rows.h"
#include "bench/scratch_directory.h"
#include "kiv/kiv.h"
#include "kiv/update/update_firmware.h"
#include "platform/win32.h"

namespace {

constexpr std::size_t IMAGE_LENGTH = 16'777'216;
constexpr std::size_t CHUNK = 32768;
constexpr int UPDATES = 100;

void copyInChunks(const unsigned char* image) {
  // Taken anew, as the library takes its own: both get the same place in memory, which matters to a copy.
  std::vector<unsigned char> chunk(CHUNK);
  for (std::size_t offset = 0; offset < IMAGE_LENGTH; offset += CHUNK) {
    std::memcpy(chunk.data(), image + offset, CHUNK);
    keep(*chunk.data());
  }
}

/// The least that an update can do: read the image and copy it once.
void readAndCopy() {
  const HANDLE file = CreateFileA("image.bin", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD read = 0;
  auto* image = static_cast<unsigned char*>(std::malloc(IMAGE_LENGTH));
  ReadFile(file, image, IMAGE_LENGTH, &read, nullptr);
  CloseHandle(file);
  copyInChunks(image);
  std::free(image);
}

void require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

}  // namespace

void updateRows() {
  const ScratchDirectory directory;
  directory.write("image.bin", std::string(IMAGE_LENGTH, 'Z'));
  directory.write("Config.txt", "QOR-ULTRIUM-PX7:Fibre image.bin N9B0\r\n");
  hollow::become({.hostAdapters = 1, .devicesPerAdapter = 1});
  require(scanScsiBus(KIV_OUTPUT_NONE) == FW_NO_ERROR, "scan");

  const auto update = [] { require(updateFirmware(0, 0, true) == FW_NO_ERROR, "update"); };
  print({"updates of 16 MiB one after the other", "read the file and copy it once", "<= 1.05",
         ratioOf(update, readAndCopy, UPDATES)});

  ScsiTarget& drive = *listOfSupportedDevices[0];
  drive.openDevice();
  std::vector<unsigned char> image(IMAGE_LENGTH, 'Z');
  const auto download = [&] {
    require(UpdateFirmware().performFirmwareUpdate(&drive, image.data(), IMAGE_LENGTH) == FW_NO_ERROR,
            "download");
  };
  print({"download loop alone", "the copy", "<= 1.05",
         ratioOf(
             download, [&] { copyInChunks(image.data()); }, UPDATES)});
  drive.closeDevice();
}
