// A SCSI device: a table from operation code to handler, and the commands that every device knows.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "simulator/devices/scsi.h"
#include "simulator/windows/driver_options.h"

namespace simulator {

class Room;

enum class Interface { ParallelScsi, Fibre, Sas };
enum PeripheralType : std::uint8_t { typeDisk = 0, typeTape = 1, typeCdRom = 5, typeChanger = 8 };

/// Where a device is, and what it says it is. Base of every device's options.
struct DeviceOptions {
  std::uint8_t adapter = 0;  ///< host adapters up to this one are added as needed
  std::uint8_t bus = 0;
  std::uint8_t target = 0;
  std::uint8_t lun = 0;
  std::string vendor = "QOR";
  std::string model = "";   ///< product identification
  std::string level = "";   ///< product revision level, four characters
  std::string serial = "";  ///< unit serial number
  Interface interface = Interface::Fibre;
  bool claimed = false;  ///< a class driver has it: reachable through its class device only
  /// The maker's driver presents it (with `claimed`: instead of Windows' class driver).
  std::optional<DriverOptions> driver{};
  /// Name of the class device without "\\.\"; empty: "Tape0", "Changer0", ... by type in order of addition.
  std::string className = "";
  std::uint8_t qualifier = 0;       ///< peripheral qualifier, bits 7 to 5 of INQUIRY byte 0
  std::uint64_t worldWideName = 0;  ///< NAA identifier of the logical unit; 0: made from the address
};

/// "H0-B0-T5-L0"
std::string addressText(unsigned adapter, unsigned bus, unsigned target, unsigned lun);

class VirtualDevice {
 public:
  VirtualDevice(Room& room, PeripheralType type, DeviceOptions options);
  virtual ~VirtualDevice() = default;
  VirtualDevice(const VirtualDevice&) = delete;
  VirtualDevice& operator=(const VirtualDevice&) = delete;

  Room& room() const { return room_; }
  PeripheralType type() const { return type_; }
  const DeviceOptions& options() const { return options_; }
  DeviceOptions& options() { return options_; }
  std::string address() const;
  const std::string& level() const { return options_.level; }

  /// Carries out one command. Sets status, sense and data; throws WindowsError when the device is not
  /// reached.
  void execute(ScsiRequest& request);

  /// Queues a unit attention: it is reported once, instead of the next command that reports any from `due` on
  /// (milliseconds of the room's clock).
  void addUnitAttention(std::uint8_t asc, std::uint8_t ascq, std::int64_t due = 0);
  void clearUnitAttentions() { attentions_.clear(); }
  /// Standard INQUIRY data, at full length.
  virtual Bytes standardInquiry() const;

  // Presence. A device that is gone does not answer selection: DeviceIoControl fails with ERROR_IO_DEVICE.
  void goAway(std::int64_t milliseconds);
  /// Gone now, and forgotten by the port driver: it returns with the first bus rescan after this time.
  void goAwayUntilRescan(std::int64_t milliseconds);
  void goAwayForEver();
  bool answers() const;
  /// Whether the port driver lists it. A rescan forgets what does not answer and finds what does.
  bool known() const { return known_; }
  void rescanned();
  /// INQUIRY data as they were at the last bus rescan: what the port driver lists.
  const Bytes& listedInquiry() const { return listedInquiry_; }

 protected:
  using Handler = std::function<void(ScsiRequest&)>;

  /// One row of the command table.
  /// `usage` are the bits of the CDB that the command defines, in the sense of CDB usage data (SPC-4 6.31):
  /// bits outside of it are reserved and must be 0. Its length is that of the CDB. The handler is anything
  /// that takes the request, or a member function of the device's own class.
  template <class Action>
  void onCommand(std::uint8_t operation, Bytes usage, Action action) {
    commands_[{operation, std::nullopt}] = {std::move(usage), handlerOf(std::move(action))};
  }
  /// One row of an operation code that service actions divide further.
  template <class Action>
  void onServiceAction(std::uint8_t operation, std::uint8_t serviceAction, Bytes usage, Action action) {
    usage[1] = serviceActionBits;
    commands_[{operation, serviceAction}] = {std::move(usage), handlerOf(std::move(action))};
  }
  /// The same for a medium access command, which needs a device that is ready.
  template <class Action>
  void onReady(std::uint8_t operation, Bytes usage, Action action) {
    onCommand(operation, std::move(usage),
              [this, handler = handlerOf(std::move(action))](ScsiRequest& request) {
                checkReady();
                handler(request);
              });
  }
  /// One vital product data page: what follows its header of four bytes.
  void onVpdPage(std::uint8_t page, std::function<Bytes()> content) { vpdPages_[page] = std::move(content); }

  /// Throws when the device is not ready for a medium access command.
  virtual void checkReady() {}
  /// Sense that REQUEST SENSE reports when nothing is pending.
  virtual Sense idleSense() { return {}; }
  /// Relative target port identifier: a device that is in the room once per port counts them.
  std::uint16_t relativePort() const;
  /// Called before a command of the table runs: reservations and the like.
  virtual void beforeCommand(const ScsiRequest&) {}

 private:
  static constexpr std::uint8_t serviceActionBits = 0x1F;  ///< of CDB byte 1
  struct Command {
    Bytes usage;
    Handler handler;
  };
  /// Operation code, and service action where it has any.
  using CommandCode = std::pair<std::uint8_t, std::optional<std::uint8_t>>;
  struct Attention {
    Sense sense;
    std::int64_t due;
  };

  static Handler handlerOf(Handler handler) { return handler; }
  template <class Device>
  Handler handlerOf(void (Device::*member)(ScsiRequest&)) {
    return [this, member](ScsiRequest& request) { (static_cast<Device*>(this)->*member)(request); };
  }
  void run(ScsiRequest& request);
  const Command& commandOf(const ScsiRequest& request) const;
  std::optional<Sense> takeAttention();
  bool hasServiceActions(std::uint8_t operation) const;
  void reportOperationCodes(ScsiRequest& request);
  void inquiry(ScsiRequest& request);
  void requestSense(ScsiRequest& request);
  void reportLuns(ScsiRequest& request);
  Bytes deviceIdentification() const;
  Bytes extendedInquiry() const;

  Room& room_;
  PeripheralType type_;
  DeviceOptions options_;
  std::map<CommandCode, Command> commands_;
  std::map<std::uint8_t, std::function<Bytes()>> vpdPages_;
  std::deque<Attention> attentions_;
  std::int64_t goneUntil_ = 0;
  bool known_ = true;
  Bytes listedInquiry_;
};

}  // namespace simulator
