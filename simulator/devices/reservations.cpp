// RESERVE and RELEASE (SPC-2), PERSISTENT RESERVE IN and OUT (SPC-4 6.14, 6.15). The host is the only
// initiator that speaks here: whoever else holds a reservation is told by the room.
#include "simulator/devices/medium_device.h"

namespace simulator {

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

  const auto out = [this](std::uint8_t action, bool showsKey, auto change) {
    const Bytes usage{0xFF, 0, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    onServiceAction(0x5F, action, usage, [this, showsKey, change](ScsiRequest& request) {
      if (request.cdb32(5) != 24) parameterListLengthError();
      const auto list = request.parameterList(24);
      if (list[20] & 0x01) invalidParameter(20);  // reservations do not survive a loss of power
      const ReserveOut asked{readNumber(list, 0, 8), readNumber(list, 8, 8), request.cdb[2]};
      // Whoever does not show the key it registered with has no say.
      if (showsKey && asked.key != persistent_.key) throw StatusOnly{statusReservationConflict};
      (this->*change)(asked);
    });
  };
  out(0x00, true, &MediumDevice::registerKey);
  out(0x01, true, &MediumDevice::reservePersistently);
  out(0x02, true, &MediumDevice::releasePersistently);
  out(0x03, true, &MediumDevice::clearReservations);
  out(0x04, true, &MediumDevice::preempt);
  out(0x05, true, &MediumDevice::preempt);
  out(0x06, false, &MediumDevice::registerKey);
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
  const std::uint8_t type = asked.type;
  if (type == 0 || type == 2 || type == 4 || type > 8) invalidField(2);  // scope, and types that are none
  if (persistent_.key == 0) throw StatusOnly{statusReservationConflict};
  if (persistent_.type != 0 && persistent_.type != type) throw StatusOnly{statusReservationConflict};
  persistent_.type = type;
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
  persistent_.type = 0;
  reservePersistently(asked);
  ++persistent_.generation;
}

}  // namespace simulator
