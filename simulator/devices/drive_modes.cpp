// The mode pages of a drive (SSC-4 8.3), and MODE SELECT in both its forms (SPC-4 6.9, 6.10).
#include <algorithm>

#include "simulator/room/room.h"

namespace simulator {
namespace {

/// A page, the generation from which drives have it, what follows its header, and which bits of that may
/// change.
struct PageRow {
  std::uint8_t code;
  std::uint8_t subpage;
  std::uint8_t since;
  std::uint8_t size;
  std::vector<std::pair<std::uint8_t, std::uint8_t>> values;      ///< byte of the page, value
  std::vector<std::pair<std::uint8_t, std::uint8_t>> changeable;  ///< byte of the page, mask
};

const std::vector<PageRow>& pageRows() {
  static const std::vector<PageRow> rows = {
      // Read-write error recovery: retry counts.
      {0x01, 0x00, 1, 10, {{3, 1}, {8, 1}}, {{3, 0xFF}, {8, 0xFF}}},
      // Disconnect-reconnect.
      {0x02, 0x00, 1, 14, {}, {{2, 0xFF}, {3, 0xFF}}},
      // Control.
      {0x0A, 0x00, 1, 10, {}, {{4, 0x20}}},
      // Control data protection: method, length of the information, LBP_W, LBP_R, RBDP.
      {0x0A, 0xF0, 5, 28, {{5, 4}}, {{4, 0xFF}, {5, 0x3F}, {6, 0xE0}}},
      // Data compression: DCE and DCC, DDE, compression and decompression algorithm 1.
      {0x0F, 0x00, 1, 14, {{2, 0xC0}, {3, 0x80}, {7, 1}, {11, 1}}, {{2, 0x80}, {7, 0xFF}}},
      // Device configuration: write delay time, early warning, EOD by format, compression algorithm.
      {0x10, 0x00, 1, 14, {{7, 100}, {8, 0x40}, {10, 0x18}, {14, 1}}, {{6, 0xFF}, {7, 0xFF}, {14, 0xFF}}},
      // Device configuration extension: write mode and short erase mode, programmable early warning.
      {0x10, 0x01, 5, 28, {{5, 0x01}}, {{5, 0xF0}, {6, 0xFF}, {7, 0xFF}}},
      // Power condition: idle and standby conditions, their timers in tenths of a second.
      {0x1A,
       0x00,
       5,
       38,
       {{18, 0x1C}, {19, 0x20}},
       {{3, 0x08}, {16, 0xFF}, {17, 0xFF}, {18, 0xFF}, {19, 0xFF}}},
      // Informational exceptions control: no reporting by sense.
      {0x1C, 0x00, 1, 10, {{2, 0x08}}, {{2, 0x0C}, {3, 0x0F}}},
      // The maker's own: skip synchronisation, archive mode unthread.
      {0x30, 0x40, 6, 4, {}, {{4, 0x01}}},
      {0x30, 0x43, 6, 4, {}, {{4, 0x02}}},
  };
  return rows;
}

Bytes content(const PageRow& row, const std::vector<std::pair<std::uint8_t, std::uint8_t>>& values) {
  const std::size_t header = row.subpage == 0 ? 2 : 4;
  Bytes bytes(row.size);
  for (const auto& [at, value] : values) bytes.at(at - header) = value;
  return bytes;
}

constexpr std::size_t blockDescriptorSize = 8;

}  // namespace

void VirtualDrive::addModeCommands() {
  for (const PageRow& row : pageRows()) {
    if (model_.generation < row.since) continue;
    modes_.add(row.code, row.subpage, content(row, row.values), content(row, row.changeable));
  }
  addPartitionPage();
  onCommand(0x1A, {0xFF, 0x08, 0xFF, 0xFF, 0xFF, 0}, &VirtualDrive::modeSense);
  onCommand(0x5A, {0xFF, 0x08, 0xFF, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::modeSense);
  onCommand(0x15, {0xFF, 0x11, 0, 0, 0xFF, 0}, &VirtualDrive::modeSelect);
  onCommand(0x55, {0xFF, 0x11, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0}, &VirtualDrive::modeSelect);
}

MediumDevice::ModeHeader VirtualDrive::modeHeader(bool changeable) const {
  Bytes descriptor(blockDescriptorSize);
  descriptor[0] = medium_ ? medium_->options().densityCode : model_.densityCode;
  put24(descriptor, 5, changeable ? 0xFFFFFF : blockLength_);
  const bool isProtected = medium_ && medium_->options().writeProtected;
  return {.mediumType = medium_ ? medium_->type() : std::uint8_t{0},
          .deviceSpecific = static_cast<std::uint8_t>(flag(isProtected, 7) | bufferedMode_ << 4),
          .blockDescriptors = std::move(descriptor)};
}

void VirtualDrive::modeSelect(ScsiRequest& request) {
  const bool ten = request.operation() == 0x55;
  const std::uint16_t headerSize = ten ? 8 : 4;
  const auto list = request.parameterList(ten ? request.cdb16(7) : request.cdb[4]);
  if (list.empty()) return;
  if (list.size() < headerSize) parameterListLengthError();
  if (readNumber(list, 0, ten ? 2 : 1) != 0) invalidParameter(0);  // the mode data length is reserved here
  const std::uint16_t specificAt = ten ? 3 : 2;
  const auto buffered = static_cast<std::uint8_t>(list[specificAt] >> 4 & 7);
  if (buffered > 1 || (list[specificAt] & 0x0F)) invalidParameter(specificAt);
  const std::size_t descriptorLength = ten ? readNumber(list, 6, 2) : list[3];
  if (descriptorLength != 0 && descriptorLength != blockDescriptorSize) invalidParameter(ten ? 6 : 3);
  if (list.size() < headerSize + descriptorLength) parameterListLengthError();
  std::uint32_t blockLength = blockLength_;
  if (descriptorLength != 0) {
    const std::uint8_t density = list[headerSize];
    // 0 is the default density, 7Fh means no change.
    if (density != 0 && density != 0x7F && density != model_.densityCode &&
        !(medium_ && density == medium_->options().densityCode)) {
      invalidParameter(headerSize);
    }
    blockLength = static_cast<std::uint32_t>(readNumber(list, headerSize + 5u, 3));
    if (blockLength > maximumBlockLength) invalidParameter(static_cast<std::uint16_t>(headerSize + 5));
  }
  ModePages changed = modes_;
  changed.select(list, headerSize + descriptorLength, request.cdb[1] & 0x01);
  if (changed.has(0x11)) checkPartitionPage(changed.current(0x11));
  modes_ = std::move(changed);
  blockLength_ = blockLength;
  bufferedMode_ = buffered;
}

}  // namespace simulator
