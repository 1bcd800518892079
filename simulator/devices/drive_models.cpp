#include "simulator/devices/drive_models.h"

#include <algorithm>
#include <iterator>

namespace simulator {

constexpr DriveModel models[] = {
    // marker gen oldest density  bits  tracks  capacity extra type buffer offset
    {"PX1", 1, 1, 0x40, 4880, 384, 100000, 0, 0, 3, 104},
    {"PX2", 2, 1, 0x42, 7398, 512, 200000, 0, 0, 3, 6403},
    {"PX3", 3, 1, 0x44, 9638, 704, 400000, 0, 0, 3, 403},
    {"RX3", 3, 1, 0x44, 9638, 704, 400000, 0, 0, 3, 403},
    {"PX4", 4, 2, 0x46, 12725, 896, 800000, 0, 0, 3, 403},
    {"RX4", 4, 2, 0x46, 12725, 896, 800000, 0, 0, 3, 403},
    {"PX5", 5, 3, 0x58, 15142, 1280, 1500000, 1, 0, 3, 471},
    {"RX5", 5, 3, 0x58, 15142, 1280, 1500000, 1, 0, 3, 471},
    {"PX6", 6, 4, 0x5A, 15143, 2176, 2500000, 3, 0, 3, 0},
    {"RX6", 6, 4, 0x5A, 15143, 2176, 2500000, 3, 0, 3, 0},
    {"PX7", 7, 5, 0x5C, 19107, 3584, 6000000, 3, 0, 3, 0},
    {"RX7", 7, 5, 0x5C, 19107, 3584, 6000000, 3, 0, 3, 0},
    {"PX8", 8, 7, 0x5E, 20669, 6656, 12000000, 3, 0, 3, 0},
    {"RX8", 8, 7, 0x5E, 20669, 6656, 12000000, 3, 0, 3, 0},
    {"W11", 6, 4, 0x5A, 15143, 2176, 2500000, 3, 0, 7, 0},
    {"R477", 6, 4, 0x5A, 15143, 2176, 2500000, 3, 1, 3, 0},
};

const DriveModel& driveModel(std::string_view product) {
  const auto matches = [&](std::string_view wanted) {
    return [wanted](const DriveModel& model) { return wanted.find(model.marker) != std::string_view::npos; };
  };
  const auto found = std::find_if(std::begin(models), std::end(models), matches(product));
  return found != std::end(models) ? *found
                                   : *std::find_if(std::begin(models), std::end(models), matches("PX6"));
}

std::uint8_t generationOf(std::uint8_t densityCode) {
  const auto found = std::find_if(std::begin(models), std::end(models),
                                  [=](const DriveModel& model) { return model.densityCode == densityCode; });
  return found == std::end(models) ? std::uint8_t{0} : found->generation;
}

}  // namespace simulator
