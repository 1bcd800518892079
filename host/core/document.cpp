#include "host/core/document.h"

#include "host/core/error.h"
#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {
namespace {

Json orNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }
Json orNull(std::uint32_t number) { return number == 0 ? Json(nullptr) : Json(number); }

/// "FW_UPDATE_FAILED", "IN_USE"
std::string resultName(int result) {
  const std::string name = kiv_result_name(result);
  return name.starts_with("KIV_") ? name.substr(4) : name;
}

}  // namespace

Json toJson(const std::vector<Warning>& warnings) {
  Json list = Json::array();
  for (const Warning& warning : warnings)
    list.push_back({{"file", warning.file}, {"line", warning.line}, {"message", warning.message}});
  return list;
}

Json toJson(const std::vector<Unreachable>& unreachable) {
  Json list = Json::array();
  for (const Unreachable& device : unreachable)
    list.push_back(
        {{"path", device.path}, {"windowsError", device.windowsError}, {"message", device.message}});
  return list;
}

Json toJson(const Device& device) {
  Json library;
  if (!device.librarySerial.empty())
    library = {{"serial", device.librarySerial}, {"element", device.element}};
  return {{"type", device.isLibrary() ? "library" : "drive"},
          {"index", device.index},
          {"serial", device.serial},
          {"address", addressText(device.address)},
          {"vendor", device.vendor},
          {"product", device.product},
          {"productString", device.productString},
          {"interface", device.interface},
          {"level", device.level},
          {"component", device.component},
          {"library", library}};
}

Json toJson(const Device& device, const Plan& plan) {
  Json json = toJson(device);
  if (!plan.level.empty()) json["level"] = plan.level;
  json["wanted"] = orNull(plan.wanted);
  json["image"] = nullptr;
  if (plan.image)
    json["image"] = {
        {"file", plan.image->file}, {"bytes", plan.image->bytes}, {"sha256", plan.image->sha256}};
  json["verdict"] = plan.verdict;
  json["message"] = plan.why;
  return json;
}

Json toJson(const kiv_sense& sense) {
  if (!sense.valid) return nullptr;
  return {{"key", sense.key},
          {"asc", sense.asc},
          {"ascq", sense.ascq},
          {"text", kiv_sense_text(sense.key, sense.asc, sense.ascq)}};
}

Json outcome(int result, const std::string& before, const std::string& after, std::uint64_t written,
             const std::string& message) {
  return {{"result", exitStatus(result)},
          {"resultName", resultName(exitStatus(result))},
          {"before", orNull(before)},
          {"after", orNull(after)},
          {"verified", false},
          {"changed", !after.empty() && after != before},
          {"written", written},
          {"seconds", Json::object()},
          {"sense", nullptr},
          {"windowsError", nullptr},
          {"message", message}};
}

Json outcome(const kiv_update_result& result, const std::string& message) {
  Json json = outcome(result.result, text(result.before), text(result.after), result.bytes_written, message);
  json["verified"] = result.verified != 0;
  for (int phase = 0; phase < KIV_PHASE_COUNT; ++phase)
    json["seconds"][kiv_phase_name(phase)] = result.seconds[phase];
  json["sense"] = toJson(result.sense);
  json["windowsError"] = orNull(result.windows_error);
  return json;
}

void addNoOutcome(Json& drive) {
  drive.update(outcome(KIV_OK, drive["level"], "", 0, "Its turn did not come."));
  drive["result"] = nullptr;
  drive["resultName"] = nullptr;
}

void addOutcome(Json& drive, const Plan& plan, const std::string& message) {
  const bool current = plan.status == KIV_OK;
  drive.update(outcome(plan.status, plan.level, current ? plan.level : "", 0, message));
  drive["verified"] = current;
  drive["sense"] = toJson(plan.sense);
  drive["windowsError"] = orNull(plan.windowsError);
}

Json document(const Json& found, const std::vector<Warning>& warnings, int status,
              const std::string& message) {
  Json document = {{"format", 1},
                   {"tool", "kivhost " KIVHOST_VERSION},
                   {"host", platform::computerName()},
                   {"status", status},
                   {"warnings", toJson(warnings)}};
  if (!message.empty()) document["message"] = message;
  document.update(found);
  return document;
}

Json emptyLists(std::initializer_list<const char*> names) {
  Json document = Json::object();
  for (const char* name : names) document[name] = Json::array();
  return document;
}

std::string textOf(const Json& value) {
  return value.is_null() ? "" : value.is_string() ? value.get<std::string>() : value.dump();
}

std::string dump(const Json& document, int indent) {
  return document.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace host
