// An LTO tape drive.
#pragma once

#include <optional>
#include <string>

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
  bool stuckCartridge = false;        ///< it cannot be unloaded: a hardware error from then on
  bool automationReady = false;       ///< fit for use in a library (the feature bit is clear)
  std::uint32_t loadId = 0xA0000001;  ///< VPD page 0x03, bytes 8 to 11
  AfterDownload afterDownload = AfterDownload::Returns;
  std::uint32_t rebootSeconds = 40;         ///< away after a download
  std::uint32_t becomingReadySeconds = 10;  ///< then 2/04/01 for so long
  std::uint32_t loadSeconds = 0;            ///< that LOAD and UNLOAD take
};

class VirtualDrive : public VirtualDevice {
 public:
  VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options);

  bool loaded() const { return loaded_; }
  /// Puts a cartridge in, as a hand or a robot does: the next command meets a unit attention (6/28/00).
  void loadCartridge();
  void removeCartridge();
  void setStuckCartridge(bool stuck) { stuck_ = stuck; }

  /// Contents of a READ BUFFER buffer; an absent buffer is refused.
  void setBuffer(std::uint8_t id, Bytes contents) { buffers_[id] = std::move(contents); }
  /// Bytes of the last firmware image that arrived.
  const Bytes& downloaded() const { return image_; }
  /// Power cycle or reset: away for the reboot time, then becoming ready.
  void reboot();

 protected:
  void checkReady() override;

 private:
  void addCommands();

  DriveOptions drive_;
  bool loaded_;
  bool stuck_;
  std::map<std::uint8_t, Bytes> buffers_;
  Bytes image_;
};

}  // namespace simulator
