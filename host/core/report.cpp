#include "host/core/report.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <rapidxml/rapidxml.hpp>

#include "host/core/result.h"
#include "host/core/table.h"

namespace host {
namespace {

// Stand for characters of a value that a parser would take for markup or for an end of text.
constexpr char quoteInValue = '\x01';
constexpr char zeroInValue = '\x02';

/// Whether `rest`, the text behind a quote, goes on as markup does: the tag ends, or another attribute
/// follows.
bool continuesAsMarkup(std::string_view rest) {
  if (rest.starts_with('>') || rest.starts_with("?>")) return true;
  if (!rest.starts_with(' ')) return false;
  const auto name = rest.substr(1);
  const auto end =
      std::find_if_not(name.begin(), name.end(), [](unsigned char c) { return std::isalpha(c); });
  const auto length = static_cast<std::size_t>(end - name.begin());
  return length > 0 && name.substr(length).starts_with("=\"");
}

std::string protectValues(std::string_view text) {
  std::string result(text);
  bool insideValue = false;
  for (std::size_t i = 0; i < result.size(); ++i) {
    if (result[i] == '\0') result[i] = zeroInValue;
    if (result[i] != '"') continue;
    if (insideValue && !continuesAsMarkup(text.substr(i + 1))) {
      result[i] = quoteInValue;
    } else {
      insideValue = !insideValue;
    }
  }
  return result;
}

std::string unprotect(std::string value) {
  std::replace(value.begin(), value.end(), quoteInValue, '"');
  std::replace(value.begin(), value.end(), zeroInValue, '\0');
  return value;
}

using Node = rapidxml::xml_node<>;

std::string attribute(const Node* node, const char* name) {
  const auto* found = node ? node->first_attribute(name) : nullptr;
  return found ? unprotect({found->value(), found->value_size()}) : std::string();
}

const Node* child(const Node* node, const char* name) { return node ? node->first_node(name) : nullptr; }

ReportedDevice readDevice(const Node* node) {
  const Node* application = child(node, "Application");
  ReportedDevice device{attribute(node, "componentID"), attribute(node, "enum"),
                        attribute(application, "display"), attribute(application, "version")};
  if (const Node* message = child(child(application, "SPStatus"), "Message")) {
    const std::string id = attribute(message, "id");
    int number = 0;
    if (std::from_chars(id.data(), id.data() + id.size(), number).ec == std::errc()) device.result = number;
    device.message = unprotect({message->value(), message->value_size()});
  }
  return device;
}

/// The parts of a product string: vendor-model, interface, and what is known beyond.
struct Product {
  std::string name;
  std::string interface;
  std::string features;
};

Product splitProduct(const std::string& text) {
  Product product;
  std::size_t start = 0;
  for (int part = 0; start <= text.size(); ++part) {
    const std::size_t end = std::min(text.find(':', start), text.size());
    const std::string item = text.substr(start, end - start);
    if (part == 0) {
      product.name = item;
    } else if (part == 1) {
      product.interface = item;
    } else {
      product.features += (product.features.empty() ? "" : " ") + item;
    }
    start = end + 1;
  }
  return product;
}

}  // namespace

std::vector<ReportedDevice> readReport(std::string_view text) {
  std::string copy = protectValues(text);
  rapidxml::xml_document<> document;
  try {
    document.parse<rapidxml::parse_no_entity_translation>(copy.data());
  } catch (const rapidxml::parse_error&) {
    throw HostError(
        "The report is not well-formed, a device's texts may hold markup: look at it with --xml.");
  }
  const Node* root = document.first_node();
  if (!root) throw HostError("The report is empty: check that the working directory can be written.");

  std::vector<ReportedDevice> devices;
  for (const Node* node = root->first_node("Device"); node; node = node->next_sibling("Device"))
    devices.push_back(readDevice(node));
  return devices;
}

std::string inventoryTable(const std::vector<ReportedDevice>& devices) {
  std::vector<Row> rows = {{"INDEX", "ADDRESS", "PRODUCT", "INTERFACE", "LEVEL", "COMPONENT", "FEATURES"}};
  for (const ReportedDevice& device : devices) {
    const Product product = splitProduct(device.product);
    rows.push_back({std::to_string(rows.size() - 1), device.address, product.name, product.interface,
                    device.level, device.component, product.features});
  }
  return formatTable(rows);
}

std::string outcomeTable(const std::vector<ReportedDevice>& devices) {
  std::vector<Row> rows = {{"ADDRESS", "PRODUCT", "RESULT", "MESSAGE"}};
  for (const ReportedDevice& device : devices)
    rows.push_back({device.address, device.product, device.result ? std::to_string(*device.result) : "?",
                    device.message});
  return formatTable(rows);
}

}  // namespace host
