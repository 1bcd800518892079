#include "host/simulation.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/core/result.h"
#include "simulator/devices/firmware_image.h"
#include "simulator/room/room.h"

namespace host {
namespace {

/// A minute of the room takes three seconds: an update is over soon, and can still be watched.
constexpr double realTimeFactor = 0.05;

std::string readRoom(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(in), {}};
  if (!in) throw HostError(fmt::format("The room {} cannot be read: name a JSON file with --room.", file));
  return text;
}

void write(const std::string& file, const void* data, std::size_t size) {
  std::ofstream out(file, std::ios::binary);
  out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (!out.flush()) throw HostError(fmt::format("{} cannot be written: choose another file.", file));
}

std::unique_ptr<simulator::Room> buildRoom(const std::string& file, const std::string& description) {
  try {
    return simulator::Room::fromJson(description);
  } catch (const std::runtime_error& error) {
    throw HostError(fmt::format("The room {} makes no sense: {}", file, error.what()));
  }
}

}  // namespace

Simulation::Simulation(const std::string& roomFile)
    : file_(roomFile),
      description_(file_.empty() ? simulator::Room::defaultJson() : readRoom(file_)),
      room_(buildRoom(file_, description_)) {
  room_->clock().setRealTimeFactor(realTimeFactor);
  // A real drive takes its time for every chunk of an image.
  room_->addFault({.cdb = "3B", .times = 0, .delay = 1});
}

Simulation::~Simulation() = default;

void Simulation::keep() const {
  using Json = nlohmann::ordered_json;
  if (file_.empty()) return;
  Json description = Json::parse(description_);
  const Json before = description;
  std::size_t next = 0;
  for (const auto& device : room_->devices()) {
    const auto* drive = dynamic_cast<const simulator::VirtualDrive*>(device.get());
    if (!drive) continue;
    description.at("drives").at(next++)["level"] = drive->level();
  }
  if (description == before) return;
  const std::string text = description.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
  write(file_, text.data(), text.size());
}

void makeRoom(const std::string& file) {
  const std::string text = std::string(simulator::Room::defaultJson()) + '\n';
  write(file, text.data(), text.size());
}

void makeImage(const std::string& file, const std::string& level, std::size_t size) {
  if (level.size() != 4) throw HostError("A firmware level has four characters: choose one like E6Q4.");
  if (size < simulator::firmwareHeaderSize)
    throw HostError(
        fmt::format("An image has {} bytes or more: choose a larger size.", simulator::firmwareHeaderSize));
  const simulator::Bytes image = simulator::makeFirmwareImage(level, size);
  write(file, image.data(), image.size());
}

}  // namespace host
