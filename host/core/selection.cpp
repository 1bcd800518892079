#include "host/core/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "host/core/error.h"

namespace host {
namespace {

using Test = std::function<bool(const Device&)>;

bool isIndex(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
         (text.size() == 1 || text[0] != '0');
}

/// The status of a selection that fits nothing: what could not be opened may be what was meant.
int nothingStatus(const Inventory& inventory, int otherwise = KIV_NO_DRIVE_CONNECTED) {
  return inventory.unreachable.empty() ? otherwise : KIV_NO_ACCESS;
}

std::string alsoUnreachable(const Inventory& inventory) {
  if (inventory.unreachable.empty()) return "";
  const Unreachable& first = inventory.unreachable.front();
  return fmt::format(" What could not be opened was not looked at: {} ({}).", first.path, first.message);
}

std::vector<std::pair<std::string, Test>> testsOf(const Selection& selection) {
  std::vector<std::pair<std::string, Test>> tests;
  if (selection.index)
    tests.push_back({"The index " + *selection.index, [index = *selection.index](const Device& device) {
                       return std::to_string(device.index) == index;
                     }});
  for (const std::string& serial : selection.serials)
    tests.push_back(
        {"--serial " + serial, [serial](const Device& device) { return device.serial == serial; }});
  for (const std::string& text : selection.addresses)
    tests.push_back({"--address " + text, [address = parseAddress(text)](const Device& device) {
                       return address == device.address;
                     }});
  for (const std::string& product : selection.products)
    tests.push_back({"--product " + product,
                     [product](const Device& device) { return device.productString == product; }});
  return tests;
}

void checkIndexIsMeaningful(const Inventory& inventory) {
  if (inventory.unreachable.empty()) return;
  throw HostError(KIV_NO_ACCESS,
                  fmt::format("An index counts every device, and {} could not be opened ({}): "
                              "name the drive with --serial.",
                              inventory.unreachable.front().path, inventory.unreachable.front().message));
}

}  // namespace

bool Selection::empty() const {
  return !index && serials.empty() && addresses.empty() && products.empty() && !all;
}

void Selection::check() const {
  const int kinds =
      (index ? 1 : 0) + (serials.empty() && addresses.empty() && products.empty() ? 0 : 1) + all;
  if (kinds > 1)
    throw HostError(exitUsage, fmt::format("{} says twice what is meant: use an INDEX alone, --all alone, or "
                                           "--serial, --address and --product.",
                                           index ? "The index " + *index : "--all"));
  if (index && !isIndex(*index))
    throw HostError(exitUsage, fmt::format("\"{}\" is no INDEX: use a number that \"kivhost scan\" shows, or "
                                           "--serial.",
                                           *index));
  for (const std::string& text : addresses)
    if (!parseAddress(text))
      throw HostError(exitUsage, fmt::format("--address {} is no address: use four numbers, adapter, bus, "
                                             "target and LUN, as in 0,0,3,0.",
                                             text));
  for (const auto* list : {&serials, &products})
    if (std::find(list->begin(), list->end(), "") != list->end())
      throw HostError(exitUsage, list == &serials ? "--serial needs a serial number, not an empty text."
                                                  : "--product needs a product string, not an empty text.");
}

std::vector<Device> select(const Selection& selection, const Inventory& inventory) {
  if (selection.index) checkIndexIsMeaningful(inventory);
  const auto tests = testsOf(selection);
  std::vector<bool> chosen(inventory.devices.size());
  for (const auto& [words, test] : tests) {
    bool any = false;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      if (!test(inventory.devices[i])) continue;
      any = chosen[i] = true;
    }
    if (!any)
      throw HostError(nothingStatus(inventory),
                      fmt::format("{} selects nothing, and nothing was started: look at \"kivhost scan\".{}",
                                  words, alsoUnreachable(inventory)));
  }
  std::vector<Device> devices;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    const Device& device = inventory.devices[i];
    const bool wanted =
        selection.empty() || chosen[i] || (selection.all && device.isDrive() && device.configured);
    const bool again = std::any_of(devices.begin(), devices.end(),
                                   [&](const Device& other) { return isSameDrive(device, other); });
    if (wanted && !again) devices.push_back(device);
  }
  if (!devices.empty()) return devices;
  if (inventory.devices.empty())
    throw HostError(nothingStatus(inventory),
                    inventory.unreachable.empty()
                        ? "No tape drive and no tape library was found: check power and cabling."
                        : "Nothing could be opened." + alsoUnreachable(inventory));
  throw HostError(
      nothingStatus(inventory, KIV_CONFIG_ERROR),
      "Config.txt names none of the drives: add a line with product, image and level as \"kivhost "
      "check\" and \"kivhost scan\" show them." +
          alsoUnreachable(inventory));
}

}  // namespace host
