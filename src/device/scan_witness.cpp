#include "device/scan_witness.h"

#include <algorithm>
#include <utility>

#include "device/dos_devices.h"
#include "scsi/sense.h"
#include "scsi/status.h"

namespace {

ScsiAddress addressOf(ScsiTarget& target) {
  return {target.getHostAdapterId(), target.getBusNumber(), target.getTargetId(), target.getLun()};
}

}  // namespace

void ScanWitness::begin() {
  if (current) current->refusals.clear();
}

void ScanWitness::refused(const std::string& path, DWORD error) {
  if (current == nullptr || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return;
  const bool known = std::ranges::any_of(
      current->refusals, [&](const Refusal& refusal) { return equalsIgnoringCase(refusal.path, path); });
  if (!known) current->refusals.push_back({path, error});
}

void ScanWitness::failed() {
  if (current && !current->refusals.empty())
    current->devices.push_back({std::exchange(current->refusals, {}), std::nullopt});
}

void ScanWitness::failed(std::uint8_t hostAdapter, const InquiryRecord& record) {
  if (current) current->devices.push_back({std::exchange(current->refusals, {}), record, hostAdapter});
}

void ScanWitness::unanswered(ScsiTarget& target, const ScsiCommand& command) {
  const std::uint8_t key = senseIn(command.senseSpan()).key;
  if (current == nullptr || key == ILLEGAL_REQUEST) return;
  const bool waits = key == NOT_READY || command.getExecutionStatus() == CMD_BUSY;
  const auto error = static_cast<DWORD>(command.getAdditionalFailureCode());
  current->doubts.push_back({addressOf(target),
                             {command.getTargetStatus() == STATUS_RESERVATION_CONFLICT,
                              waits                    ? ERROR_NOT_READY
                              : error != ERROR_SUCCESS ? error
                                                       : ERROR_IO_DEVICE}});
}

std::optional<Doubt> ScanWitness::doubtAbout(ScsiTarget& target) const {
  std::optional<Doubt> worst;
  for (const auto& [address, doubt] : doubts)
    if (address == addressOf(target) && (!worst || worst->reserved)) worst = doubt;
  return worst;
}
