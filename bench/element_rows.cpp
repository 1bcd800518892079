#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/measure.h"
#include "bench/rows.h"
#include "kiv/changer/element_status.h"
#include "kiv/scsi/big_endian.h"

namespace {

constexpr unsigned ELEMENTS = 10'000;

/// Storage elements with volume tags, with the location of the cartridge or without.
std::vector<std::uint8_t> report(bool identifiers) {
  const std::size_t length = 12 + 36 + (identifiers ? 4 + 32 : 0);
  std::vector<std::uint8_t> data(16 + ELEMENTS * length);
  writeBigEndian(data, 2, 2, ELEMENTS);
  writeBigEndian(data, 5, 3, data.size() - 8);
  writeBigEndian(data, 8, 1, ELEMENT_STORAGE);
  writeBigEndian(data, 9, 1, 0x80);
  writeBigEndian(data, 10, 2, length);
  writeBigEndian(data, 13, 3, data.size() - 16);
  for (unsigned i = 0; i < ELEMENTS; ++i) {
    std::uint8_t* element = &data[16 + i * length];
    writeBigEndian({element, length}, 0, 2, i + 1000);
    element[2] = 0x09;
    const std::string tag = "A" + std::to_string(100'000 + i) + "L7";
    std::copy_n((tag + std::string(36 - tag.size(), ' ')).begin(), 36, element + 12);
    if (!identifiers) continue;
    const std::uint8_t header[] = {2, 0, 0, 32};
    std::copy_n(header, sizeof header, element + 48);
    std::fill_n(element + 52, 32, std::uint8_t{'L'});
  }
  return data;
}

/// Each byte by itself, as a decoder meets it.
void lookOnce(const std::vector<std::uint8_t>& data) {
  unsigned sum = 0;
  for (const std::uint8_t byte : data) {
    sum += byte;
    asm volatile("" : "+r"(sum));
  }
}

void row(const char* work, bool identifiers) {
  const auto data = report(identifiers);
  const auto decode = [&] {
    keep(ChangerElementStatusData(data.data(), static_cast<ulong32>(data.size()), identifiers));
  };
  print({work, "one pass over the bytes", "<= 3",
         ratioOf(
             decode, [&] { lookOnce(data); }, 50)});
  const std::size_t before = allocationCount();
  decode();
  print({"    allocations, each", "", "<= 1", static_cast<double>(allocationCount() - before) / ELEMENTS});
}

}  // namespace

void elementRows() {
  row("10,000 elements decoded", false);
  row("    with identifiers", true);
}
