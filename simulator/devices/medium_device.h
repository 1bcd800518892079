// What drives and libraries have in common: mode pages, log pages, reservations, held cartridges.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <vector>

#include "simulator/devices/mode_pages.h"
#include "simulator/devices/virtual_device.h"

namespace simulator {

/// One parameter of a log page (SPC-4 7.3.2).
struct LogParameter {
  std::uint16_t code = 0;
  std::uint8_t control = 0;
  Bytes value{};
};
using LogParameters = std::vector<LogParameter>;

/// A counter as a log parameter of `width` bytes.
struct LogCounter {
  std::uint16_t code;
  std::size_t width;
  std::uint64_t value;
};

class MediumDevice : public VirtualDevice {
 public:
  /// The mode pages, to look at or to replace.
  ModePages& modes() { return modes_; }
  /// Answers LOG SENSE for this page with these parameters, in ascending order of their codes.
  void setLogPage(std::uint8_t page, LogParameters parameters);
  bool removalPrevented() const { return removalPrevented_; }
  bool reserved() const { return reserved_; }

 protected:
  MediumDevice(Room& room, PeripheralType type, DeviceOptions options, ModePages modes);

  // mode_commands.cpp
  /// What stands in mode data in front of the pages. A device without block descriptors leaves them empty.
  struct ModeHeader {
    std::uint8_t mediumType = 0;
    std::uint8_t deviceSpecific = 0;
    Bytes blockDescriptors{};
  };
  virtual ModeHeader modeHeader(bool /*changeable*/) const { return {}; }
  void modeSense(ScsiRequest& request);

  // log_commands.cpp
  using LogPage = std::function<LogParameters()>;
  void onLogPage(std::uint8_t page, LogPage content) { logPages_[page] = std::move(content); }
  bool hasLogPage(std::uint8_t page) const { return logPages_.contains(page); }
  static LogParameters counters(std::initializer_list<LogCounter> rows);
  /// A parameter that is a list of bits or the like, not a counter: format and linking 11b.
  static LogParameter list(std::uint16_t code, Bytes bytes) { return {code, 0x03, std::move(bytes)}; }
  /// The 64 TapeAlert flags, the first in the highest bit.
  virtual std::uint64_t tapeAlerts() const { return 0; }

  /// Power on or reset: mode pages as saved, nothing reserved or prevented.
  void resetState();

 private:
  struct PersistentReservation {
    std::uint32_t generation = 0;
    std::uint64_t key = 0;  ///< 0: not registered
    std::uint8_t type = 0;  ///< 0: not reserved
  };
  struct ReserveOut {
    std::uint64_t key;
    std::uint64_t newKey;
    std::uint8_t type;
  };

  void logSense(ScsiRequest& request);
  // reservations.cpp
  void addReservationCommands();
  Bytes reservationKeys() const;
  Bytes reservation() const;
  Bytes fullStatus() const;
  Bytes initiatorPort() const;
  void reservePersistently(const ReserveOut& request);
  void releasePersistently(const ReserveOut& request);
  void clearReservations(const ReserveOut& request);
  void preempt(const ReserveOut& request);
  void registerKey(const ReserveOut& request);

 protected:
  ModePages modes_;

 private:
  std::map<std::uint8_t, LogPage> logPages_;
  bool removalPrevented_ = false;
  bool reserved_ = false;
  PersistentReservation persistent_;
};

}  // namespace simulator
