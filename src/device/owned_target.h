// Targets while nobody but the scan knows them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kiv/device/target.h"

/// Owners of targets close them before they delete them.
struct CloseAndDelete {
  void operator()(ScsiTarget* target) const {
    target->closeDevice();
    delete target;
  }
};
using OwnedTarget = std::unique_ptr<ScsiTarget, CloseAndDelete>;

/// Both open and identify a device; null when that fails.
OwnedTarget openDriverTarget(const char* name);
OwnedTarget openPassThroughTarget(std::uint8_t host, std::uint64_t targetId, std::uint8_t bus,
                                  std::uint64_t lun, const char* name);

/// Hands a target over to a list, closed. Returns it.
ScsiTarget& appendClosed(std::vector<ScsiTarget*>& list, OwnedTarget target);
