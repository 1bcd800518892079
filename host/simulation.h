#pragma once

#include <memory>
#include <string>

namespace simulator {
class Room;
}

namespace host {

/// A simulated tape room instead of the real hardware, for as long as this object lives. The library is
/// loaded before and unloaded after.
class Simulation {
 public:
  /// The room that a JSON file describes, or the built-in one for an empty name. Throws HostError.
  explicit Simulation(const std::string& roomFile);
  ~Simulation();

  /// Writes what has become of the drives, their levels and cartridges, back to the room's file, if it has
  /// one.
  void keep() const;

 private:
  std::string file_;
  std::string description_;  ///< JSON
  std::unique_ptr<simulator::Room> room_;
};

/// Writes the built-in room to a JSON file, as a start for other rooms. Throws HostError.
void makeRoom(const std::string& file);

/// Writes a firmware image that the simulated drives accept. Throws HostError.
void makeImage(const std::string& file, const std::string& level, std::size_t size);

}  // namespace host
