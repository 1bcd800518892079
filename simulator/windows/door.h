#pragma once

namespace simulator {

/// Stands while control is behind the door, in the simulator. Outside of every one of these it is the
/// library's: so whoever takes memory away from the library spares the simulator.
class BehindDoor {
 public:
  BehindDoor() { ++depth; }
  ~BehindDoor() { --depth; }
  BehindDoor(const BehindDoor&) = delete;
  BehindDoor& operator=(const BehindDoor&) = delete;

  static bool isControl() { return depth > 0; }

 private:
  static inline thread_local int depth = 0;
};

}  // namespace simulator
