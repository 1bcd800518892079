// The feature buffer that a drive delivers: records of hostile lengths.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "kiv/update/scan_bus.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A copy of its own, so that a read beyond the end is seen.
  std::vector<unsigned char> buffer(data, data + size);
  for (const char* name : {"lib_feature", ""}) {
    ulong32 value = 0;
    const bool found = getVPDEntryAsULong(buffer.data(), static_cast<ulong32>(size), name, value);
    if (!found && value != 0) std::abort();
  }
  return 0;
}
