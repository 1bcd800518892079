#include "device/scan_witness.h"

#include <utility>

void ScanWitness::begin() {
  if (current) current->refusals.clear();
}

void ScanWitness::refused(const std::string& path, DWORD error) {
  const bool isThere = error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
  if (current && isThere) current->refusals.push_back({path, error});
}

void ScanWitness::failed() {
  if (current && !current->refusals.empty())
    current->devices.push_back({std::exchange(current->refusals, {}), std::nullopt});
}

void ScanWitness::failed(std::uint8_t hostAdapter, const InquiryRecord& record) {
  if (current) current->devices.push_back({std::exchange(current->refusals, {}), record, hostAdapter});
}
