// An LTO tape drive.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "simulator/drive_models.h"
#include "simulator/medium.h"
#include "simulator/virtual_device.h"

namespace simulator {

/// What a drive does once the last byte of new firmware has arrived.
enum class AfterDownload {
  Returns,          ///< goes away while it reboots and comes back
  LostUntilRescan,  ///< the port driver loses it; a bus rescan after the reboot brings it back
  NeverReturns,
};

/// How a drive behaves; where it is and what it calls itself stands in DeviceOptions.
struct DriveOptions {
  bool cartridge = false;             ///< a cartridge is loaded
  bool stuckCartridge = false;        ///< it cannot be unloaded: a hardware error from the attempt on
  bool automationReady = false;       ///< fit for use in a library (the feature bit is clear)
  std::uint32_t loadId = 0xA0000001;  ///< VPD page 0x03, bytes 8 to 11
  AfterDownload afterDownload = AfterDownload::Returns;
  std::uint32_t rebootSeconds = 40;        ///< away after a download
  std::uint32_t becomingReadySeconds = 1;  ///< then 2/04/01 for so long
  std::uint32_t loadSeconds = 0;           ///< that LOAD and UNLOAD take
};

class VirtualDrive : public VirtualDevice {
 public:
  VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options);

  const DriveModel& model() const { return model_; }
  DriveOptions& behaviour() { return drive_; }

  /// The cartridge in the drive, loaded or not; null without one.
  Medium* medium() const { return medium_.get(); }
  bool loaded() const { return medium_ && loaded_; }
  /// Puts a cartridge in, as a hand or a robot does: it is loaded, and the next command meets 6/28/00.
  void insert(std::unique_ptr<Medium> medium);
  /// Inserts a blank cartridge of the drive's own generation.
  void insertBlank();
  /// Takes the cartridge out, whatever the drive was doing with it. Null without one.
  std::unique_ptr<Medium> remove();
  void setStuckCartridge(bool stuck) { drive_.stuckCartridge = stuck; }

  /// Contents of a READ BUFFER buffer; an absent buffer is refused.
  void setBuffer(std::uint8_t id, Bytes contents) { buffers_[id] = std::move(contents); }
  void removeBuffer(std::uint8_t id) { buffers_.erase(id); }
  /// What arrived of the last firmware image.
  const Bytes& downloaded() const { return image_; }
  /// Power cycle or reset: away for the reboot time, then becoming ready.
  void reboot();

  /// Another host has reserved the drive: its commands end with RESERVATION CONFLICT.
  void setReservedByOther(bool reserved) { reservedByOther_ = reserved; }
  bool reserved() const { return reserved_; }
  bool removalPrevented() const { return removalPrevented_; }

 protected:
  void checkReady() override;
  void beforeCommand(const ScsiRequest& request) override;

 private:
  // Each adds the commands of one topic; in the source file of that name.
  void addCartridgeCommands();
  void addFirmwareCommands();

  void loadUnload(ScsiRequest& request);
  void readBuffer(ScsiRequest& request);
  void writeBuffer(ScsiRequest& request);
  void checkFirmwareHeader(std::span<const std::uint8_t> chunk) const;
  void finishDownload();

  DriveOptions drive_;
  const DriveModel& model_;
  std::unique_ptr<Medium> medium_;
  bool loaded_ = false;
  bool jammed_ = false;
  bool removalPrevented_ = false;
  bool reserved_ = false;
  bool reservedByOther_ = false;
  std::int64_t readyAt_ = 0;  ///< milliseconds; until then the drive is becoming ready
  std::map<std::uint8_t, Bytes> buffers_;
  Bytes image_;
};

/// The named-entry records of a feature buffer: one entry with a 32-bit number.
Bytes namedEntryBuffer(const std::string& name, std::uint32_t value);

}  // namespace simulator
