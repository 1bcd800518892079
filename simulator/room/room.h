// The virtual tape room.
//
//     simulator::Room room;
//     auto& drive = room.addDrive({.target = 5, .model = "ULTRIUM-PX6", .level = "A1B2"}, {.cartridge =
//     true});
//     ... call the library ...
//     EXPECT_THAT(room.journal().cdbs(drive.address()), ElementsAre("00 00 00 00 00 00 -> 2/3A/00"));
//     EXPECT_EQ(room.openHandles(), 0u);
//
// From its construction to its end a room answers the Windows calls of the library (on Windows: those of
// kiv.dll, which must be loaded by then). There is one room at a time. Rooms are not for several threads.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"
#include "simulator/devices/virtual_changer.h"
#include "simulator/devices/virtual_device.h"
#include "simulator/devices/virtual_disk.h"
#include "simulator/devices/virtual_drive.h"
#include "simulator/room/clock.h"
#include "simulator/room/fault.h"
#include "simulator/room/journal.h"
#include "simulator/windows/handle.h"
#include "simulator/windows/virtual_adapter.h"

namespace simulator {

class Room {
 public:
  Room();
  ~Room();
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;

  /// The room that stands now, or null.
  static Room* current();
  /// A room as a JSON text describes it; room_json.cpp begins with an example. Throws std::runtime_error with
  /// a sentence that names the key at fault.
  static std::unique_ptr<Room> fromJson(std::string_view text);
  /// The built-in room: drives of several generations, a tape library, a disk.
  static std::unique_ptr<Room> byDefault();
  /// Its JSON text, a model for rooms of one's own.
  static std::string_view defaultJson();

  /// Adapters are numbered in the order in which they are added, from 0.
  VirtualAdapter& addAdapter(AdapterOptions options = {});
  // Adding a device throws std::invalid_argument when its address is taken.
  VirtualDrive& addDrive(DeviceOptions identity, DriveOptions options = {});
  VirtualChanger& addChanger(DeviceOptions identity, ChangerOptions options = {});
  VirtualDisk& addDisk(DeviceOptions identity);
  /// Adds a device of any class: `add<VirtualChanger>(identity, options)`.
  template <class Device, class... Arguments>
  Device& add(DeviceOptions identity, Arguments&&... arguments) {
    auto device = std::make_unique<Device>(*this, std::move(identity), std::forward<Arguments>(arguments)...);
    Device& result = *device;
    install(std::move(device));
    return result;
  }
  VirtualAdapter& adapter(std::size_t number) { return *adapters_.at(number); }
  const std::vector<std::unique_ptr<VirtualAdapter>>& adapters() const { return adapters_; }
  const std::vector<std::unique_ptr<VirtualDevice>>& devices() const { return devices_; }

  /// Makes a device name known. In the DOS device list it stands behind those that were added before.
  void addName(DeviceName name);
  /// A DOS device name that cannot be opened.
  void addName(const std::string& name);
  const DeviceName* findName(std::string_view path) const;
  /// The DOS device names as QueryDosDeviceA lists them now.
  std::vector<std::string> dosNames() const;

  void addFault(Fault fault) { faults_.add(std::move(fault)); }
  Faults& faults() { return faults_; }
  Journal& journal() { return journal_; }
  Clock& clock() { return clock_; }
  /// Handles that were opened through the door and not closed yet: devices, ordinary files, setup-API sets,
  /// keys.
  std::size_t openHandles() const { return handles_.size() + foreignHandles_.size(); }

  // For the doors.
  /// Whether a handle value was given out by a room, this one or another.
  static bool owns(HANDLE value);
  HANDLE addHandle(std::unique_ptr<Handle> handle);
  Handle* handle(HANDLE value) const;
  void closeHandle(HANDLE value);
  /// Handles of the system underneath, by the name they were opened with.
  std::map<HANDLE, std::string>& foreignHandles() { return foreignHandles_; }

 private:
  void install(std::unique_ptr<VirtualDevice> device);
  std::string classNameFor(const VirtualDevice& device);

  Clock clock_;
  Journal journal_;
  Faults faults_;
  std::vector<std::unique_ptr<VirtualAdapter>> adapters_;
  std::vector<std::unique_ptr<VirtualDevice>> devices_;
  std::vector<DeviceName> names_;
  std::map<PeripheralType, unsigned> classCounts_;
  std::map<HANDLE, std::unique_ptr<Handle>> handles_;
  std::map<HANDLE, std::string> foreignHandles_;
};

}  // namespace simulator
