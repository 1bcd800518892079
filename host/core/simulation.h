#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace simulator {
class Room;
}

namespace host {

/// A simulated tape room instead of the real hardware, for as long as this object lives. The library is
/// loaded before.
class Simulation {
 public:
  /// The room that a JSON file describes, or the built-in one for an empty name. Throws HostError.
  explicit Simulation(const std::string& roomFile);
  ~Simulation();

  /// Writes a level that has changed since the last call to the room's file, if it has one. The other paths
  /// to the drive get it, too.
  void keepLevels();

 private:
  std::vector<std::string> levels() const;

  std::filesystem::path file_;
  std::string description_;  ///< JSON
  std::unique_ptr<simulator::Room> room_;
  std::vector<std::string> keptLevels_;
};

/// Writes the built-in room to a JSON file, as a start for other rooms. Throws HostError for a file that is
/// there, unless it is to be replaced.
void makeRoom(const std::string& file, bool replace);

/// Writes a firmware image that the simulated drives accept. Throws HostError.
void makeImage(const std::string& file, const std::string& level, std::size_t size);

}  // namespace host
