// What a scan knows of and could not open. The device list holds what was opened; this is the rest.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "device/inquiry_list.h"
#include "kiv/device/target.h"
#include "platform/win32.h"

/// A device path that Windows did not open, or whose device did not answer.
struct Refusal {
  std::string path;
  DWORD error;
};

/// Host adapter, bus, target, logical unit.
using ScsiAddress = std::array<std::uint64_t, 4>;

struct UnopenedDevice {
  /// On the way to the device, in the order of the tries, each path once. Those that say "not there" are left
  /// out.
  std::vector<Refusal> refusals;
  /// As the port driver lists it; without one the path of the first refusal is all that is known.
  std::optional<InquiryRecord> record;
  std::uint8_t hostAdapter = 0;  ///< of the record
};

/// Why a device that was opened may be another product than it seems.
struct Doubt {
  bool reserved;  ///< by another host, which is all that stands in the way
  DWORD error;
};

/// Collects them while it lives. One at a time.
class ScanWitness {
 public:
  ScanWitness() { current = this; }
  ~ScanWitness() { current = nullptr; }
  ScanWitness(const ScanWitness&) = delete;
  ScanWitness& operator=(const ScanWitness&) = delete;

  const std::vector<UnopenedDevice>& unopened() const { return devices; }
  /// Nothing when the device at this target's address answered all questions.
  std::optional<Doubt> doubtAbout(ScsiTarget& target) const;

  // For the scan; nothing happens without a witness.
  /// A try to open a device begins.
  static void begin();
  /// Windows refused something. The last error stays as it is.
  static void refused(const std::string& path, DWORD error);
  /// The try failed: of a device path, or of a device that a port driver lists.
  static void failed();
  static void failed(std::uint8_t hostAdapter, const InquiryRecord& record);
  /// A question that tells products apart failed. A device that does not know the question has answered.
  static void unanswered(ScsiTarget& target, const ScsiCommand& command);

 private:
  static inline ScanWitness* current = nullptr;
  std::vector<Refusal> refusals;
  std::vector<UnopenedDevice> devices;
  std::vector<std::pair<ScsiAddress, Doubt>> doubts;
};
