// The requests of the maker's tape driver that it carries out with commands to the drive.
#include <algorithm>
#include <cstring>

#include "simulator/windows/driver_protocol.h"
#include "simulator/windows/virtual_driver.h"

namespace simulator {
namespace {

constexpr std::size_t header = 4;  // of MODE SENSE(6) data without block descriptors
constexpr std::uint8_t deviceConfigurationPage = 0x10;
constexpr std::uint8_t controlPage = 0x0A;
constexpr std::uint8_t dataProtectionSubpage = 0xF0;

/// Where a drive parameter stands (offsets from the page code).
struct ParameterField {
  std::uint32_t type;
  std::uint8_t page;
  std::uint8_t subpage;
  std::size_t at;
  std::uint8_t mask;
  std::uint8_t on;
};
constexpr ParameterField parameterFields[] = {
    {36, 0x10, 0x01, 5, 0xF0, 0x10},  // data safe mode: write mode of the device configuration extension
    {37, 0x30, 0x40, 4, 0x01, 0x01},  // skip synchronisation
    {38, 0x1A, 0x00, 3, 0x08, 0x08},  // sleep mode: idle condition C enabled
    {39, 0x30, 0x43, 4, 0x02, 0x02},  // archive mode unthread
};
constexpr std::uint32_t applicationManaged = 3;
constexpr std::size_t idleCTimer = 16;  // in the power condition page, units of 100 ms

const ParameterField& fieldOf(std::uint32_t type) {
  for (const ParameterField& field : parameterFields) {
    if (field.type == type) return field;
  }
  throw WindowsError{ERROR_INVALID_PARAMETER};
}

std::uint8_t& byteAt(Bytes& image, std::size_t offsetInPage) {
  if (header + offsetInPage >= image.size()) throw WindowsError{ERROR_IO_DEVICE};
  return image[header + offsetInPage];
}

}  // namespace

void DriverTapeHandle::logSense(ControlRequest& request) {
  auto block = request.input<protocol::LogSenseBlock>();
  const auto page = static_cast<std::uint8_t>(block.pageControl << 6 | (block.page & 0x3F));
  Bytes cdb{0x4D, 0, page, block.subpage, 0, 0, 0, 0, 0, 0};
  put16(cdb, 7, sizeof block.data);
  const Bytes data = driver().read(cdb, sizeof block.data);
  block.length = static_cast<std::uint32_t>(data.size());
  std::copy(data.begin(), data.end(), block.data);
  request.reply(block);
}

void DriverTapeHandle::encryptionStatus(ControlRequest& request) {
  // The data encryption status page of the tape data encryption protocol (SSC-4 8.5.2.7).
  const ScsiRequest outcome = driver().run({0xA2, 0x20, 0x00, 0x20, 0, 0, 0, 0, 0, 24, 0, 0}, 24);
  const bool on = readNumber(outcome.dataIn, 5, 1) != 0;
  request.reply(protocol::EncryptionStatusBlock{
      .capable = outcome.status == statusGood, .method = on ? applicationManaged : 0, .status = on});
}

void DriverTapeHandle::encryptionDiagnostic(ControlRequest& request) {
  auto block = request.input<protocol::EncryptionDiagnosticBlock>();
  if (block.type != 0 && block.type != 1 && block.type != 15) throw WindowsError{ERROR_INVALID_PARAMETER};
  const Bytes page{0x80, 0, 0, 6, 0xE0, 0, 0, 0, 0x20, static_cast<std::uint8_t>(block.type)};
  const ScsiRequest outcome =
      driver().run({0x1D, 0x10, 0, 0, static_cast<std::uint8_t>(page.size()), 0}, 0, page);
  block.completionCode = outcome.status;
  block.errorNumber = outcome.status == statusGood ? NO_ERROR : ERROR_IO_DEVICE;
  request.reply(block);
}

void DriverTapeHandle::queryPartition(ControlRequest& request) {
  Bytes image = modeSense(mediumPartitionPage);
  protocol::PartitionBlock block{};
  block.maxAdditional = byteAt(image, 2);
  block.partitions = byteAt(image, 3) + 1u;
  const std::uint8_t methods = byteAt(image, 4);  // FDP, SDP, IDP
  block.method = methods & 0x80 ? 3 : methods & 0x40 ? 2 : methods & 0x20 ? 1 : 0;
  block.units = byteAt(image, 6) & 0x0F;
  block.type = static_cast<std::uint8_t>(byteAt(image, 6) >> 4);
  for (std::size_t i = 0; i < std::min<std::size_t>(block.partitions, std::size(block.sizes)); ++i) {
    block.sizes[i] = static_cast<std::uint16_t>(readNumber(image, header + 8 + 2 * i, 2));
  }
  Bytes configuration = modeSense(deviceConfigurationPage);
  block.active = byteAt(configuration, 3);
  request.reply(block);
}

void DriverTapeHandle::createPartition(const ControlRequest& request) {
  const auto block = request.input<protocol::PartitionBlock>();
  const bool layout = block.method != protocol::formatOnly;
  if ((layout && block.method > 3) || block.formatType > 0x0F) throw WindowsError{ERROR_INVALID_PARAMETER};
  locate(0, 0, false);  // a medium is formatted at its beginning
  if (layout) {
    if (block.partitions < 1 || block.partitions > std::size(block.sizes))
      throw WindowsError{ERROR_INVALID_PARAMETER};
    Bytes image = modeSense(mediumPartitionPage);
    byteAt(image, 3) = static_cast<std::uint8_t>(block.partitions - 1);
    std::uint8_t& methods = byteAt(image, 4);
    if (block.method != 0)
      methods = static_cast<std::uint8_t>((methods & 0x1F) | flag(true, 4 + static_cast<int>(block.method)));
    // Drives that partition in one way only have no partitioning type.
    std::uint8_t& units = byteAt(image, 6);
    const int type = units >> 4 != 0 && block.type != 0 ? block.type : units >> 4;
    units = static_cast<std::uint8_t>(type << 4 | (block.units & 0x0F));
    for (std::size_t i = 0; header + 8 + 2 * i + 1 < image.size(); ++i) {
      put16(image, header + 8 + 2 * i, i < block.partitions ? block.sizes[i] : 0);
    }
    modeSelect(std::move(image));
  }
  driver().send({0x04, 0, static_cast<std::uint8_t>(block.formatType), 0, 0, 0});
}

void DriverTapeHandle::verify(const ControlRequest& request) {
  const auto block = request.input<protocol::VerifyBlock>();
  if (block.length > 0xFFFFFF) throw WindowsError{ERROR_INVALID_PARAMETER};
  const auto flags = static_cast<std::uint8_t>(flag(block.fixed, 0) | flag(block.byteCompare, 1) |
                                               flag(block.immediate, 2) | flag(block.byFilemarks, 3) |
                                               flag(block.logicalBlockProtection, 4) | flag(block.toEnd, 5));
  Bytes cdb{0x13, flags, 0, 0, 0, 0};
  put24(cdb, 2, block.length);
  driver().send(cdb);
}

void DriverTapeHandle::queryBlockProtection(ControlRequest& request) {
  Bytes image = modeSense(controlPage, dataProtectionSubpage);
  const std::uint8_t uses = byteAt(image, 6);
  request.reply(protocol::BlockProtectionBlock{.capable = 1,
                                               .method = byteAt(image, 4),
                                               .length = static_cast<std::uint8_t>(byteAt(image, 5) & 0x3F),
                                               .write = static_cast<std::uint8_t>(uses >> 7 & 1),
                                               .read = static_cast<std::uint8_t>(uses >> 6 & 1),
                                               .recoverBuffered = static_cast<std::uint8_t>(uses >> 5 & 1),
                                               .reserved = {}});
}

void DriverTapeHandle::setBlockProtection(const ControlRequest& request) {
  const auto block = request.input<protocol::BlockProtectionBlock>();
  Bytes image = modeSense(controlPage, dataProtectionSubpage);
  byteAt(image, 4) = block.method;
  byteAt(image, 5) = block.length & 0x3F;
  byteAt(image, 6) =
      static_cast<std::uint8_t>(flag(block.write, 7) | flag(block.read, 6) | flag(block.recoverBuffered, 5));
  modeSelect(std::move(image));
}

void DriverTapeHandle::queryParameter(ControlRequest& request) {
  auto block = request.input<protocol::ParameterBlock>();
  const ParameterField& field = fieldOf(block.type);
  Bytes image = modeSense(field.page, field.subpage);
  block.value = (byteAt(image, field.at) & field.mask) != 0;
  if (field.page == 0x1A && block.value != 0) {
    block.value = static_cast<std::uint32_t>(readNumber(image, header + idleCTimer, 4) / 10);
  }
  request.reply(block);
}

void DriverTapeHandle::setParameter(const ControlRequest& request) {
  const auto block = request.input<protocol::ParameterBlock>();
  const ParameterField& field = fieldOf(block.type);
  Bytes image = modeSense(field.page, field.subpage);
  std::uint8_t& byte = byteAt(image, field.at);
  byte = static_cast<std::uint8_t>((byte & ~field.mask) | (block.value != 0 ? field.on : 0));
  if (field.page == 0x1A) {
    byteAt(image, idleCTimer + 3);
    put32(image, header + idleCTimer, std::uint64_t{block.value} * 10);
  }
  modeSelect(std::move(image));
}

}  // namespace simulator
