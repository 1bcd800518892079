// The parameters of tape drives, by name.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <string_view>

#include "c_interface/call.h"
#include "c_interface/devices.h"
#include "c_interface/outcome.h"
#include "c_interface/questions.h"
#include "c_interface/structure.h"
#include "kiv/api.h"
#include "kiv/tape/parameters.h"
#include "scsi/sense.h"

namespace {

/// A parameter as hosts name it. Switches take on and off, all others numbers.
struct Setting {
  const char* name;
  ParamType type;
  std::uint32_t most;   ///< largest value; the smallest is 0
  const char* meaning;  ///< of a number; empty for a switch
  bool isSwitch() const { return *meaning == '\0'; }
};

// A block length has 24 bits. The timer counts tenths of a second in 32 bits.
// clang-format off
constexpr Setting SETTINGS[] = {
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
  return setting.isSwitch() ? "on or off" : "0 to " + std::to_string(setting.most) + " " + setting.meaning;
}

const Setting& findSetting(std::string_view name) {
  std::string names;
  for (const Setting& setting : SETTINGS) {
    if (name == setting.name) return setting;
    names += (names.empty() ? "" : ", ") + std::string(setting.name);
  }
  throw Failure{KIV_NOT_FOUND,
                "There is no parameter \"" + std::string(name) + "\": choose one of " + names + "."};
}

std::optional<std::uint32_t> parseSwitch(std::string_view text) {
  std::string word(text);
  std::ranges::transform(word, word.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (word == "on" || word == "yes" || word == "true") return 1;
  if (word == "off" || word == "no" || word == "false") return 0;
  return std::nullopt;
}

std::uint32_t parseValue(const Setting& setting, std::string_view text) {
  if (setting.isSwitch()) {
    if (const auto value = parseSwitch(text)) return *value;
  }
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc() && end == text.data() + text.size() && value <= setting.most) return value;
  throw Failure{KIV_BAD_ARGUMENT, "\"" + std::string(text) + "\" is no value for " + setting.name +
                                      ": choose " + choices(setting) + "."};
}

const FoundDevice& requireDrive(kiv_device number) {
  const FoundDevice& device = reachableDevice(number);
  if (device.info.type != KIV_TYPE_DRIVE)
    throw Failure{KIV_NOT_SUPPORTED, nameOf(device) + " has no parameters: ask a tape drive."};
  return device;
}

/// Whether a failure says that there is no such thing, on the drive or on the way to it.
bool isUnsupported(ReturnCode status, const ScsiCommand& command) {
  return status == CMD_NOT_SUPPORTED || status == CMD_INVALID_PARAMETER_TYPE ||
         (command.isSenseDataValid() && command.getSenseKey() == ILLEGAL_REQUEST);
}

[[noreturn]] void fail(const FoundDevice& device, const Setting& setting, const char* what,
                       const ScsiCommand& command) {
  const Outcome outcome = outcomeOf(*device.target, command);
  throw Failure{KIV_COMMAND_FAILED,
                nameOf(device) + " did not " + what + " " + setting.name + " (" + outcomeText(outcome) +
                    "): wait until it is ready and try again.",
                outcome.windowsError, outcome.sense};
}

struct Reading {
  std::string title;
  std::string text;
  std::uint32_t value;
};

/// Nothing when the drive does not have the parameter.
std::optional<Reading> read(const FoundDevice& device, const Setting& setting) {
  TapeMetaCmdQueryParam query(device.target, setting.type, DEFAULT_SENSE_LENGTH);
  const ReturnCode status = query.queryParameter();
  if (const ParameterValue* entry = query.getAllParameters().getEntry(0))
    return Reading{entry->getParameterName(), entry->getDecodedValue(), query.getValue()};
  if (status == CMD_OK || isUnsupported(status, query)) return std::nullopt;
  fail(device, setting, "tell", query);
}

void set(const FoundDevice& device, const Setting& setting, std::uint32_t value) {
  const auto unsupported = [&](const char* what) {
    return Failure{KIV_NOT_SUPPORTED, nameOf(device) + " does not have " + what + setting.name + "."};
  };
  if (!read(device, setting)) throw unsupported("the parameter ");
  TapeMetaCmdSetParam command(device.target, setting.type, value, DEFAULT_SENSE_LENGTH);
  const ReturnCode status = command.setParameter();
  if (status != CMD_OK && isUnsupported(status, command)) throw unsupported("this value of ");
  if (status != CMD_OK) fail(device, setting, "set", command);
  const auto after = read(device, setting);
  if (after && after->value == value) return;
  throw Failure{KIV_NOT_SUPPORTED, nameOf(device) + " took the new value of " + setting.name +
                                       " and still tells " + (after ? after->text : "none") +
                                       ": it cannot be changed."};
}

}  // namespace

KIV_API std::int32_t kiv_parameters(kiv_device device, kiv_parameter_function function, void* user) {
  return runCall([&] {
    requirePointer(function, "The function");
    const FoundDevice& found = requireDrive(device);
    const OpenDevice drive(found);
    clearAttentions(*drive);
    for (const Setting& setting : SETTINGS) {
      const auto reading = read(found, setting);
      if (!reading) continue;
      const std::string allowed = choices(setting);
      const kiv_parameter parameter{sizeof parameter,       reading->value,        setting.name,
                                    reading->title.c_str(), reading->text.c_str(), allowed.c_str()};
      if (function(&parameter, user) != 0) return;
    }
  });
}

KIV_API std::int32_t kiv_parameter_check(const char* name, const char* value) {
  return runCall([&] {
    requirePointer(name, "The name");
    requirePointer(value, "The value");
    parseValue(findSetting(name), value);
  });
}

KIV_API std::int32_t kiv_parameter_set(kiv_device device, const char* name, const char* value) {
  return runCall([&] {
    requirePointer(name, "The name");
    requirePointer(value, "The value");
    const Setting& setting = findSetting(name);
    const std::uint32_t number = parseValue(setting, value);
    const FoundDevice& found = requireDrive(device);
    const OpenDevice drive(found);
    clearAttentions(*drive);
    set(found, setting, number);
  });
}
