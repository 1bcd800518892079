#include "host/simulation.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

#include "host/core/result.h"
#include "simulator/firmware_image.h"
#include "simulator/room.h"

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

std::unique_ptr<simulator::Room> makeRoom(const std::string& file) {
  if (file.empty()) return simulator::Room::byDefault();
  const std::string text = readRoom(file);
  try {
    return simulator::Room::fromJson(text);
  } catch (const std::runtime_error& error) {
    throw HostError(fmt::format("The room {} makes no sense: {}", file, error.what()));
  }
}

}  // namespace

Simulation::Simulation(const std::string& roomFile) : room_(makeRoom(roomFile)) {
  room_->clock().setRealTimeFactor(realTimeFactor);
  // A real drive takes its time for every chunk of an image.
  room_->addFault({.cdb = "3B", .times = 0, .delay = 1});
}

Simulation::~Simulation() = default;

void makeImage(const std::string& file, const std::string& level, std::size_t size) {
  if (level.size() != 4) throw HostError("A firmware level has four characters: choose one like E6Q4.");
  if (size < simulator::firmwareHeaderSize)
    throw HostError(
        fmt::format("An image has {} bytes or more: choose a larger size.", simulator::firmwareHeaderSize));
  const simulator::Bytes image = simulator::makeFirmwareImage(level, size);
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
  if (!out.flush()) throw HostError(fmt::format("{} cannot be written: choose another file.", file));
}

}  // namespace host
