// Rooms from JSON. The keys are the names of the option structures' fields:
//
//     {
//       "adapters": [{"buses": 2, "maximumPhysicalPages": 17}],
//       "drives": [{"adapter": 0, "target": 5, "model": "ULTRIUM-PX6", "level": "A1B2", "interface": "SAS",
//                   "driver": {"version": "6.2.7.1"}}],
//       "changers": [{"target": 6, "slots": {"first": "0x1000", "count": 24}, "bays": ["1068000451", ""],
//                     "cartridges": [{"element": "0x1000", "barcode": "QOR001L6"}]}],
//       "disks": [{"target": 0}],
//       "dosNames": ["COM3"],
//       "faults": [{"cdb": "3B", "nth": 2, "sense": "05 24 00"}]
//     }
#include <algorithm>
#include <cctype>

#include "simulator/room/json_reader.h"
#include "simulator/room/room.h"
#include "simulator/windows/windows_calls.h"

namespace simulator {
namespace {

using nlohmann::json;

void readAdapter(Room& room, const json& value, const std::string& path) {
  JsonReader in(value, path);
  AdapterOptions options;
  in.read("maximumTransferLength", options.maximumTransferLength);
  in.read("maximumPhysicalPages", options.maximumPhysicalPages);
  in.read("alignmentMask", options.alignmentMask);
  in.read("buses", options.buses, std::uint8_t{255}, std::uint8_t{1});
  in.read("initiator", options.initiator);
  in.read("description", options.description);
  in.read("manufacturer", options.manufacturer);
  in.read("service", options.service);
  in.read("location", options.location);
  in.read("driverProvider", options.driverProvider);
  in.read("driverVersion", options.driverVersion);
  in.read("driverDate", options.driverDate);
  in.read("driverDescription", options.driverDescription);
  in.finish();
  room.addAdapter(std::move(options));
}

DeviceOptions readIdentity(JsonReader& in) {
  DeviceOptions identity;
  in.read("adapter", identity.adapter);
  in.read("bus", identity.bus, std::uint8_t{254});  // there are at most 255
  in.read("target", identity.target);
  in.read("lun", identity.lun);
  in.read("vendor", identity.vendor, 8);
  in.read("model", identity.model, 16);
  in.read("level", identity.level, 4);
  in.read("serial", identity.serial, 32);
  in.read("interface", identity.interface,
          {{"FC", Interface::Fibre}, {"SAS", Interface::Sas}, {"SCSI", Interface::ParallelScsi}});
  in.read("claimed", identity.claimed);
  in.read("className", identity.className);
  in.read("qualifier", identity.qualifier, std::uint8_t{7});
  in.read("worldWideName", identity.worldWideName);
  in.readObject("driver", [&](JsonReader& driver) {
    identity.driver.emplace();
    driver.read("version", identity.driver->version, 12);
    driver.read("eightByteModeHeader", identity.driver->eightByteModeHeader);
  });
  return identity;
}

/// Adds a device; an address that is taken becomes an error sentence with the key.
template <class Action>
void addDevice(const std::string& path, Action action) {
  try {
    action();
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error("The key \"" + path + "\" cannot be placed: " + error.what() + ".");
  }
}

void readDrive(Room& room, const json& value, const std::string& path) {
  JsonReader in(value, path);
  DeviceOptions identity = readIdentity(in);
  DriveOptions options;
  in.read("cartridge", options.cartridge);
  in.read("stuckCartridge", options.stuckCartridge);
  in.read("reserved", options.reserved);
  in.read("removalPrevented", options.removalPrevented);
  in.read("automationReady", options.automationReady);
  in.read("loadId", options.loadId);
  in.read("afterDownload", options.afterDownload,
          {{"returns", AfterDownload::Returns},
           {"lost until rescan", AfterDownload::LostUntilRescan},
           {"never returns", AfterDownload::NeverReturns}});
  in.read("rebootSeconds", options.rebootSeconds);
  in.read("becomingReadySeconds", options.becomingReadySeconds);
  in.read("loadSeconds", options.loadSeconds);
  in.read("formatSeconds", options.formatSeconds);
  in.read("eraseSeconds", options.eraseSeconds);
  in.finish();
  addDevice(path, [&] { room.addDrive(std::move(identity), options); });
}

/// The drive with this serial number; null for an empty text.
VirtualDrive* findDrive(const Room& room, const json& value, const std::string& path) {
  const std::string serial = value.is_string() ? value.get<std::string>() : "?";
  if (serial.empty()) return nullptr;
  for (const auto& device : room.devices()) {
    if (device->options().serial != serial) continue;
    if (auto* drive = dynamic_cast<VirtualDrive*>(device.get())) return drive;
  }
  throw std::runtime_error("The key \"" + path + "\" must be the serial number of a drive in \"drives\".");
}

void readChanger(Room& room, const json& value, const std::string& path) {
  JsonReader in(value, path);
  DeviceOptions identity = readIdentity(in);
  ChangerOptions options;
  const auto readRange = [&](const char* key, ElementRange& range) {
    in.readObject(key, [&](JsonReader& object) {
      object.read("first", range.first);
      object.read("count", range.count);
    });
  };
  readRange("robots", options.robots);
  readRange("slots", options.slots);
  readRange("importExport", options.importExport);
  readRange("drives", options.drives);
  in.readArray("bays", [&](const json& item, const std::string& name) {
    options.bays.push_back(findDrive(room, item, name));
  });
  in.readArray("cartridges", [&](const json& item, const std::string& name) {
    JsonReader cartridge(item, name);
    std::uint16_t element = 0;
    std::string barcode;
    cartridge.read("element", element);
    cartridge.read("barcode", barcode, 32);
    cartridge.finish();
    const auto same = [&](const auto& other) { return !barcode.empty() && other.second == barcode; };
    if (std::ranges::any_of(options.cartridges, same))
      cartridge.fail("barcode", "is on another cartridge already");
    if (!options.cartridges.emplace(element, barcode).second)
      cartridge.fail("element", "has a cartridge already");
  });
  in.read("barcodeReader", options.barcodeReader);
  in.read("exchanges", options.exchanges);
  in.read("door", options.door);
  in.read("becomingReadySeconds", options.becomingReadySeconds);
  in.read("neverReady", options.neverReady);
  in.read("moveSeconds", options.moveSeconds);
  in.read("inventorySeconds", options.inventorySeconds);
  in.finish();
  addDevice(path, [&] { room.addChanger(std::move(identity), std::move(options)); });
}

void readDisk(Room& room, const json& value, const std::string& path) {
  JsonReader in(value, path);
  DeviceOptions identity = readIdentity(in);
  in.finish();
  addDevice(path, [&] { room.addDisk(std::move(identity)); });
}

/// The bytes of a text in hexadecimal, blanks between them or not: pairs of digits, or "??" where it is
/// allowed.
std::vector<std::string> readPairs(JsonReader& in, const char* key, bool wildcards) {
  std::string text;
  in.read(key, text);
  std::erase(text, ' ');
  std::vector<std::string> pairs;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::string pair = text.substr(i, 2);
    const bool isByte = std::ranges::all_of(pair, [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (pair.size() != 2 || !(isByte || (wildcards && pair == "??"))) {
      in.fail(key,
              std::string("must be pairs of hexadecimal digits") + (wildcards ? ", ?? for any byte" : ""));
    }
    pairs.push_back(pair);
  }
  return pairs;
}

std::optional<Bytes> readHex(JsonReader& in, const char* key) {
  Bytes bytes;
  for (const std::string& pair : readPairs(in, key, false)) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
  }
  return bytes.empty() ? std::nullopt : std::optional(bytes);
}

void readFault(Room& room, const json& value, const std::string& path) {
  JsonReader in(value, path);
  Fault fault;
  for (const std::string& pair : readPairs(in, "cdb", true)) {
    fault.cdb += (fault.cdb.empty() ? "" : " ") + pair;
  }
  in.read("call", fault.call);
  in.read("device", fault.device);
  in.read("nth", fault.nth, std::numeric_limits<unsigned>::max(), 1u);
  in.read("times", fault.times);
  in.read("status", fault.status);
  in.read("error", fault.error);
  in.read("delay", fault.delay);
  in.read("transfer", fault.transfer);
  in.read("vanish", fault.vanish);
  fault.reply = readHex(in, "reply");
  if (const auto sense = readHex(in, "sense")) {
    if (sense->size() != 3)
      in.fail("sense", "must be three bytes: sense key, ASC and ASCQ, as in \"05 24 00\"");
    fault.sense = Sense{.key = (*sense)[0], .asc = (*sense)[1], .ascq = (*sense)[2]};
  }
  in.finish();
  if (fault.cdb.empty() == fault.call.empty())
    in.fail("cdb", "or the key \"call\" must say where the fault strikes");
  const bool toDevice = fault.sense || fault.status || fault.vanish;
  if (!toDevice && !fault.error && !fault.delay && !fault.transfer && !fault.reply)
    in.fail("cdb", "or \"call\" has no effect: say one, such as \"sense\" or \"error\"");
  if (!fault.call.empty()) {
    const bool passesCommands = fault.call == "DeviceIoControl" || fault.call == "SCSI_PASS_THROUGH_DIRECT";
    if (toDevice && !passesCommands) in.fail("call", "cannot have a \"sense\", \"status\" or \"vanish\"");
    const auto known = calls::nameForFaults(fault.call);
    if (!known) in.fail("call", "names no call that a fault can strike");
    fault.call = *known;
  }
  room.addFault(std::move(fault));
}

json parse(std::string_view text) {
  try {
    return json::parse(text);
  } catch (const json::parse_error& error) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(error.byte, text.size()));
    const auto line = std::count(text.begin(), end, '\n') + 1;
    throw std::runtime_error("The text is not JSON: look at line " + std::to_string(line) + ".");
  } catch (const json::out_of_range&) {
    throw std::runtime_error("A number is too large: look for one that nothing could hold.");
  }
}

}  // namespace

std::unique_ptr<Room> Room::fromJson(std::string_view text) {
  const json document = parse(text);
  auto room = std::make_unique<Room>();
  const auto into = [&](auto readItem) {
    return [&, readItem](const json& value, const std::string& path) { readItem(*room, value, path); };
  };
  JsonReader in(document, "");
  std::optional<double> pace;
  in.read("pace", pace);
  if (pace) room->clock().setRealTimeFactor(*pace);
  in.readArray("adapters", into(readAdapter));
  in.readArray("drives", into(readDrive));
  in.readArray("changers", into(readChanger));
  in.readArray("disks", into(readDisk));
  in.readArray("dosNames", [&](const json& value, const std::string& path) {
    if (!value.is_string())
      throw std::runtime_error("The key \"" + path + "\" must be a text in double quotes.");
    room->addName(value.get<std::string>());
  });
  in.readArray("faults", into(readFault));
  in.finish();
  return room;
}

std::unique_ptr<Room> Room::byDefault() { return fromJson(defaultJson()); }

}  // namespace simulator
