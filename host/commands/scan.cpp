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

/// A device with what the document tells of it, as attributes.
std::string element(const char* name, const Json& members) {
  std::string text = fmt::format("  <{}", name);
  for (const auto& [key, value] : members.items())
    text += fmt::format(" {}=\"{}\"", key, escapeXml(textOf(value)));
  return text + "/>\n";
}

std::string xml(const Json& document) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Inventory format=\"1\">\n";
  for (Json device : document["drives"]) {
    const char* const name = device["type"] == "library" ? "Library" : "Drive";
    const Json place =
        device["library"].is_null() ? Json{{"serial", ""}, {"element", ""}} : device["library"];
    device["library"] = place["serial"];
    device["element"] = place["element"];
    device.erase("type");
    text += element(name, device);
  }
  for (const Json& device : document["unreachable"]) text += element("Unreachable", device);
  return text + "</Inventory>\n";
}

}  // namespace

int scan(Run& run) {
  run.document = emptyLists({"drives", "unreachable"});
  run.refuseDuringUpdate();
  const Session session = run.openSession();
  run.warn(lintFiles("."));
  const Inventory inventory = run.findDevices();
  // Without a selection both paths to a drive are shown.
  const std::vector<Device> devices = run.options.selection.empty() && !inventory.devices.empty()
                                          ? inventory.devices
                                          : select(run.options.selection, inventory);
  for (const Device& device : devices) run.document["drives"].push_back(toJson(device));
  run.output.say(run.options.xml ? xml(run.document) : table(devices));
  if (run.options.elements) {
    run.document["elements"] = Json::array();
    for (const Device& device : devices)
      if (device.isLibrary()) addElements(device, run.document["elements"]);
    run.output.say('\n' + elementsTable(run.document["elements"]));
  }
  return inventory.unreachable.empty() ? KIV_OK : KIV_NO_ACCESS;
}

}  // namespace host
