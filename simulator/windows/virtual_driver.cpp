#include "simulator/windows/virtual_driver.h"

#include <algorithm>
#include <cstring>

#include "simulator/room/room.h"
#include "simulator/windows/driver_protocol.h"

namespace simulator {
namespace {

/// Throws when this driver was told not to know the request.
void checkKnown(const ControlRequest& request, const VirtualDevice& device) {
  if (device.options().driver->refuses.count(request.code)) throw WindowsError{ERROR_INVALID_FUNCTION};
}

void replyVersion(ControlRequest& request, const VirtualDevice& device) {
  Bytes text(protocol::versionSize);
  const std::string& version = device.options().driver->version;
  std::copy_n(version.begin(), std::min(version.size(), text.size()), text.begin());
  request.reply(text);
}

/// The sense data of the last failed command, or what the device has to say now.
void replySense(ControlRequest& request, ClassDriver& driver) {
  const Bytes sense =
      driver.lastSense().empty() ? driver.read({0x03, 0, 0, 0, 0x60, 0}, 0x60) : driver.lastSense();
  protocol::SenseBlock block{};
  block.length = static_cast<std::uint32_t>(std::min(sense.size(), sizeof block.sense));
  std::copy_n(sense.begin(), block.length, block.sense);
  request.reply(block);
}

/// Mode data with block descriptors, behind the operation code that tells their form.
void replyModeSense(ControlRequest& request, ClassDriver& driver) {
  const auto asked = request.input<protocol::ModeSenseBlock>();
  const bool eightBytes = driver.device().options().driver->eightByteModeHeader;
  // A changer has no block descriptors to give.
  const std::uint8_t disable = flag(driver.device().type() == typeChanger, 3);
  const Bytes cdb = eightBytes ? Bytes{0x5A, disable, asked.page, asked.subpage, 0, 0, 0, 0, 0xFF, 0}
                               : Bytes{0x1A, disable, asked.page, asked.subpage, 0xFF, 0};
  const Bytes data = driver.read(cdb, 0xFF);
  Bytes block(sizeof(protocol::ModeSenseBlock));
  block[0] = cdb[0];
  std::copy_n(data.begin(), std::min(data.size(), block.size() - 1), block.begin() + 1);
  request.reply(block);
}

/// Every way to the device: a drive with several ports is in the room once per port.
void replyPaths(ControlRequest& request, const VirtualDevice& device) {
  protocol::PathsBlock block{};
  for (const auto& other : device.room().devices()) {
    const DeviceOptions& o = other->options();
    if (other->type() != device.type() || o.serial != device.options().serial) continue;
    if (block.count == std::size(block.paths)) break;
    block.paths[block.count++] = {.hostAdapter = o.adapter,
                                  .bus = o.bus,
                                  .target = o.target,
                                  .lun = o.lun,
                                  .primary = static_cast<std::uint8_t>(other.get() == &device),
                                  .enabled = static_cast<std::uint8_t>(other->answers()),
                                  .failed = static_cast<std::uint8_t>(!other->answers()),
                                  .reserved = 0};
  }
  request.reply(block);
}

}  // namespace

void DriverTapeHandle::control(ControlRequest& request) {
  checkKnown(request, device());
  switch (request.code) {
    case protocol::tapeVersion:
      return replyVersion(request, device());
    case protocol::tapeRequestSense:
      return replySense(request, driver());
    case protocol::modeSense:
      return replyModeSense(request, driver());
    case protocol::tapePaths:
      return replyPaths(request, device());
    case protocol::logSense:
      return logSense(request);
    case protocol::encryptionStatus:
      return encryptionStatus(request);
    case protocol::encryptionDiagnostic:
      return encryptionDiagnostic(request);
    case protocol::queryPartition:
      return queryPartition(request);
    case protocol::createPartition:
      return createPartition(request);
    case protocol::setPartition: {
      const auto block = request.input<protocol::SetPartitionBlock>();
      if (block.partition > 0xFF) throw WindowsError{ERROR_INVALID_PARAMETER};
      return locate(block.block, static_cast<std::uint8_t>(block.partition), false);
    }
    case protocol::verify:
      return verify(request);
    case protocol::queryBlockProtection:
      return queryBlockProtection(request);
    case protocol::setBlockProtection:
      return setBlockProtection(request);
    case protocol::queryParameter:
      return queryParameter(request);
    case protocol::setParameter:
      return setParameter(request);
    default:
      return TapeHandle::control(request);
  }
}

void DriverChangerHandle::control(ControlRequest& request) {
  checkKnown(request, device());
  switch (request.code) {
    case protocol::changerVersion:
      return replyVersion(request, device());
    case protocol::changerRequestSense:
      return replySense(request, driver());
    case protocol::modeSense:
      return replyModeSense(request, driver());
    case protocol::changerPaths:
      return replyPaths(request, device());
    case protocol::cartridgeLocations:
      return cartridgeLocations(request);
    default:
      return ChangerHandle::control(request);
  }
}

void DriverChangerHandle::cartridgeLocations(ControlRequest& request) {
  const auto asked = request.input<protocol::LocationsRequest>();
  driver().read({0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0}, 8);  // whether the library answers at all
  Bytes reply(sizeof(std::uint32_t));
  std::uint32_t count = 0;
  for (const auto& [address, element] : changer().elements()) {
    if (element.type != elementStorage || address < asked.first || count == asked.count) continue;
    protocol::LocationRecord record{};
    record.address = address;
    record.source = element.source.value_or(0);
    record.state = changer().stateByte(element);
    record.origin = VirtualChanger::originByte(element);
    if (const auto exception = VirtualChanger::exceptionOf(element)) {
      record.asc = exception->first;
      record.ascq = exception->second;
    }
    const Bytes tag = VirtualChanger::volumeTag(element);
    std::copy(tag.begin(), tag.end(), record.volumeTag);
    const Designator designator = VirtualChanger::designatorOf(element);
    record.codeSet = designator.codeSet;
    record.identifierType = designator.type;
    const std::size_t length = std::min(designator.identifier.size(), sizeof record.identifier);
    record.identifierLength = designator.claimedLength.value_or(static_cast<std::uint8_t>(length));
    std::copy_n(designator.identifier.begin(), length, record.identifier);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record);
    reply.insert(reply.end(), bytes, bytes + sizeof record);
    ++count;
  }
  std::memcpy(reply.data(), &count, sizeof count);
  request.reply(reply);
}

std::unique_ptr<Handle> openDevice(std::string name, DWORD access, VirtualAdapter& adapter,
                                   VirtualDevice& device) {
  const bool makers = device.options().driver.has_value();
  if (auto* changer = dynamic_cast<VirtualChanger*>(&device)) {
    if (makers) return std::make_unique<DriverChangerHandle>(std::move(name), access, adapter, *changer);
    return std::make_unique<ChangerHandle>(std::move(name), access, adapter, *changer);
  }
  if (device.type() == typeTape) {
    if (makers) return std::make_unique<DriverTapeHandle>(std::move(name), access, adapter, device);
    return std::make_unique<TapeHandle>(std::move(name), access, adapter, device);
  }
  return std::make_unique<ClassHandle>(std::move(name), access, adapter, device);
}

}  // namespace simulator
