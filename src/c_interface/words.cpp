// Names and sentences for the numbers of the interface.
#include <iterator>
#include <span>

#include "kiv/api.h"
#include "kiv/kiv_c.h"

namespace {

struct ResultWords {
  std::int32_t result;
  const char* name;
  const char* text;
};

constexpr ResultWords RESULTS[] = {
    {KIV_OK, "FW_NO_ERROR", "Done."},
    {KIV_DEVICE_DISCONNECTED, "FW_DEVICE_DISCONNECTED",
     "The drive is gone or not ready for a download: check power and cabling, and scan again."},
    {KIV_INVALID_FILE_NAME, "FW_INVALID_FILE_NAME",
     "The firmware image cannot be opened: put the file that Config.txt names beside Config.txt."},
    {KIV_FILE_CORRUPTED, "FW_FILE_CORRUPTED",
     "The firmware image is empty, cut short or larger than 16 MiB: fetch it again."},
    {KIV_UPDATE_FAILED, "FW_UPDATE_FAILED",
     "The drive refused the download: check that Config.txt names the image for this product, and fetch it "
     "again."},
    {KIV_REBOOT_FAILED, "FW_REBOOT_FAILED",
     "The drive did not come back after the download: wait ten minutes, scan, and power-cycle it if it is "
     "still gone."},
    {KIV_NO_DRIVE_CONNECTED, "FW_NO_DRIVE_CONNECTED",
     "Nothing was found: check power and cabling, and run as administrator."},
    {KIV_INVALID_UCODE, "FW_INVALID_UCODE",
     "The drive runs a higher level than the one in Config.txt: force the update to write the lower one."},
    {KIV_CONFIG_ERROR, "FW_CONFIG_ERROR",
     "Config.txt cannot be read or does not name this product: add a line with product, image and level."},
    {KIV_NO_MEMORY, "FW_NO_MEMORY", "There is not enough memory: end other programs and try again."},
    {KIV_LEVEL_NOT_REACHED, "KIV_LEVEL_NOT_REACHED",
     "The drive came back with another level than the wanted one: check that the image brings the level that "
     "Config.txt names."},
    {KIV_IN_USE, "KIV_IN_USE",
     "A cartridge, a reservation or a prevented removal is in the way: end the jobs that use the drive, or "
     "let the cartridge be ejected."},
    {KIV_NO_ACCESS, "KIV_NO_ACCESS",
     "Windows does not open the device: end other programs that use it, and run as administrator."},
    {KIV_IMAGE_MISMATCH, "KIV_IMAGE_MISMATCH",
     "The firmware image differs from its checksum: fetch both again."},
    {KIV_INTERRUPTED, "KIV_INTERRUPTED", "Stopped before anything was written: the drive is unchanged."},
    {KIV_ALREADY_RUNNING, "KIV_ALREADY_RUNNING",
     "Another update runs on this machine: wait until it is over."},
    {KIV_NOT_BACK_IN_TIME, "KIV_NOT_BACK_IN_TIME",
     "The drive was not back in time: do not switch it off, and scan again later."},
    {KIV_BAD_ARGUMENT, "KIV_BAD_ARGUMENT", "An argument makes no sense: mend the host program."},
    {KIV_STALE_DEVICE, "KIV_STALE_DEVICE",
     "The device is none of the last scan: scan again, and look it up again."},
    {KIV_CALL_RUNNING, "KIV_CALL_RUNNING",
     "Another call is running: call when it has returned, and not from a function that it calls."},
    {KIV_COMMAND_FAILED, "KIV_COMMAND_FAILED",
     "The device ended a command with a failure: see its sense data."},
    {KIV_NOT_SUPPORTED, "KIV_NOT_SUPPORTED", "This device cannot do that: choose another one."},
    {KIV_NOT_FOUND, "KIV_NOT_FOUND", "There is nothing of this name: check how it is written."},
    {KIV_UNEXPECTED, "KIV_UNEXPECTED",
     "Something unexpected happened: see the text of the last error, and the log at level debug."},
};

// In the order of kiv_verdict and kiv_phase.
constexpr const char* VERDICTS[] = {
    "unknown",   "not reachable", "not configured",   "image missing",     "image unusable", "reserved",
    "not ready", "downgrade",     "cartridge loaded", "removal prevented", "current",        "update"};
static_assert(std::size(VERDICTS) == KIV_PLAN_UPDATE + 1);
constexpr const char* PHASES[] = {"check", "eject", "read", "download", "restart", "verify"};
static_assert(std::size(PHASES) == KIV_PHASE_COUNT);

const char* nameOf(std::span<const char* const> names, std::int32_t number) {
  const auto index = static_cast<std::uint32_t>(number);
  return index < names.size() ? names[index] : "unknown";
}

const ResultWords* find(std::int32_t result) {
  for (const ResultWords& row : RESULTS) {
    if (row.result == result) return &row;
  }
  return nullptr;
}

}  // namespace

KIV_API const char* kiv_result_name(std::int32_t result) {
  const ResultWords* words = find(result);
  return words ? words->name : "UNKNOWN";
}

KIV_API const char* kiv_result_text(std::int32_t result) {
  const ResultWords* words = find(result);
  return words ? words->text : "This is no result code of kiv: check which library and header are used.";
}

KIV_API const char* kiv_verdict_name(std::int32_t verdict) { return nameOf(VERDICTS, verdict); }

KIV_API const char* kiv_phase_name(std::int32_t phase) { return nameOf(PHASES, phase); }
