#include "simulator/devices/medium.h"

#include <algorithm>
#include <numeric>

#include "simulator/devices/drive_models.h"

namespace simulator {

std::uint64_t Partition::used(std::size_t count) const {
  // A filemark takes room too, as a short block does.
  return std::accumulate(
      objects.begin(), objects.begin() + static_cast<std::ptrdiff_t>(count), std::uint64_t{0},
      [](std::uint64_t sum, const TapeObject& object) { return sum + object.data.size() + object.filemark; });
}

static Attribute text(std::size_t width, const std::string& value) {
  return {Attribute::Ascii, true, padded(width, value)};
}

Attribute Attribute::number(std::size_t width, std::uint64_t value) {
  return {Attribute::Binary, true, bigEndian(width, value)};
}

Medium::Medium(MediumOptions options) : options_(std::move(options)) {
  usage_.drives.fill(padded(40, ""));
  format({options_.capacity});
  attributes_ = {
      {0x0005, text(8, "LTO-CVE")},                               // assigning organization
      {0x0400, text(8, "QOR")},                                   // medium manufacturer
      {0x0401, text(32, options_.serial)},                        // medium serial number
      {0x0402, Attribute::number(4, 846)},                        // medium length, metres
      {0x0403, Attribute::number(4, 127)},                        // medium width, tenths of a millimetre
      {0x0404, text(8, "LTO-CVE")},                               // assigning organization
      {0x0405, Attribute::number(1, options_.densityCode)},       // medium density code
      {0x0406, text(8, "20190312")},                              // medium manufacture date
      {0x0407, Attribute::number(8, memoryCapacity)},             // capacity of this memory
      {0x0408, Attribute::number(1, options_.cleaning ? 1 : 0)},  // medium type: data, or cleaning
      {0x0806, {Attribute::Ascii, false, padded(32, options_.barcode)}},
  };
}

std::uint8_t Medium::type() const {
  return options_.cleaning ? 0x01 : static_cast<std::uint8_t>(generationOf(options_.densityCode) << 4 | 0x08);
}

void Medium::noteLoad(Bytes drive) {
  ++usage_.loads;
  usage_.writtenNow = usage_.readNow = 0;
  std::rotate(usage_.drives.begin(), usage_.drives.end() - 1, usage_.drives.end());
  usage_.drives[0] = std::move(drive);
}

void Medium::noteWritten(std::size_t bytes) {
  if (usage_.writtenNow == 0) ++usage_.changes;
  usage_.written += bytes;
  usage_.writtenNow += bytes;
}

void Medium::noteRead(std::size_t bytes) {
  usage_.read += bytes;
  usage_.readNow += bytes;
}

void Medium::format(const std::vector<std::uint64_t>& capacities) {
  ++usage_.formats;
  partitions_.clear();
  for (std::uint64_t capacity : capacities) partitions_.push_back({{}, capacity});
}

}  // namespace simulator
