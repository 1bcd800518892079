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
  run.document = emptyLists({"parameters"});
  const Session session = run.openSession();
  const std::vector<Setting> settings = readSettings(run.options.settings);
  const auto lock = settings.empty() ? std::nullopt : platform::Lock::take(run.options.session.lockName());
  if (settings.empty()) {
    run.refuseDuringUpdate();
  } else if (!lock) {
    throw HostError(KIV_ALREADY_RUNNING,
                    "An update is running here, so nothing was set: wait until it ends.");
  }
  const std::vector<Device> drives = selectDrives(run, scanDevices());
  if (drives.size() != 1)
    throw HostError(exitUsage, fmt::format("The selection fits {} drives: choose one.", drives.size()));
  const Device& drive = drives.front();

  int status = KIV_OK;
  std::string told;  // for the document of a run that fails
  for (const auto& [name, value] : settings) {
    const int result = kiv_parameter_set(drive.handle, name.c_str(), value.c_str());
    status = exitStatus(result);
    const std::string sentence =
        status == KIV_OK
            ? fmt::format("{}: {} was set to {}.", drive.name(), name, value)
            : fmt::format("{}: {} was not set to {}: {}", drive.name(), name, value, lastErrorText(result));
    told += (told.empty() ? "" : "\n") + sentence;
    if (status != KIV_OK) {
      run.output.complain(sentence);
      run.document["message"] = told;
      break;
    }
    run.output.say(sentence + '\n');
  }
  Json& parameters = run.document["parameters"];
  if (const int result = kiv_parameters(drive.handle, collect, &parameters); result != KIV_OK) {
    const std::string sentence = fmt::format("{}: {}", drive.name(), lastErrorText(result));
    if (!told.empty()) run.document["message"] = told + '\n' + sentence;
    throw HostError(status != KIV_OK ? status : exitStatus(result), sentence);
  }
  std::vector<Row> rows = {{"NAME", "VALUE", "CHOICES"}};
  for (const Json& parameter : parameters)
    rows.push_back({parameter["name"], parameter["value"], parameter["choices"]});
  run.output.say(formatTable(rows));
  return status;
}

}  // namespace host
