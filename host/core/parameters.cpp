#include "host/core/parameters.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <vector>

#include "host/core/result.h"
#include "host/core/table.h"
#include "kiv/device/target.h"
#include "kiv/frame/text.h"
#include "kiv/tape/parameters.h"

namespace host {
namespace {

// A block length has 24 bits. The timer counts tenths of a second in 32 bits.
// clang-format off
constexpr Setting settings[] = {
    {"compression",           PARAM_COMPRESSION,           1,               ""},
    {"block-size",            PARAM_BLOCK_LENGTH,          0xFFFFFF,        "bytes, 0 for blocks of any length"},
    {"buffered-mode",         PARAM_WRITE_CACHE,           1,               ""},
    {"data-safe-mode",        PARAM_DATA_SAFE_MODE,        1,               ""},
    {"skip-sync",             PARAM_SKIP_SYNC,             1,               ""},
    {"sleep-mode-timer",      PARAM_SLEEP_MODE_TIMER,      UINT32_MAX / 10, "seconds, 0 for never"},
    {"archive-mode-unthread", PARAM_ARCHIVE_MODE_UNTHREAD, 1,               ""},
};
// clang-format on

std::string choices(const Setting& setting) {
  return setting.meaning.empty() ? "on or off" : fmt::format("0 to {} {}", setting.most, setting.meaning);
}

std::optional<std::uint32_t> parseValue(const Setting& setting, std::string_view text) {
  if (setting.meaning.empty()) {
    std::string word(text);
    std::ranges::transform(word, word.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (word == "on" || word == "yes" || word == "true") return 1;
    if (word == "off" || word == "no" || word == "false") return 0;
  }
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value > setting.most) return std::nullopt;
  return value;
}

std::string nameOf(ScsiTarget& drive) {
  std::string serial = drive.getSerialNumber();
  trimString(serial, " ");
  return "The drive " + printable(serial);
}

/// Keeps a drive open.
class Opened {
 public:
  explicit Opened(ScsiTarget& drive) : drive_(drive) {
    if (drive.openDevice() == CMD_OK) return;
    throw HostError(nameOf(drive) +
                    " cannot be opened: end other programs that use it, check cabling and try again.");
  }
  ~Opened() { drive_.closeDevice(); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

 private:
  ScsiTarget& drive_;
};

/// What has happened to a drive meanwhile is answered first, as a unit attention.
template <class Run>
ReturnCode execute(const ScsiCommand& command, Run run) {
  constexpr std::uint8_t unitAttention = 6;
  ReturnCode status = CMD_ERROR;
  for (int attempt = 0; attempt < 4; ++attempt) {
    status = run();
    if (status == CMD_OK || !command.isSenseDataValid() || command.getSenseKey() != unitAttention) break;
  }
  return status;
}

/// Whether a failure says that there is no such thing, on the drive or on the way to it.
bool isUnsupported(ReturnCode status, const ScsiCommand& command) {
  constexpr std::uint8_t illegalRequest = 5;
  return status == CMD_NOT_SUPPORTED || status == CMD_INVALID_PARAMETER_TYPE ||
         (command.isSenseDataValid() && command.getSenseKey() == illegalRequest);
}

std::string reasonOf(ReturnCode status, const ScsiCommand& command) {
  if (command.isSenseDataValid())
    return fmt::format("sense {:X}/{:02X}/{:02X}", command.getSenseKey(), command.getASC(),
                       command.getASCQ());
  return command.getTimeoutOccured() ? "no answer in time" : fmt::format("result {}", status);
}

struct Reading {
  std::string name;
  std::string text;
  std::uint32_t value;
};

/// Nothing when the drive does not support the parameter.
std::optional<Reading> read(ScsiTarget& drive, const Setting& setting) {
  TapeMetaCmdQueryParam query(&drive, setting.type, DEFAULT_SENSE_LENGTH);
  const ReturnCode status = execute(query, [&] { return query.queryParameter(); });
  if (const ParameterValue* entry = query.getAllParameters().getEntry(0))
    return Reading{entry->getParameterName(), entry->getDecodedValue(), query.getValue()};
  if (status == CMD_OK || isUnsupported(status, query)) return std::nullopt;
  throw HostError(fmt::format("{} does not tell {} ({}): wait until it is ready and try again.",
                              nameOf(drive), setting.name, reasonOf(status, query)));
}

}  // namespace

Assignment parseAssignment(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == text.npos)
    throw HostError(fmt::format("\"{}\" sets nothing: write NAME=VALUE, such as compression=on.", text));
  const std::string_view name = text.substr(0, equals);
  const std::string_view value = text.substr(equals + 1);
  const auto setting = std::ranges::find(settings, name, &Setting::name);
  if (setting == std::end(settings)) {
    std::vector<std::string_view> names;
    for (const Setting& known : settings) names.push_back(known.name);
    throw HostError(
        fmt::format("There is no parameter \"{}\": choose one of {}.", name, fmt::join(names, ", ")));
  }
  const auto parsed = parseValue(*setting, value);
  if (!parsed)
    throw HostError(fmt::format("\"{}\" is no value for {}: choose {}.", value, name, choices(*setting)));
  return {setting, *parsed};
}

std::string parametersTable(ScsiTarget& drive) {
  const Opened opened(drive);
  std::vector<Row> rows = {{"PARAMETER", "VALUE", "SETTING", "CHOICES"}};
  std::vector<std::string_view> unsupported;
  for (const Setting& setting : settings) {
    if (const auto reading = read(drive, setting)) {
      rows.push_back({reading->name, reading->text, std::string(setting.name), choices(setting)});
    } else {
      unsupported.push_back(setting.name);
    }
  }
  std::string text = rows.size() > 1 ? formatTable(rows) : "";
  if (!unsupported.empty())
    text += fmt::format("{} does not support {}.\n", nameOf(drive), fmt::join(unsupported, ", "));
  return text;
}

std::string setParameter(ScsiTarget& drive, const Assignment& assignment) {
  const Setting& setting = *assignment.setting;
  const Opened opened(drive);
  const auto before = read(drive, setting);
  if (!before) throw HostError(fmt::format("{} does not support {}.", nameOf(drive), setting.name));

  TapeMetaCmdSetParam command(&drive, setting.type, assignment.value, DEFAULT_SENSE_LENGTH);
  // The command keeps the block length that it finds in place of the one to set.
  const ReturnCode status = execute(command, [&] {
    command.setValue(assignment.value);
    return command.setParameter();
  });
  if (status != CMD_OK && isUnsupported(status, command))
    throw HostError(fmt::format("{} does not support this value of {} ({}).", nameOf(drive), setting.name,
                                reasonOf(status, command)));
  if (status != CMD_OK)
    throw HostError(fmt::format("{} did not set {} ({}): wait until it is ready and try again.",
                                nameOf(drive), setting.name, reasonOf(status, command)));

  const auto after = read(drive, setting);
  if (!after || after->value != assignment.value)
    throw HostError(fmt::format("{} accepted the new value of {} and still reports {}: it cannot be changed.",
                                nameOf(drive), setting.name, after ? after->text : "none"));
  return fmt::format("{}: {} (was {})\n", after->name, after->text, before->text);
}

}  // namespace host
