// The port driver's inquiry list: counts and offsets that lead anywhere.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "device/inquiry_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte says how many bytes of the buffer the driver left out of its count.
  const std::vector<std::uint8_t> buffer(data + 1, data + size);
  const std::size_t returned = buffer.size() - buffer.size() * data[0] / 255;
  InquiryList list(buffer, returned);
  std::size_t records = 0;
  for (unsigned number = 0; number < list.busCount(); ++number) {
    const auto bus = list.bus(number);
    if (!bus) break;
    for (auto record = list.first(*bus); record; record = list.next(*record)) ++records;
  }
  // No record is met twice, whatever the chains say.
  if (records > returned) std::abort();
  return 0;
}
