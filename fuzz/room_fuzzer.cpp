// Room files: a text makes a room, or a sentence.
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "simulator/room/room.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    simulator::Room::fromJson({reinterpret_cast<const char*>(data), size});
  } catch (const std::runtime_error& error) {
    if (std::strlen(error.what()) == 0) std::abort();
  }
  return 0;
}
