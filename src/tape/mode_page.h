#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kiv/device/driver_target.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/parameter_value.h"

/// A mode page with its place in the answer to MODE SENSE(6): behind the 4-byte mode parameter header, unless
/// block descriptors were asked for.
struct ModePage {
  std::uint8_t code;
  std::uint8_t subpage = 0;
  /// The drive saves what is selected, and takes the list without the page-format bit.
  bool saved = false;
};

inline constexpr ModePage DATA_COMPRESSION_PAGE{0x0F};
inline constexpr ModePage DEVICE_CONFIGURATION_PAGE{0x10};
inline constexpr ModePage DEVICE_CONFIGURATION_EXTENSION_PAGE{0x10, 0x01, true};
inline constexpr ModePage MEDIUM_PARTITION_PAGE{0x11};
inline constexpr ModePage POWER_CONDITION_PAGE{0x1A, 0x00, true};
inline constexpr ModePage SKIP_SYNC_PAGE{0x30, 0x40, true};
inline constexpr ModePage ARCHIVE_MODE_UNTHREAD_PAGE{0x30, 0x43, true};

inline constexpr bool WITH_BLOCK_DESCRIPTORS = true;

/// MODE SENSE(6) of a page's current values, asking for as much as the command can carry.
class SenseModePage : public ScsiCmdModeSense6 {
 public:
  SenseModePage(const ModePage& page, std::uint8_t senseBytes, bool blockDescriptors = false);
  /// The status of the execution.
  ReturnCode execute(ScsiTarget& target);
  /// The mode data that really arrived.
  std::span<const std::uint8_t> arrived() const { return ioDataSpan().first(arrivedLength); }
  /// Whether the bytes up to `end`, counted in the mode data, arrived.
  bool holds(std::size_t end) const { return arrivedLength >= end; }
  /// Whether the drive sent the page that was asked for, and it reaches to `end`. What was not sensed must
  /// not be selected: zeros in its place would change settings that nobody named.
  bool brought(const ModePage& page, std::size_t end) const;
  std::uint8_t operator[](std::size_t offset) const;

 private:
  std::size_t arrivedLength = 0;
};

/// MODE SELECT(6) of a page as it was sensed, less what is reserved in a selection: the mode data length and
/// the PS bit (of a page without subpages the SPF bit too).
class SelectModePage : public ScsiCmdModeSelect6 {
 public:
  SelectModePage(const ModePage& page, const SenseModePage& sensed);
  /// Selects the first `listLength` bytes of the mode data: a header with block descriptors.
  SelectModePage(std::size_t listLength, const SenseModePage& sensed);
  std::span<std::uint8_t> list() { return ioDataSpan(); }
};

/// Execute one step of a command that is made of several, which takes over the step's outcome and data. The
/// status of the step.
ReturnCode runStep(ScsiCommand& whole, ScsiTarget& target, SenseModePage& step);
ReturnCode runStep(ScsiCommand& whole, ScsiTarget& target, GenericScsiCommand& step);
ReturnCode runStep(ScsiCommand& whole, QORScsiTarget& driver, QORScsiCommand& step);

/// The driver target that serves a parameter; null where its mode page is sent, as that of the write cache
/// always is.
QORScsiTarget* driverForParameter(ScsiTarget* target, ParamType type);
