#include "simulator/room.h"
namespace simulator {
std::unique_ptr<Room> Room::byDefault() {
  auto room = std::make_unique<Room>();
  room->addDrive({.target = 1});
  return room;
}
}  // namespace simulator
