#include "tests/package/room/kivroom.h"

#include <fstream>
#include <memory>

#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

#ifdef _WIN32
#define KIVROOM_API __declspec(dllexport)
#else
#define KIVROOM_API __attribute__((visibility("default")))
#endif

namespace {
std::unique_ptr<simulator::Room> room;
}

KIVROOM_API std::int32_t kivroom_open() try {
  room = simulator::Room::byDefault();
  return 0;
} catch (const std::exception&) {
  return 1;
}

KIVROOM_API std::int32_t kivroom_image(const char* file, const char* level, std::uint32_t bytes) {
  const simulator::Bytes image = simulator::makeFirmwareImage(level, bytes);
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
  out.close();
  return out ? 0 : 1;
}

KIVROOM_API std::int32_t kivroom_close() {
  const auto handles = room ? static_cast<std::int32_t>(room->openHandles()) : 0;
  room.reset();
  return handles;
}
