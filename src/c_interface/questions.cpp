#include "c_interface/questions.h"

#include "device/arrived_data.h"
#include "device/patience.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/tape/reservations.h"
#include "scsi/sense.h"
#include "scsi/status.h"
#include "scsi/text_field.h"

namespace {

/// Sends a command, patiently; the answer has no text yet.
Answer ask(ScsiTarget& drive, GenericScsiCommand& command) {
  const Patience patience;
  Answer answer;
  answer.given = drive.scsiExecCDB(command) == CMD_OK;
  answer.outcome = outcomeOf(drive, command);
  return answer;
}

/// Whether anybody holds a persistent reservation. TEST UNIT READY passes by those.
bool isReserved(ScsiTarget& drive) {
  constexpr std::uint32_t ONE_RESERVATION = 24;
  TapeCmdPersistentReserveIn command(PERSIST_READ_RESERVATION, ONE_RESERVATION);
  const Answer answer = ask(drive, command);
  return answer.given ? readBe32(arrivedData(drive, command), 4) != 0
                      : answer.outcome.status == STATUS_RESERVATION_CONFLICT;
}

}  // namespace

void clearAttentions(ScsiTarget& device) {
  ScsiCmdTestUnitReady probe;
  ask(device, probe);
}

Answer askLevel(ScsiTarget& drive) {
  ScsiCmdInquiry inquiry(0, false, 36);
  Answer answer = ask(drive, inquiry);
  const auto data = arrivedData(drive, inquiry);
  answer.given = answer.given && data.size() >= 36;
  if (answer.given) answer.text = readText(data, 32, 4);
  return answer;
}

Answer askSerialNumber(ScsiTarget& drive) {
  constexpr std::uint8_t SERIAL_NUMBER_PAGE = 0x80;
  constexpr std::uint16_t ALLOCATION = 30;
  ScsiCmdInquiry inquiry(SERIAL_NUMBER_PAGE, true, ALLOCATION);
  Answer answer = ask(drive, inquiry);
  const auto data = arrivedData(drive, inquiry);
  if (answer.given) answer.text = readText(data, 4, std::min<std::size_t>(readBe16(data, 2), ALLOCATION - 4));
  return answer;
}

Readiness askReadiness(ScsiTarget& drive, Outcome& outcome) {
  outcome.status = STATUS_RESERVATION_CONFLICT;
  if (isReserved(drive)) return Readiness::Reserved;
  ScsiCmdTestUnitReady probe;
  const bool ready = ask(drive, probe).given;
  outcome = outcomeOf(drive, probe);
  if (ready) return Readiness::Loaded;
  if (outcome.status == STATUS_RESERVATION_CONFLICT) return Readiness::Reserved;
  if (hasSense(probe, MEDIUM_NOT_PRESENT) || hasSense(probe, INITIALIZATION_REQUIRED) ||
      probe.getSenseKey() == HARDWARE_ERROR)
    return Readiness::Empty;
  return outcome.sense.valid || outcome.status == STATUS_BUSY ? Readiness::NotReady : Readiness::Unreachable;
}

bool isRemovalPrevented(ScsiTarget& drive) {
  // DT device status (SSC-4): the PAMR bit of the very high frequency data, the first parameter.
  constexpr std::uint8_t DEVICE_STATUS_PAGE = 0x11;
  constexpr std::uint8_t CUMULATIVE = 1;
  ScsiCmdLogSense command(CUMULATIVE, DEVICE_STATUS_PAGE, 0, 256);
  command.setForcePassthrough(true);
  if (!ask(drive, command).given) return false;
  const auto page = arrivedData(drive, command);
  const bool isThere = (readByte(page, 0) & 0x3F) == DEVICE_STATUS_PAGE && page.size() > 8 &&
                       readBe16(page, 4) == 0 && page[7] > 0;
  return isThere && (page[8] & 0x80) != 0;
}
