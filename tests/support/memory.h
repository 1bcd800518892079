#pragma once

/// Takes memory away from the library for one scope, and from nobody else: allocations behind the door, in
/// the simulator, are neither counted nor refused. Only where the library is linked in, which is on Linux.
class MemoryShortage {
 public:
  /// Refuses the allocation `first`, counted from 1, and those behind it until `count` are refused; 0 only
  /// counts them.
  explicit MemoryShortage(unsigned long first = 0, unsigned long count = 1);
  ~MemoryShortage();
  MemoryShortage(const MemoryShortage&) = delete;
  MemoryShortage& operator=(const MemoryShortage&) = delete;

  /// How many allocations were asked for in the last scope.
  static unsigned long asked();
};
