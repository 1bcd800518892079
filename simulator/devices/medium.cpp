#include "simulator/devices/medium.h"

#include <numeric>

namespace simulator {

std::uint64_t Partition::used(std::size_t count) const {
  // A filemark takes room too, as a short block does.
  return std::accumulate(
      objects.begin(), objects.begin() + static_cast<std::ptrdiff_t>(count), std::uint64_t{0},
      [](std::uint64_t sum, const TapeObject& object) { return sum + object.data.size() + object.filemark; });
}

static Attribute text(Attribute::Format format, bool readOnly, std::size_t width, const std::string& value) {
  Bytes bytes;
  putText(bytes, 0, width, value);
  return {format, readOnly, std::move(bytes)};
}

static Attribute number(std::size_t width, std::uint64_t value) {
  Bytes bytes;
  put64(bytes, 0, value);
  return {Attribute::Binary, true, Bytes(bytes.end() - static_cast<std::ptrdiff_t>(width), bytes.end())};
}

Medium::Medium(MediumOptions options) : options_(std::move(options)) {
  format({options_.capacity});
  constexpr bool readOnly = true;
  attributes_ = {
      {0x0003, number(8, 1)},                                           // load count
      {0x0400, text(Attribute::Ascii, readOnly, 8, "QOR")},             // medium manufacturer
      {0x0401, text(Attribute::Ascii, readOnly, 32, options_.serial)},  // medium serial number
      {0x0402, number(4, 846)},                                         // medium length, metres
      {0x0403, number(4, 127)},                                   // medium width, tenths of a millimetre
      {0x0404, text(Attribute::Ascii, readOnly, 8, "LTO-CVE")},   // assigning organization
      {0x0405, number(1, options_.densityCode)},                  // medium density code
      {0x0406, text(Attribute::Ascii, readOnly, 8, "20190312")},  // medium manufacture date
      {0x0408, number(1, 0)},                                     // medium type: data
      {0x0806, text(Attribute::Ascii, !readOnly, 32, options_.barcode)},  // barcode
  };
}

void Medium::format(const std::vector<std::uint64_t>& capacities) {
  partitions_.clear();
  for (std::uint64_t capacity : capacities) partitions_.push_back({{}, capacity});
}

}  // namespace simulator
