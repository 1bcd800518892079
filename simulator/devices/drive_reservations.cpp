// Reservations: RESERVE and RELEASE (6), PERSISTENT RESERVE IN and OUT (SPC-4 6.14, 6.15).
#include "simulator/room/room.h"

namespace simulator {

void VirtualDrive::addReservationCommands() {
  onCommand(0x16, {0xFF, 0, 0, 0, 0, 0}, [this](ScsiRequest&) { reserved_ = true; });
  onCommand(0x17, {0xFF, 0, 0, 0, 0, 0}, [this](ScsiRequest&) { reserved_ = false; });
  const Bytes in{0xFF, 0x1F, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0};
  onCommand(0x5E, in, &VirtualDrive::persistentReserveIn);
  const Bytes out{0xFF, 0x1F, 0xFF, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0};
  onCommand(0x5F, out, &VirtualDrive::persistentReserveOut);
}

void VirtualDrive::persistentReserveIn(ScsiRequest& request) {
  Bytes data(8);
  put32(data, 0, persistent_.generation);
  switch (request.cdb[1] & 0x1F) {
    case 0:  // read keys
      if (persistent_.key != 0) put64(data, 8, persistent_.key);
      put32(data, 4, data.size() - 8);
      break;
    case 1:  // read reservation
      if (persistent_.type != 0) {
        put64(data, 8, persistent_.key);
        data.resize(24);
        data[21] = persistent_.type;
      }
      put32(data, 4, data.size() - 8);
      break;
    case 2:  // report capabilities: type mask valid, the six types
      data = {0, 8, 0, 0x80, 0xEA, 0x01, 0, 0};
      break;
    default:
      invalidField(1);
  }
  request.reply(std::move(data), request.cdb16(7));
}

void VirtualDrive::persistentReserveOut(ScsiRequest& request) {
  if (request.cdb32(5) != 24) parameterListLengthError();
  const auto list = request.parameterList(24);
  const std::uint64_t key = readNumber(list, 0, 8);
  const std::uint64_t newKey = readNumber(list, 8, 8);
  const std::uint8_t action = request.cdb[1] & 0x1F;
  constexpr std::uint8_t registerKey = 0, reserve = 1, release = 2, clear = 3, registerAndIgnore = 6;
  // Whoever does not show the key it registered with has no say.
  if (action != registerAndIgnore && key != persistent_.key) throw StatusOnly{statusReservationConflict};
  switch (action) {
    case registerKey:
    case registerAndIgnore:
      persistent_.key = newKey;
      if (newKey == 0) persistent_.type = 0;
      ++persistent_.generation;
      break;
    case reserve: {
      const std::uint8_t type = request.cdb[2] & 0x0F;
      if ((request.cdb[2] & 0xF0) || type == 0 || type == 2 || type == 4 || type > 8) invalidField(2);
      if (persistent_.key == 0) throw StatusOnly{statusReservationConflict};
      if (persistent_.type != 0 && persistent_.type != type) throw StatusOnly{statusReservationConflict};
      persistent_.type = type;
      break;
    }
    case release:
      if (persistent_.type != 0 && persistent_.type != (request.cdb[2] & 0x0F)) {
        refuse(5, 0x26, 0x04);  // invalid release
      }
      persistent_.type = 0;
      break;
    case clear:
      persistent_ = {.generation = persistent_.generation + 1};
      break;
    default:
      invalidField(1);
  }
}

}  // namespace simulator
