#include <fmt/format.h>

#include "host/commands/commands.h"
#include "host/core/error.h"
#include "host/core/text.h"

namespace host {
namespace {

std::string place(const Device& device) {
  return device.librarySerial.empty() ? "" : fmt::format("{} {}", device.librarySerial, device.element);
}

std::string table(const std::vector<Device>& devices) {
  std::vector<Row> rows = {
      {"INDEX", "ADDRESS", "SERIAL", "PRODUCT", "LEVEL", "COMPONENT", "LIBRARY, ELEMENT"}};
  for (const Device& device : devices)
    rows.push_back({std::to_string(device.index), addressText(device.address), device.serial,
                    device.productString, device.level, device.component, place(device)});
  return formatTable(rows);
}

std::string xml(const std::vector<Device>& devices, const std::vector<Unreachable>& unreachable) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Inventory format=\"1\">\n";
  const auto element = [&](const char* name, const std::vector<std::pair<const char*, std::string>>& values) {
    text += fmt::format("  <{}", name);
    for (const auto& [key, value] : values) text += fmt::format(" {}=\"{}\"", key, escapeXml(value));
    text += "/>\n";
  };
  for (const Device& device : devices)
    element(device.isLibrary() ? "Library" : "Drive",
            {{"index", std::to_string(device.index)},
             {"address", addressText(device.address)},
             {"serial", device.serial},
             {"vendor", device.vendor},
             {"product", device.product},
             {"productString", device.productString},
             {"interface", device.interface},
             {"level", device.level},
             {"component", device.component},
             {"library", device.librarySerial},
             {"element", device.librarySerial.empty() ? "" : std::to_string(device.element)}});
  for (const Unreachable& device : unreachable)
    element("Unreachable", {{"path", device.path},
                            {"windowsError", std::to_string(device.windowsError)},
                            {"message", device.message}});
  return text + "</Inventory>\n";
}

}  // namespace

int scan(Run& run) {
  run.document["drives"] = Json::array();
  run.document["unreachable"] = Json::array();
  run.refuseDuringUpdate();
  const Session session = run.openSession();
  run.warn(lintFiles("."));
  const Inventory inventory = scanDevices();
  run.tell(inventory.unreachable);
  // Without a selection both paths to a drive are shown.
  const std::vector<Device> devices = run.options.selection.empty() && !inventory.devices.empty()
                                          ? inventory.devices
                                          : select(run.options.selection, inventory);
  for (const Device& device : devices) run.document["drives"].push_back(toJson(device));
  run.output.say(run.options.xml ? xml(devices, inventory.unreachable) : table(devices));
  if (run.options.elements) {
    run.document["elements"] = Json::array();
    for (const Device& device : devices)
      if (device.isLibrary()) addElements(device, run.document["elements"]);
    run.output.say('\n' + elementsTable(run.document["elements"]));
  }
  return inventory.unreachable.empty() ? KIV_OK : KIV_NO_ACCESS;
}

}  // namespace host
