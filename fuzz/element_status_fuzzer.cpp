// READ ELEMENT STATUS data: pages and descriptors whose counts and lengths lead anywhere.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "kiv/changer/element_status.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A copy of its own, so that a read beyond the end is seen.
  const std::vector<std::uint8_t> image(data, data + size);
  for (const bool identifiers : {false, true}) {
    const ChangerElementStatusData status(image.data(), static_cast<ulong32>(size), identifiers);
    std::size_t bytes = 0;
    for (std::uint16_t p = 0; p < status.getNumberPages(); ++p) {
      const ChangerElementStatusPage& page = *status.getElementStatusPage(p);
      bytes += std::size_t{page.getDescriptorLength()} * page.getNumberDescriptors();
      for (std::uint16_t d = 0; d < page.getNumberDescriptors(); ++d) {
        if (page.getDescriptor(d)->getElementAddress() > status.getMaxReportedElementAddress()) std::abort();
      }
    }
    if (status.getNumberPages() > 4 || bytes > size) std::abort();
    status.toString();
  }
  return 0;
}
