#include <fmt/format.h>

#include "host/commands/commands.h"
#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/core/text.h"

namespace host {
namespace {

const char* typeName(int type) {
  switch (type) {
    case KIV_ELEMENT_TRANSPORT:
      return "robot";
    case KIV_ELEMENT_STORAGE:
      return "slot";
    case KIV_ELEMENT_IMPORT_EXPORT:
      return "import/export";
    case KIV_ELEMENT_DRIVE:
      return "drive";
    default:
      return "unknown";
  }
}

struct Collection {
  const Device& library;
  Json& elements;
};

std::int32_t collect(const kiv_element* element, void* user) {
  auto& collection = *static_cast<Collection*>(user);
  const std::string drive = text(element->drive_serial);
  collection.elements.push_back({{"library", collection.library.serial},
                                 {"address", element->address},
                                 {"type", typeName(element->type)},
                                 {"full", element->full != 0},
                                 {"barcode", text(element->barcode)},
                                 {"source", element->source_valid ? Json(element->source) : Json(nullptr)},
                                 {"drive", drive.empty() ? Json(nullptr) : Json(drive)}});
  return 0;
}

}  // namespace

void addElements(const Device& library, Json& elements) {
  Collection collection{library, elements};
  if (const int result = kiv_elements(library.handle, collect, &collection); result != KIV_OK)
    throw HostError(exitStatus(result), fmt::format("{}: {}", library.name(), lastErrorText(result)));
}

std::string elementsTable(const Json& elements) {
  std::vector<Row> rows = {{"LIBRARY", "ELEMENT", "TYPE", "CARTRIDGE", "BARCODE", "SOURCE", "DRIVE"}};
  for (const Json& element : elements)
    rows.push_back({textOf(element["library"]), textOf(element["address"]), textOf(element["type"]),
                    element["full"] ? "yes" : "", textOf(element["barcode"]), textOf(element["source"]),
                    textOf(element["drive"])});
  return formatTable(rows);
}

int elements(Run& run) {
  run.document = emptyLists({"elements", "unreachable"});
  run.refuseDuringUpdate();
  const Session session = run.openSession();
  const Inventory inventory = run.findDevices();
  bool any = false;
  for (const Device& device : select(run.options.selection, inventory)) {
    if (!device.isLibrary()) {
      if (run.options.selection.empty()) continue;
      throw HostError(exitUsage,
                      fmt::format("Device {} ({}) is a drive, which has no elements: select libraries.",
                                  device.index, device.name()));
    }
    any = true;
    addElements(device, run.document["elements"]);
  }
  if (!any)
    throw HostError(inventory.unreachable.empty() ? KIV_NO_DRIVE_CONNECTED : KIV_NO_ACCESS,
                    "No tape library was found: look at \"kivhost scan\".");
  run.output.say(elementsTable(run.document["elements"]));
  return run.isIncomplete(inventory) ? KIV_NO_ACCESS : KIV_OK;
}

}  // namespace host
