#include <fmt/format.h>

#include <optional>

#include "host/commands/commands.h"
#include "host/core/error.h"
#include "host/core/sentences.h"
#include "host/core/text.h"
#include "host/platform/platform.h"

namespace host {
namespace {

struct Setting {
  std::string name, value;
};

/// All of them make sense, or none is returned.
std::vector<Setting> readSettings(const std::vector<std::string>& texts) {
  std::vector<Setting> settings;
  for (const std::string& word : texts) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos)
      throw HostError(exitUsage,
                      fmt::format("--set {} lacks a value: write NAME=VALUE, as in compression=on.", word));
    const Setting setting{word.substr(0, equals), word.substr(equals + 1)};
    const int result = kiv_parameter_check(setting.name.c_str(), setting.value.c_str());
    if (result != KIV_OK)
      throw HostError(exitUsage, fmt::format("--set {}: {}", word, lastErrorText(result)));
    settings.push_back(setting);
  }
  return settings;
}

std::int32_t collect(const kiv_parameter* parameter, void* user) {
  static_cast<Json*>(user)->push_back(
      {{"name", parameter->name}, {"value", parameter->text}, {"choices", parameter->choices}});
  return 0;
}

}  // namespace

int params(Run& run) {
  run.document["parameters"] = Json::array();
  const Session session = run.openSession();
  const std::vector<Setting> settings = readSettings(run.options.settings);
  const auto lock = settings.empty() ? std::nullopt : platform::Lock::take(run.options.session.lockName());
  if (!lock) run.refuseDuringUpdate();
  const std::vector<Device> drives = selectDrives(run, scanDevices());
  if (drives.size() != 1)
    throw HostError(exitUsage, fmt::format("The selection fits {} drives: choose one.", drives.size()));
  const Device& drive = drives.front();

  int status = KIV_OK;
  for (const auto& [name, value] : settings) {
    const int result = kiv_parameter_set(drive.handle, name.c_str(), value.c_str());
    if (result == KIV_OK) {
      run.output.say(fmt::format("{}: {} was set to {}.\n", drive.name(), name, value));
      continue;
    }
    run.output.complain(
        fmt::format("{}: {} was not set to {}: {}", drive.name(), name, value, lastErrorText(result)));
    status = exitStatus(result);
    break;
  }
  Json& parameters = run.document["parameters"];
  if (const int result = kiv_parameters(drive.handle, collect, &parameters); result != KIV_OK)
    throw HostError(status != KIV_OK ? status : exitStatus(result),
                    fmt::format("{}: {}", drive.name(), lastErrorText(result)));
  std::vector<Row> rows = {{"NAME", "VALUE", "CHOICES"}};
  for (const Json& parameter : parameters)
    rows.push_back({parameter["name"], parameter["value"], parameter["choices"]});
  run.output.say(formatTable(rows));
  return status;
}

}  // namespace host
