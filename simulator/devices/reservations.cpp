// RESERVE and RELEASE (SPC-2), PERSISTENT RESERVE IN and OUT (SPC-4 6.14, 6.15). The host is the only
// initiator that speaks here: whoever else holds a reservation is told by the room.
#include "simulator/devices/medium_device.h"

namespace simulator {
namespace {

constexpr std::uint8_t doRegister = 0x00;
constexpr std::uint8_t registerAndIgnoreKey = 0x06;

/// Of the logical unit, the only scope that there is.
bool isReservationType(std::uint8_t type) { return type == 1 || type == 3 || (type >= 5 && type <= 8); }

}  // namespace

void MediumDevice::addReservationCommands() {
  const Bytes six{0xFF, 0, 0, 0, 0, 0};
  const Bytes ten{0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const auto reserve = [this](bool on) { return [this, on](ScsiRequest&) { reserved_ = on; }; };
  onCommand(0x16, six, reserve(true));
  onCommand(0x17, six, reserve(false));
  onCommand(0x56, ten, reserve(true));
  onCommand(0x57, ten, reserve(false));

  const auto in = [this](std::uint8_t action, auto content) {
    onServiceAction(0x5E, action, {0xFF, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0},
                    [this, content](ScsiRequest& request) {
                      Bytes data = bigEndian(4, persistent_.generation);
                      const Bytes rest = (this->*content)();
                      append(data, bigEndian(4, rest.size()));
                      append(data, rest);
                      request.reply(std::move(data), request.cdb16(7));
                    });
  };
  in(0x00, &MediumDevice::reservationKeys);
  in(0x01, &MediumDevice::reservation);
  in(0x03, &MediumDevice::fullStatus);
  // Capabilities: type mask valid, the six types.
  onServiceAction(0x5E, 0x02, {0xFF, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0}, [](ScsiRequest& request) {
    request.reply({0, 8, 0, 0x80, 0xEA, 0x01, 0, 0}, request.cdb16(7));
  });

  const auto out = [this](std::uint8_t action, auto change) {
    const Bytes usage{0xFF, 0, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    onServiceAction(0x5F, action, usage, [this, action, change](ScsiRequest& request) {
      if (request.cdb32(5) != 24) parameterListLengthError();
      const auto list = request.parameterList(24);
      if (list[20] & 0x01) invalidParameter(20);  // reservations do not survive a loss of power
      const ReserveOut asked{readNumber(list, 0, 8), readNumber(list, 8, 8), request.cdb[2]};
      // Whoever has not registered, or does not show the key it registered with, has no say.
      const bool registered = asked.key == persistent_.key && (persistent_.key != 0 || action == doRegister);
      if (!registered && action != registerAndIgnoreKey) throw StatusOnly{statusReservationConflict};
      (this->*change)(asked);
    });
  };
  out(doRegister, &MediumDevice::registerKey);
  out(0x01, &MediumDevice::reservePersistently);
  out(0x02, &MediumDevice::releasePersistently);
  out(0x03, &MediumDevice::clearReservations);
  out(0x04, &MediumDevice::preempt);
  out(0x05, &MediumDevice::preempt);
  out(registerAndIgnoreKey, &MediumDevice::registerKey);
}

Bytes MediumDevice::reservationKeys() const {
  return persistent_.key == 0 ? Bytes{} : bigEndian(8, persistent_.key);
}

Bytes MediumDevice::reservation() const {
  if (persistent_.type == 0) return {};
  Bytes data = bigEndian(8, persistent_.key);
  append(data, {0, 0, 0, 0, 0, persistent_.type, 0, 0});
  return data;
}

Bytes MediumDevice::fullStatus() const {
  if (persistent_.key == 0) return {};
  Bytes data = bigEndian(8, persistent_.key);
  append(data, {0, 0, 0, 0, flag(persistent_.type != 0, 0), persistent_.type, 0, 0, 0, 0});
  append(data, bigEndian(2, relativePort()));
  const Bytes port = initiatorPort();
  append(data, bigEndian(4, port.size()));
  append(data, port);
  return data;
}

void MediumDevice::registerKey(const ReserveOut& asked) {
  persistent_.key = asked.newKey;
  if (asked.newKey == 0) persistent_.type = 0;
  ++persistent_.generation;
}

void MediumDevice::reservePersistently(const ReserveOut& asked) {
  if (!isReservationType(asked.type)) invalidField(2);
  if (persistent_.type != 0 && persistent_.type != asked.type) throw StatusOnly{statusReservationConflict};
  persistent_.type = asked.type;
}

void MediumDevice::releasePersistently(const ReserveOut& asked) {
  if (persistent_.type != 0 && persistent_.type != asked.type) refuse(5, 0x26, 0x04);  // invalid release
  persistent_.type = 0;
}

void MediumDevice::clearReservations(const ReserveOut&) {
  persistent_ = {.generation = persistent_.generation + 1};
}

/// There is nobody but the holder itself to be preempted.
void MediumDevice::preempt(const ReserveOut& asked) {
  if (asked.newKey == 0 || asked.newKey != persistent_.key) throw StatusOnly{statusReservationConflict};
  if (!isReservationType(asked.type)) invalidField(2);
  persistent_.type = asked.type;
  ++persistent_.generation;
}

}  // namespace simulator
