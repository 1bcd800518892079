#include "host/core/simulation.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/core/error.h"
#include "host/core/text.h"
#include "host/platform/platform.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

namespace host {
namespace {

/// A minute of the room takes three seconds: an update is over soon, and can still be watched.
constexpr double realTimeFactor = 0.05;

std::unique_ptr<simulator::Room> buildRoom(const std::filesystem::path& file,
                                           const std::string& description) {
  try {
    return simulator::Room::fromJson(description);
  } catch (const std::runtime_error& error) {
    throw HostError(exitUsage, fmt::format("The room {} makes no sense: {}", fromPath(file), error.what()));
  }
}

}  // namespace

Simulation::Simulation(const std::string& roomFile)
    : file_(toPath(roomFile)),
      description_(roomFile.empty() ? std::string(simulator::Room::defaultJson())
                                    : readFile(file_, "The room")),
      room_(buildRoom(file_, description_)),
      keptLevels_(levels()) {
  if (!room_->clock().isPaced()) room_->clock().setRealTimeFactor(realTimeFactor);
  // A real drive takes its time for every chunk of an image.
  room_->addFault({.cdb = "3B", .times = 0, .delay = 1});
  platform::enterRoom();
}

Simulation::~Simulation() = default;

std::vector<std::string> Simulation::levels() const {
  std::vector<std::string> levels;
  for (const auto& device : room_->devices())
    if (dynamic_cast<const simulator::VirtualDrive*>(device.get())) levels.push_back(device->level());
  return levels;
}

void Simulation::keepLevels() {
  using Json = nlohmann::ordered_json;
  const std::vector<std::string> now = levels();
  if (file_.empty() || now == keptLevels_) return;
  Json description = Json::parse(description_);
  Json& drives = description.at("drives");
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] == keptLevels_[i]) continue;
    drives[i]["level"] = now[i];
    const std::string serial = drives[i].value("serial", "");
    for (Json& other : drives)
      if (!serial.empty() && other.value("serial", "") == serial) other["level"] = now[i];
  }
  description_ = description.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
  replaceFile(file_, description_);
  keptLevels_ = now;
}

void makeRoom(const std::string& file, bool replace) {
  std::error_code error;
  if (!replace && std::filesystem::exists(toPath(file), error))
    throw HostError(exitUsage,
                    fmt::format("{} is there already: choose another file, or add --force.", file));
  replaceFile(toPath(file), std::string(simulator::Room::defaultJson()) + '\n');
}

void makeImage(const std::string& file, const std::string& level, std::size_t size) {
  if (level.size() != 4)
    throw HostError(exitUsage,
                    fmt::format("LEVEL {} is no level: choose four characters, like E6Q4.", level));
  if (size < simulator::firmwareHeaderSize)
    throw HostError(exitUsage, fmt::format("SIZE {} is too small: an image has {} bytes or more.", size,
                                           simulator::firmwareHeaderSize));
  const simulator::Bytes image = simulator::makeFirmwareImage(level, size);
  replaceFile(toPath(file), {reinterpret_cast<const char*>(image.data()), image.size()});
}

}  // namespace host
