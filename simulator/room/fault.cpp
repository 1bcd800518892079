#include "simulator/room/fault.h"

#include <algorithm>
#include <cctype>

namespace simulator {

static char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

static bool sameIgnoringCase(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return upper(x) == upper(y); });
}

// The pattern is a beginning of the text; "?" stands for any digit.
static bool beginsLike(const std::string& text, const std::string& pattern) {
  return pattern.size() <= text.size() &&
         std::equal(pattern.begin(), pattern.end(), text.begin(),
                    [](char p, char t) { return p == '?' || upper(p) == t; });
}

static bool matches(const Fault& fault, const JournalEntry& use) {
  if (!fault.device.empty() && fault.device != use.address && !sameIgnoringCase(fault.device, use.device))
    return false;
  if (!fault.cdb.empty()) return !use.cdb.empty() && beginsLike(use.text, fault.cdb);
  if (use.cdb.empty())
    return fault.call == use.call || (use.call == "DeviceIoControl" && fault.call == use.text);
  return use.call == "CDB" && (fault.call == "DeviceIoControl" || fault.call == "SCSI_PASS_THROUGH_DIRECT");
}

const Fault* Faults::strike(const JournalEntry& use) {
  const Fault* result = nullptr;
  for (Armed& armed : armed_) {
    const Fault& fault = armed.fault;
    if (!matches(fault, use)) continue;
    ++armed.uses;
    const bool due = armed.uses >= fault.nth && (fault.times == 0 || armed.uses < fault.nth + fault.times);
    if (due && !result) result = &fault;
  }
  return result;
}

}  // namespace simulator
