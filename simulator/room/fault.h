// Faults as data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/devices/scsi.h"
#include "simulator/room/journal.h"

namespace simulator {

/// What goes wrong, and when. The use it strikes at is named by `cdb` or by `call`; uses are counted from the
/// moment the fault is added. Several effects may be combined.
struct Fault {
  /// Start of a CDB in hex, "12 01 83"; "??" stands for any byte.
  std::string cdb{};
  /// Name of a Windows call ("CreateFileA", "ReadFile", "SetTapePosition"; not "Sleep") or of a control
  /// request
  /// ("SCSI_RESCAN_BUS", or "0x001F6068" for one without a name).
  std::string call{};
  /// Only on this device: a handle name ("\\.\scsi0:", case-insensitive) or an address ("H0-B0-T5-L0").
  /// Empty: any.
  std::string device{};
  unsigned nth = 1;    ///< first use that it strikes at
  unsigned times = 1;  ///< how many uses in a row; 0 for all that follow

  // Effects.
  std::optional<Sense> sense{};          ///< CHECK CONDITION with this sense; the command is not carried out
  std::optional<std::uint8_t> status{};  ///< this SCSI status without sense; the command is not carried out
  std::optional<std::uint32_t>
      error{};              ///< the Windows call fails with this error number, nothing reaches the device
  std::uint32_t delay = 0;  ///< seconds that the use takes longer
  std::optional<std::uint32_t> transfer{};  ///< at most this many bytes are moved
  std::optional<Bytes> reply{};             ///< these bytes instead of the device's own data
  std::optional<std::uint32_t> vanish{};    ///< with `cdb`: the device is unreachable for so many seconds
};

/// The faults of a room, with their counters.
class Faults {
 public:
  void add(Fault fault) { armed_.push_back({std::move(fault), 0}); }
  void clear() { armed_.clear(); }
  /// The fault that strikes at this use, if any. Counts the use for every fault that it matches.
  const Fault* strike(const JournalEntry& use);

 private:
  struct Armed {
    Fault fault;
    unsigned uses;
  };
  std::vector<Armed> armed_;
};

}  // namespace simulator
