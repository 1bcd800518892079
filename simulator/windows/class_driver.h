// What Windows' class drivers share: the commands that they send to a device of their own accord.
#pragma once

#include <cstddef>
#include <span>

#include "platform/win32.h"
#include "simulator/devices/scsi.h"
#include "simulator/devices/virtual_device.h"

namespace simulator {

/// The Windows error number that a class driver makes of sense data.
DWORD windowsError(const Sense& sense);

/// Commands that a driver sends on behalf of a Windows call. Faults strike them as they strike a host's
/// commands; the journal does not show them, for the host did not send them.
class ClassDriver {
 public:
  ClassDriver(VirtualDevice& device, std::string handleName)
      : device_(device), handleName_(std::move(handleName)) {}

  VirtualDevice& device() const { return device_; }
  /// Sends a command and returns its outcome, whatever the status.
  ScsiRequest run(const Bytes& cdb, std::size_t dataInCapacity, std::span<const std::uint8_t> dataOut = {});
  /// Sends a command that has to succeed (GOOD or recovered error): data in.
  Bytes read(const Bytes& cdb, std::size_t capacity);
  /// The same without data, or with data out.
  void send(const Bytes& cdb, std::span<const std::uint8_t> dataOut = {});
  /// Throws the Windows error of an outcome that is not a success.
  static void check(const ScsiRequest& outcome);

  /// Sense data of the last command that ended with CHECK CONDITION; empty after one that did not.
  const Bytes& lastSense() const { return lastSense_; }

 private:
  VirtualDevice& device_;
  std::string handleName_;
  Bytes lastSense_;
};

}  // namespace simulator
