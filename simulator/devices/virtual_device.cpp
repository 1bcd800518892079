#include "simulator/devices/virtual_device.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "simulator/room/room.h"

namespace simulator {

VirtualDevice::VirtualDevice(Room& room, PeripheralType type, DeviceOptions options)
    : room_(room), type_(type), options_(std::move(options)) {
  if (options_.serial.empty()) {
    options_.serial = "QS" + std::to_string(100000000 + options_.adapter * 1000000 + options_.bus * 100000 +
                                            options_.target * 100 + options_.lun);
  }
  if (options_.worldWideName == 0) {
    options_.worldWideName = 0x50060B0000000000u | std::uint64_t{options_.adapter} << 32 |
                             std::uint64_t{options_.bus} << 24 | std::uint64_t{options_.target} << 16 |
                             std::uint64_t{options_.lun} << 8;
  }
  onVpdPage(0x80, [this] { return Bytes(options_.serial.begin(), options_.serial.end()); });
  onVpdPage(0x83, [this] { return deviceIdentification(); });
  onVpdPage(0x86, [this] { return extendedInquiry(); });
  onCommand(0x00, {0xFF, 0, 0, 0, 0, 0}, [this](ScsiRequest&) { checkReady(); });
  onCommand(0x03, {0xFF, 0x01, 0, 0, 0xFF, 0}, &VirtualDevice::requestSense);
  onCommand(0x12, {0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0}, &VirtualDevice::inquiry);
  onCommand(0xA0, {0xFF, 0, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0}, &VirtualDevice::reportLuns);
  onServiceAction(0xA3, 0x0C, {0xFF, 0, 0x87, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0},
                  &VirtualDevice::reportOperationCodes);
}

std::string addressText(unsigned adapter, unsigned bus, unsigned target, unsigned lun) {
  char text[64];
  std::snprintf(text, sizeof text, "H%u-B%u-T%u-L%u", adapter, bus, target, lun);
  return text;
}

std::string VirtualDevice::address() const {
  return addressText(options_.adapter, options_.bus, options_.target, options_.lun);
}

void VirtualDevice::addUnitAttention(std::uint8_t asc, std::uint8_t ascq, std::int64_t due) {
  attentions_.push_back({{.key = 6, .asc = asc, .ascq = ascq}, due});
}

std::optional<Sense> VirtualDevice::takeAttention() {
  const auto first =
      std::find_if(attentions_.begin(), attentions_.end(),
                   [now = room_.clock().milliseconds()](const Attention& a) { return a.due <= now; });
  if (first == attentions_.end()) return std::nullopt;
  const Sense sense = first->sense;
  attentions_.erase(first);
  return sense;
}

void VirtualDevice::goAway(std::int64_t milliseconds) {
  goneUntil_ = room_.clock().milliseconds() + milliseconds;
}

void VirtualDevice::goAwayUntilRescan(std::int64_t milliseconds) {
  goAway(milliseconds);
  known_ = false;
}

void VirtualDevice::goAwayForEver() { goneUntil_ = std::numeric_limits<std::int64_t>::max(); }

bool VirtualDevice::answers() const { return room_.clock().milliseconds() >= goneUntil_; }

void VirtualDevice::rescanned() {
  known_ = answers();
  if (known_) listedInquiry_ = standardInquiry();
}

void VirtualDevice::execute(ScsiRequest& request) {
  if (!answers() || !known_) throw WindowsError{ERROR_IO_DEVICE};
  try {
    run(request);
  } catch (const CheckCondition& refusal) {
    request.status = statusCheckCondition;
    request.sense = refusal.sense.bytes();
  } catch (const StatusOnly& other) {
    request.status = other.status;
  }
}

void VirtualDevice::run(ScsiRequest& request) {
  const Command& command = commandOf(request);
  const Bytes& usage = command.usage;
  // Transports pad a CDB with zeros: one that is too long is as good, one that is too short is not.
  if (request.cdbLength < usage.size()) invalidField(0);
  for (std::size_t i = 1; i < request.cdb.size(); ++i) {
    if (request.cdb[i] & ~(i < usage.size() ? usage[i] : 0)) invalidField(static_cast<std::uint16_t>(i));
  }
  // INQUIRY and REPORT LUNS leave a unit attention pending, REQUEST SENSE reports it as its data.
  const std::uint8_t operation = request.operation();
  if (operation != 0x12 && operation != 0xA0 && operation != 0x03) {
    if (const auto attention = takeAttention()) throw CheckCondition{*attention};
  }
  beforeCommand(request);
  command.handler(request);
}

void VirtualDevice::requestSense(ScsiRequest& request) {
  if (request.cdb[1] & 1) invalidField(1);  // descriptor format
  const auto attention = takeAttention();
  request.reply((attention ? *attention : idleSense()).bytes(), request.cdb[4]);
}

void VirtualDevice::reportLuns(ScsiRequest& request) {
  const std::uint32_t allocation = request.cdb32(6);
  if (request.cdb[2] > 2 || allocation < 16) invalidField(2);
  std::vector<std::uint8_t> luns{0};
  for (const auto& other : room_.devices()) {
    const DeviceOptions& o = other->options();
    if (o.adapter == options_.adapter && o.bus == options_.bus && o.target == options_.target && o.lun != 0) {
      luns.push_back(o.lun);
    }
  }
  std::sort(luns.begin(), luns.end());
  if (request.cdb[2] == 1) luns.clear();  // there are no well known logical units
  Bytes data(8 + 8 * luns.size());
  put32(data, 0, 8 * luns.size());
  for (std::size_t i = 0; i < luns.size(); ++i) data[8 + 8 * i + 1] = luns[i];
  request.reply(std::move(data), allocation);
}

}  // namespace simulator
