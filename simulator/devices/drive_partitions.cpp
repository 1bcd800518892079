// The medium partition page, and FORMAT MEDIUM, which applies it (SSC-4 8.3.4, 7.1).
#include <algorithm>
#include <utility>

#include "simulator/room/room.h"

namespace simulator {
namespace {

// Bytes of the page, its header included.
constexpr std::size_t maximumAt = 2;
constexpr std::size_t definedAt = 3;
constexpr std::size_t flagsAt = 4;
constexpr std::size_t recognitionAt = 5;
constexpr std::size_t unitsAt = 6;
constexpr std::size_t sizesAt = 8;

constexpr std::uint8_t fixedPartitions = 0x80;      // FDP
constexpr std::uint8_t selectPartitions = 0x40;     // SDP
constexpr std::uint8_t initiatorPartitions = 0x20;  // IDP
constexpr std::uint8_t unitsByExponent = 0x18;      // PSUM 3: a unit is ten to the power of PARTITION UNITS
constexpr std::uint8_t partitionOnFormat = 0x04;    // POFM
constexpr std::uint8_t formatAndPartitions = 3;     // MEDIUM FORMAT RECOGNITION
constexpr std::uint64_t theRest = 0xFFFF;

std::uint64_t unit(std::uint8_t exponent) {
  std::uint64_t value = 1;
  for (int i = 0; i < exponent; ++i) value *= 10;
  return value;
}

[[noreturn]] void badPage(std::size_t byte) { invalidParameter(static_cast<std::uint16_t>(byte)); }

}  // namespace

void VirtualDrive::addPartitionPage() {
  Bytes content(sizesAt - 2 + 2 * (model_.extraPartitions + 1u));
  Bytes changeable(content.size());
  content[maximumAt - 2] = model_.extraPartitions;
  content[flagsAt - 2] = initiatorPartitions | unitsByExponent | partitionOnFormat;
  content[recognitionAt - 2] = formatAndPartitions;
  content[unitsAt - 2] = static_cast<std::uint8_t>(model_.partitioningType << 4 | 9);
  if (model_.extraPartitions > 0) {
    changeable[definedAt - 2] = 0xFF;
    changeable[flagsAt - 2] = 0xFC;
    // Only drives that know several ways to partition let the type be chosen.
    changeable[unitsAt - 2] = model_.partitioningType ? 0xFF : 0x0F;
    std::fill(changeable.begin() + (sizesAt - 2), changeable.end(), std::uint8_t{0xFF});
  }
  modes_.add(0x11, 0x00, std::move(content), std::move(changeable));
}

/// Refuses what FORMAT MEDIUM could not carry out.
void VirtualDrive::checkPartitionPage(const Bytes& page) const {
  if (page[definedAt] > model_.extraPartitions) badPage(definedAt);
  const std::uint8_t method = page[flagsAt] & (fixedPartitions | selectPartitions | initiatorPartitions);
  if (method & (method - 1)) badPage(flagsAt);
  if (medium_ && method == initiatorPartitions) partitionSizes(page);
}

/// The capacities in bytes that a page asks for on the cartridge in the drive. Throws 5/26/00 when they do
/// not fit.
std::vector<std::uint64_t> VirtualDrive::partitionSizes(const Bytes& page) const {
  const std::uint64_t capacity = medium_->options().capacity;
  const std::uint8_t method = page[flagsAt] & (fixedPartitions | selectPartitions | initiatorPartitions);
  const std::size_t count = 1u + (method == fixedPartitions ? model_.extraPartitions : page[definedAt]);
  if (method != initiatorPartitions || count == 1) return std::vector<std::uint64_t>(count, capacity / count);

  std::vector<std::uint64_t> sizes(count);
  std::uint64_t rest = capacity;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t wanted = readNumber(page, sizesAt + 2 * i, 2);
    if (wanted == 0) badPage(sizesAt + 2 * i);
    if (wanted == theRest) continue;
    sizes[i] = wanted * unit(page[unitsAt] & 0x0F);
    if (sizes[i] > rest) badPage(sizesAt + 2 * i);
    rest -= sizes[i];
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (sizes[i] != 0) continue;
    if (rest == 0) badPage(sizesAt + 2 * i);
    sizes[i] = std::exchange(rest, 0);
  }
  return sizes;
}

/// Lets the page tell how the cartridge in the drive is partitioned.
void VirtualDrive::showPartitions() {
  if (!modes_.has(0x11)) return;
  Bytes& page = modes_.current(0x11);
  const auto& partitions = medium_->partitions();
  const auto fits = [&](std::uint8_t exponent) {
    return std::all_of(partitions.begin(), partitions.end(), [&](const Partition& partition) {
      return partition.capacity / unit(exponent) > 0 && partition.capacity / unit(exponent) < theRest;
    });
  };
  auto exponent = static_cast<std::uint8_t>(page[unitsAt] & 0x0F);
  if (!fits(exponent)) {
    exponent = 0;
    while (exponent < 15 && !fits(exponent)) ++exponent;
    page[unitsAt] = static_cast<std::uint8_t>((page[unitsAt] & 0xF0) | exponent);
  }
  page[definedAt] = static_cast<std::uint8_t>(partitions.size() - 1);
  for (std::size_t i = sizesAt; i + 1 < page.size(); i += 2) {
    const std::size_t index = (i - sizesAt) / 2;
    put16(page, i, index < partitions.size() ? partitions[index].capacity / unit(exponent) : 0);
  }
}

void VirtualDrive::formatMedium(ScsiRequest& request) {
  const std::uint8_t format = request.cdb[2] & 0x0F;
  if (format > 2) invalidField(2);
  if (request.cdb16(3) != 0) invalidField(3);  // no parameter list
  checkWritable();
  if (partition_ != 0 || object_ != 0) refuse(5, 0x3B, 0x0C);
  checkOverwrite(Overwrite::Format);
  const bool byPage = format != 0 && modes_.has(0x11);
  medium_->format(byPage ? partitionSizes(modes_.current(0x11)) : std::vector{medium_->options().capacity});
  showPartitions();
  if (!(request.cdb[1] & 0x01)) request.duration += std::int64_t{drive_.formatSeconds} * 1000;
}

}  // namespace simulator
