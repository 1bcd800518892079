// Mode pages with their default, changeable, current and saved values (SPC-4 7.5).
#pragma once

#include <cstdint>
#include <vector>

#include "simulator/devices/scsi.h"

namespace simulator {

/// One page. The values include its header of two bytes, or of four with a subpage code; the PS bit is clear.
struct ModePage {
  std::uint8_t code = 0;
  std::uint8_t subpage = 0;
  Bytes changeable{};  ///< a mask as long as the page, its header bits clear
  Bytes defaults{};
  Bytes current{};
  Bytes saved{};
};

class ModePages {
 public:
  enum class Saving { Possible, Never };
  explicit ModePages(Saving saving = Saving::Possible) : saving_(saving) {}
  /// Adds a page from what follows its header. The shorter of both is filled up with zeros.
  void add(std::uint8_t code, std::uint8_t subpage, Bytes content, Bytes changeable);
  void remove(std::uint8_t code, std::uint8_t subpage);
  bool has(std::uint8_t code, std::uint8_t subpage = 0) const;
  /// The current values, header included. The page must be there.
  Bytes& current(std::uint8_t code, std::uint8_t subpage = 0);
  const Bytes& current(std::uint8_t code, std::uint8_t subpage = 0) const;

  /// The pages that MODE SENSE returns for its page control (0 to 3), page and subpage code. Throws
  /// CheckCondition.
  Bytes sense(std::uint8_t control, std::uint8_t code, std::uint8_t subpage) const;
  /// Checks and applies the pages of a MODE SELECT list, which begin at `at` in it. All or nothing.
  void select(std::span<const std::uint8_t> list, std::size_t at, bool save);
  /// Current values become the saved ones, as after a reset.
  void reset();

 private:
  const ModePage* find(std::uint8_t code, std::uint8_t subpage) const;

  Saving saving_;
  std::vector<ModePage> pages_;  // in ascending order of page and subpage code
};

}  // namespace simulator
