#include "device/scan_witness.h"

#include <algorithm>
#include <utility>

#include "device/dos_devices.h"

bool isSamePath(std::string_view a, std::string_view b) {
  return a.size() == b.size() && startsWithIgnoringCase(a, b);
}

void ScanWitness::begin() {
  if (current) current->refusals.clear();
}

void ScanWitness::refused(const std::string& path, DWORD error) {
  if (current == nullptr || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return;
  const bool known = std::ranges::any_of(
      current->refusals, [&](const Refusal& refusal) { return isSamePath(refusal.path, path); });
  if (!known) current->refusals.push_back({path, error});
}

void ScanWitness::failed() {
  if (current && !current->refusals.empty())
    current->devices.push_back({std::exchange(current->refusals, {}), std::nullopt});
}

void ScanWitness::failed(std::uint8_t hostAdapter, const InquiryRecord& record) {
  if (current) current->devices.push_back({std::exchange(current->refusals, {}), record, hostAdapter});
}
