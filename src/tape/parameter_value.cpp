#include "kiv/tape/parameter_value.h"

#include <algorithm>
#include <array>
#include <span>

#include "kiv/frame/logger.h"

namespace {

constexpr std::uint32_t NO_INDEX = 0xFFFFFFFF;

constexpr std::array<const char*, 5> PERCENT_TEXTS = {"100%", "75%", "50%", "25%", "VALUE"};
constexpr std::array<const char*, 6> MODE_TEXTS = {"N/A", "Manual", "System", "Auto", "Accum.", "Random"};

std::string textOrNumber(std::span<const char* const> texts, long value) {
  const bool named = value >= 0 && static_cast<std::size_t>(value) < texts.size();
  return named ? texts[static_cast<std::size_t>(value)] : std::to_string(value);
}

}  // namespace

std::string decodeParameter(bool value, OutputFormat format) {
  switch (format) {
    case OUTPUT_YES_NO:
      return value ? "Yes" : "No";
    case OUTPUT_ON_OFF:
      return value ? "On" : "Off";
    default:
      return value ? "true" : "false";
  }
}

std::string decodeParameter(long value, OutputFormat format) {
  switch (format) {
    case OUTPUT_PERCENT:
      return textOrNumber(PERCENT_TEXTS, value);
    case OUTPUT_MODE:
      return textOrNumber(MODE_TEXTS, value);
    default:
      return std::to_string(value);
  }
}

std::string decodeParameter(const std::string& value, OutputFormat) { return value; }

ParameterValue::ParameterValue(std::string name, ParamType type, bool isChangeable, OutputFormat format)
    : parameterName(std::move(name)), parameterType(type), changeable(isChangeable), outputFormat(format) {}

ParameterValue::~ParameterValue() = default;

ParameterVector::ParameterVector() = default;
ParameterVector::~ParameterVector() = default;

ParameterVector::ParameterVector(const ParameterVector& other) {
  for (const auto& entry : other.entries) entries.push_back(entry->clone());
}

ParameterVector& ParameterVector::operator=(const ParameterVector& other) {
  logger->logDebug("SCSI", 0, "ParameterVector::operator= %d", static_cast<int>(other.entries.size()));
  ParameterVector copy(other);
  entries.swap(copy.entries);
  return *this;
}

void ParameterVector::add(ParameterValue* entry) {
  std::unique_ptr<ParameterValue> owned(entry);
  if (owned) entries.push_back(std::move(owned));
}

ParameterValue* ParameterVector::getEntry(std::uint32_t index) const {
  return index < entries.size() ? entries[index].get() : nullptr;
}

void ParameterVector::clearAllParameters() { entries.clear(); }

std::uint32_t ParameterVector::count(bool changeable) const {
  return static_cast<std::uint32_t>(
      std::ranges::count_if(entries, [&](const auto& entry) { return entry->isChangeable() == changeable; }));
}

std::uint32_t ParameterVector::indexOf(bool changeable, int n) const {
  for (std::uint32_t i = 0; i < entries.size(); ++i) {
    if (entries[i]->isChangeable() == changeable && n-- == 0) return i;
  }
  return NO_INDEX;
}
