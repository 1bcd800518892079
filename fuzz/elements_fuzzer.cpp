// READ ELEMENT STATUS data as the C interface reads them: the first byte chooses the element type.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "c_interface/elements.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // A copy of its own, so that a read beyond the end is seen.
  const std::vector<std::uint8_t> report(data + 1, data + size);
  const auto elements = decodeElements(report, static_cast<kiv_element_type>(data[0] % 4 + 1));
  if (elements.size() > report.size() / 12) std::abort();
  for (const Element& element : elements) {
    if (element.identifier.size() > 255 || element.element.address > 0xFFFF) std::abort();
  }
  return 0;
}
