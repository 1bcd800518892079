// An LTO tape drive.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "simulator/devices/drive_models.h"
#include "simulator/devices/medium.h"
#include "simulator/devices/medium_device.h"

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
  bool reserved = false;              ///< another initiator holds a reservation of it
  bool removalPrevented = false;      ///< another initiator prevents the removal of cartridges
  bool automationReady = false;       ///< fit for use in a library (the feature bit is clear)
  std::uint32_t loadId = 0xA0000001;  ///< VPD page 0x03, bytes 8 to 11
  AfterDownload afterDownload = AfterDownload::Returns;
  std::uint32_t rebootSeconds = 40;        ///< away after a download
  std::uint32_t becomingReadySeconds = 1;  ///< then 2/04/01 for so long
  std::uint32_t loadSeconds = 0;           ///< that LOAD and UNLOAD take
  std::uint32_t formatSeconds = 0;         ///< that FORMAT MEDIUM takes
  std::uint32_t eraseSeconds = 0;          ///< that a long ERASE takes
};

/// What SPACE counts.
enum class SpaceCode : std::uint8_t { Blocks = 0, Filemarks = 1, SequentialFilemarks = 2, EndOfData = 3 };

class VirtualDrive : public MediumDevice {
 public:
  VirtualDrive(Room& room, DeviceOptions identity, DriveOptions options);

  /// The cartridge in the drive, loaded or not; null without one.
  Medium* medium() const { return medium_.get(); }
  bool loaded() const { return medium_ && loaded_; }
  /// Puts a cartridge in, as a hand or a robot does: it is loaded, and the next command meets 6/28/00.
  void insert(std::unique_ptr<Medium> medium);
  /// Inserts a blank cartridge of the drive's own generation.
  void insertBlank();
  /// Takes the cartridge out, whatever the drive was doing with it. Null without one.
  std::unique_ptr<Medium> remove();

  /// Contents of a READ BUFFER buffer; an absent buffer is refused.
  void setBuffer(std::uint8_t id, Bytes contents) { buffers_[id] = std::move(contents); }
  void removeBuffer(std::uint8_t id) { buffers_.erase(id); }
  /// What arrived of the last firmware image.
  const Bytes& downloaded() const { return image_; }
  /// Power cycle or reset: away for the reboot time, then becoming ready.
  void reboot();

  /// Where the tape stands: partition, and the number of the block or filemark that comes next.
  std::uint8_t partitionNumber() const { return partition_; }
  std::size_t objectNumber() const { return object_; }
  /// Block length of fixed-length transfers, 0 while blocks are variable.
  std::uint32_t blockLength() const { return blockLength_; }
  bool buffered() const { return bufferedMode_ != 0; }
  /// The two lines on the operator panel, eight characters each.
  const std::string& display() const { return display_; }

  static constexpr std::uint32_t maximumBlockLength = 0x800000;
  /// Early warning comes when this part of a partition is left.
  static constexpr std::uint64_t earlyWarningShare = 20;

 protected:
  void checkReady() override;
  void beforeCommand(const ScsiRequest& request) override;
  ModeHeader modeHeader(bool changeable) const override;
  std::uint64_t tapeAlerts() const override;

 private:
  struct Transfer {
    std::uint32_t blockLength;
    std::uint32_t blocks;
    bool fixed;
  };
  /// Since the last reset of the log counters.
  struct Counters {
    std::uint64_t bytesWritten = 0;
    std::uint64_t bytesRead = 0;
    std::uint64_t loads = 0;
  };
  struct Lifetime {
    std::uint64_t loads = 0;
    std::uint64_t powerCycles = 1;
  };
  /// Data encryption parameters (SSC-4 4.2.22).
  struct Encryption {
    std::uint8_t scope = 0;
    std::uint8_t mode = 0;
    std::uint8_t decryptionMode = 0;
    std::uint8_t algorithm = 0;
    std::uint8_t externalModeCheck = 0;  ///< CEEM
    std::uint8_t rawDecryption = 0;      ///< RDMC
    bool clearOnDemount = false;         ///< CKOD
    std::uint8_t descriptorFormat = 0;
    std::uint32_t key = 0;  ///< its checksum
    Bytes keyDescriptors{};
  };
  /// What ALLOW OVERWRITE permits once in append-only mode.
  enum class Overwrite : std::uint8_t { Nothing = 0, Here = 1, Format = 2 };

  // Each adds the commands of one topic; they are in the source file of that name.
  void addCartridgeCommands();
  void addFirmwareCommands();
  void addDataCommands();
  void addPositionCommands();
  void addModeCommands();
  void addLogCommands();
  void addAttributeCommands();
  void addReportCommands();
  void addEncryptionCommands();

  // drive_cartridge.cpp
  void loadUnload(ScsiRequest& request);
  void mounted();
  void demounted();
  // drive_firmware.cpp
  void readBuffer(ScsiRequest& request);
  void writeBuffer(ScsiRequest& request);
  void checkFirmwareHeader(std::span<const std::uint8_t> chunk) const;
  void finishDownload();
  // drive_data.cpp
  Partition& partition();
  const TapeObject* objectHere();
  void checkWritable() const;
  void checkReadable(const TapeObject& block) const;
  void checkOverwrite(Overwrite needed);
  Transfer transferOf(const ScsiRequest& request) const;
  template <class Action>
  void passBlocks(const Transfer& transfer, bool suppressLength, Action take);
  void put(TapeObject object, std::uint32_t residual);
  bool pastEarlyWarning();
  void warnEarly();
  void read(ScsiRequest& request);
  void write(ScsiRequest& request);
  void writeFilemarks(ScsiRequest& request);
  void verify(ScsiRequest& request);
  void erase(ScsiRequest& request);
  void setCapacity(ScsiRequest& request);
  void allowOverwrite(ScsiRequest& request);
  // drive_position.cpp
  void enterPartition(std::size_t number);
  void space(SpaceCode code, std::int64_t count);
  void locate(std::size_t partition, std::uint64_t object);
  void locate16(ScsiRequest& request);
  void readPosition(ScsiRequest& request);
  // drive_partitions.cpp
  void addPartitionPage();
  void checkPartitionPage(const Bytes& page) const;
  std::vector<std::uint64_t> partitionSizes(const Bytes& page) const;
  void showPartitions();
  void formatMedium(ScsiRequest& request);
  // drive_modes.cpp
  void modeSelect(ScsiRequest& request);
  // drive_logs.cpp
  Bytes deviceStatus() const;
  LogParameters diagnosticData() const;
  LogParameters capacities() const;
  void logSelect(ScsiRequest& request);
  // drive_attributes.cpp
  const Partition& attributePartition(const ScsiRequest& request);
  Attributes attributes(const Partition& partition) const;
  void readAttribute(ScsiRequest& request);
  void writeAttribute(ScsiRequest& request);
  // drive_reports.cpp
  void reportDensities(ScsiRequest& request);
  Bytes timestamp() const;
  void sendDiagnostic(ScsiRequest& request);
  void receiveDiagnostic(ScsiRequest& request);
  void displayMessage(ScsiRequest& request);
  void runtimeInformation(ScsiRequest& request);
  // drive_encryption.cpp
  void securityProtocolIn(ScsiRequest& request);
  void setEncryption(std::span<const std::uint8_t> page);
  Bytes encryptionCapabilities() const;
  Bytes encryptionStatus() const;
  Bytes nextBlockEncryption();

  DriveOptions drive_;
  const DriveModel& model_;

  std::unique_ptr<Medium> medium_;
  bool loaded_ = false;
  bool jammed_ = false;
  std::uint8_t partition_ = 0;
  std::size_t object_ = 0;
  std::int64_t readyAt_ = 0;  ///< milliseconds; until then the drive is becoming ready

  std::uint32_t blockLength_ = 0;
  std::uint8_t bufferedMode_ = 1;
  Encryption encryption_;
  std::uint32_t keyInstances_ = 0;
  Overwrite overwrite_ = Overwrite::Nothing;
  std::optional<std::uint64_t> timestampSet_;  ///< milliseconds, by the host
  std::int64_t timestampSince_;                ///< when it was set, or the power came on
  Counters counters_;
  Lifetime lifetime_;
  std::map<std::uint8_t, Bytes> buffers_;
  Bytes image_;
  Bytes diagnosticPage_;
  std::string display_;
};

/// The named-entry records of a feature buffer: one entry with a 32-bit number.
Bytes namedEntryBuffer(const std::string& name, std::uint32_t value);

}  // namespace simulator
