#include "simulator/room/room.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "simulator/windows/handle_marks.h"
#include "simulator/windows/import_table.h"
#include "simulator/windows/virtual_driver.h"

namespace simulator {
namespace {

Room* currentRoom = nullptr;

// Not counted per room, so that a handle that outlives its room never meets another's.
std::uintptr_t lastHandle = roomHandleMark;

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

}  // namespace

Room::Room() {
  if (currentRoom) throw std::logic_error("there is a room already");
  takeOverImports();
  for (const char* name :
       {"C:", "COM1", "NUL", "PIPE", "UNC", "Volume{6fb0d2a4-93d1-4b1c-8f0e-5c2a7a0b9d11}"}) {
    addName(name);
  }
  currentRoom = this;
}

Room::~Room() { currentRoom = nullptr; }

Room* Room::current() { return currentRoom; }

VirtualAdapter& Room::addAdapter(AdapterOptions options) {
  const auto number = static_cast<std::uint8_t>(adapters_.size());
  adapters_.push_back(std::make_unique<VirtualAdapter>(*this, number, std::move(options)));
  VirtualAdapter& adapter = *adapters_.back();
  const auto open = [&adapter](std::string path, DWORD access) {
    return std::make_unique<PortHandle>(std::move(path), access, adapter);
  };
  addName({.name = "Scsi" + std::to_string(number) + ":", .open = open});
  addName({.name = adapter.interfacePath().substr(4), .open = open, .listed = false});
  return adapter;
}

VirtualDrive& Room::addDrive(DeviceOptions identity, DriveOptions options) {
  if (identity.model.empty()) identity.model = "ULTRIUM-PX6";
  if (identity.level.empty()) identity.level = "A1B2";
  return add<VirtualDrive>(std::move(identity), options);
}

VirtualChanger& Room::addChanger(DeviceOptions identity, ChangerOptions options) {
  if (identity.model.empty()) identity.model = "TAPELIB-40";
  if (identity.level.empty()) identity.level = "3.10";
  return add<VirtualChanger>(std::move(identity), std::move(options));
}

VirtualDisk& Room::addDisk(DeviceOptions identity) {
  if (identity.vendor == "QOR") identity.vendor = "ACME";
  if (identity.model.empty()) identity.model = "SPINNER-900";
  if (identity.level.empty()) identity.level = "0007";
  identity.claimed = true;
  return add<VirtualDisk>(std::move(identity));
}

void Room::install(std::unique_ptr<VirtualDevice> owned) {
  for (const auto& other : devices_) {
    if (other->address() == owned->address()) {
      throw std::invalid_argument("there is a device at " + owned->address() + " already");
    }
  }
  devices_.push_back(std::move(owned));
  VirtualDevice& device = *devices_.back();
  device.rescanned();
  const DeviceOptions& options = device.options();
  while (adapters_.size() <= options.adapter) addAdapter();
  VirtualAdapter& adapter = *adapters_[options.adapter];
  if (options.bus >= adapter.options().buses)
    adapter.options().buses = static_cast<std::uint8_t>(options.bus + 1);
  if (!options.claimed && !options.driver) return;
  const std::string className = classNameFor(device);
  const auto sameName = [&](const DeviceName& other) { return lower(other.name) == lower(className); };
  if (std::ranges::any_of(names_, sameName)) {
    throw std::invalid_argument("there is a device " + className + " already");
  }
  addName({.name = className,
           .open = [&adapter, &device](
                       std::string path,
                       DWORD access) { return openDevice(std::move(path), access, adapter, device); },
           .present = [&device] { return device.known(); }});
}

std::string Room::classNameFor(const VirtualDevice& device) {
  if (!device.options().className.empty()) return device.options().className;
  const std::string number = std::to_string(classCounts_[device.type()]++);
  switch (device.type()) {
    case typeTape:
      return "Tape" + number;
    case typeChanger:
      return "Changer" + number;
    case typeCdRom:
      return "CdRom" + number;
    default:
      return "PhysicalDrive" + number;
  }
}

void Room::addName(DeviceName name) { names_.push_back(std::move(name)); }

void Room::addName(const std::string& name) {
  addName({.name = name, .open = [](std::string, DWORD) -> std::unique_ptr<Handle> {
             throw WindowsError{ERROR_FILE_NOT_FOUND};
           }});
}

const DeviceName* Room::findName(std::string_view path) const {
  if (!path.starts_with("\\\\.\\") && !path.starts_with("\\\\?\\")) return nullptr;
  const std::string wanted = lower(path.substr(4));
  const auto found = std::find_if(names_.begin(), names_.end(), [&](const DeviceName& name) {
    return lower(name.name) == wanted && name.present();
  });
  return found == names_.end() ? nullptr : &*found;
}

std::vector<std::string> Room::dosNames() const {
  std::vector<std::string> result;
  for (const DeviceName& name : names_) {
    if (name.listed && name.present()) result.push_back(name.name);
  }
  return result;
}

bool Room::owns(HANDLE value) {
  return (reinterpret_cast<std::uintptr_t>(value) & handleMarkBits) == roomHandleMark;
}

HANDLE Room::addHandle(std::unique_ptr<Handle> handle) {
  lastHandle += 4;
  const auto value = reinterpret_cast<HANDLE>(lastHandle);
  handles_.emplace(value, std::move(handle));
  return value;
}

Handle* Room::handle(HANDLE value) const {
  const auto found = handles_.find(value);
  return found == handles_.end() ? nullptr : found->second.get();
}

void Room::closeHandle(HANDLE value) {
  if (handles_.erase(value) == 0) throw WindowsError{ERROR_INVALID_HANDLE};
}

}  // namespace simulator
