// A scan through every path, answered from a recording: one whose answers the input changes, or one that is
// the input itself. It is masked, too. Five bytes are a change: which line, which of its fields, where in
// that, and the new value.
#include <cstdint>
#include <sstream>

#include "kiv/changer/commands.h"
#include "kiv/device/controller.h"
#include "kiv/library/drive_mapping.h"
#include "simulator/recording/mask.h"
#include "simulator/recording/player.h"
#include "simulator/recording/recorder.h"
#include "simulator/room/room.h"

using simulator::recording::Json;
using simulator::recording::Recording;

namespace {

void scan() {
  DeviceController controller;
  controller.rediscoverSCSIBus(true, "", "", "");
  for (ScsiTarget* target : controller.getDeviceList()) {
    target->openDevice();
    target->queryHostAdapterInformation();
    ChangerCmdReadElementStatus elements(ELEMENT_DATA_TRANSFER, 0, 100, true, true, 4096);
    target->scsiExecCDB(elements);
    target->closeDevice();
  }
  std::vector<DriveMapping> map;
  ChangerDriveMapping().getMapping(controller, map);
}

Recording recordedScan() {
  simulator::Room room;
  const simulator::DriverOptions driver;
  auto& first = room.addDrive({.target = 1, .serial = "1068000451"}, {.cartridge = true});
  auto& second = room.addDrive({.target = 2, .serial = "1068000452", .claimed = true, .driver = driver});
  room.addChanger({.target = 3}, {.drives = {0x0100, 1}, .bays = {&first}});
  room.addChanger({.target = 4, .claimed = true, .driver = driver},
                  {.drives = {0x0100, 1}, .bays = {&second}});
  std::stringstream text;
  {
    const simulator::recording::Recorder recorder(text, Json::object());
    scan();
  }
  return simulator::recording::readRecordings(text).at(0);
}

void change(Json& field, std::size_t at, std::uint8_t value) {
  if (field.is_number()) {
    constexpr std::uint32_t numbers[] = {0, 1, 2, 0xFF, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF};
    field = at < std::size(numbers) ? numbers[at] : value;
    return;
  }
  auto bytes = simulator::recording::fromHex(field.get_ref<const std::string&>());
  if (!bytes) {
    field = field.get<std::string>().substr(0, value);
    return;
  }
  if (at >= bytes->size()) bytes->resize(at + 1);
  (*bytes)[at] = value;
  field = simulator::toHex(*bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Recording good = recordedScan();
  Recording recording = good;
  if (size > 0 && data[0] == '{') {
    std::istringstream text(std::string(data, data + size));
    try {
      recording = simulator::recording::readRecordings(text).at(0);
    } catch (const std::runtime_error&) {
      return 0;
    }
  } else {
    for (; size >= 5; data += 5, size -= 5) {
      Json& answered = recording.lines[(data[0] << 8 | data[1]) % recording.lines.size()].answered;
      if (answered.empty()) continue;
      auto field = answered.begin();
      std::advance(field, data[2] % answered.size());
      change(*field, data[3], data[4]);
    }
  }
  simulator::recording::masked({recording});
  const simulator::recording::Player player(std::move(recording));
  scan();
  return 0;
}
