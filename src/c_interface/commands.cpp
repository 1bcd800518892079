// Single commands: any that a host likes, and those that move cartridges.
#include <algorithm>
#include <span>
#include <string>

#include "c_interface/call.h"
#include "c_interface/devices.h"
#include "c_interface/outcome.h"
#include "c_interface/questions.h"
#include "c_interface/structure.h"
#include "device/arrived_data.h"
#include "device/timeouts.h"
#include "kiv/api.h"
#include "kiv/changer/commands.h"
#include "kiv/scsi/big_endian.h"
#include "kiv/tape/medium.h"
#include "scsi/sense.h"
#include "scsi/status.h"

namespace {

constexpr std::uint32_t LONGEST_TIME_OUT = 0x7FFFFFFF;

/// Gives an operation code a time-out of its own for one command: the target's table goes before the
/// command's.
class OwnTimeOut {
 public:
  OwnTimeOut(ScsiTarget& device, std::uint8_t opcode, std::uint32_t seconds) : target(device) {
    if (seconds == 0) return;
    key = timeoutKey(opcode);
    before = std::to_string(target.getTimeoutForOpcode(opcode));
    target.setProperty(key.c_str(), std::to_string(seconds).c_str());
  }
  ~OwnTimeOut() {
    if (!key.empty()) target.setProperty(key.c_str(), before.c_str());
  }
  OwnTimeOut(const OwnTimeOut&) = delete;
  OwnTimeOut& operator=(const OwnTimeOut&) = delete;

 private:
  ScsiTarget& target;
  std::string key;
  std::string before;
};

std::string numberText(const char* what, std::uint32_t number, const char* should) {
  return std::string(what) + " is " + std::to_string(number) + ": " + should + ".";
}

void checkRequest(const kiv_request& request, const FoundDevice& device) {
  const std::uint32_t length = request.cdb_length;
  if (length != CDB_6 && length != CDB_10 && length != CDB_12 && length != CDB_16)
    throw Failure{KIV_BAD_ARGUMENT, numberText("The CDB length", length, "make it 6, 10, 12 or 16")};
  if (request.direction < KIV_DATA_NONE || request.direction > KIV_DATA_OUT)
    throw Failure{KIV_BAD_ARGUMENT, "The direction is none: use KIV_DATA_NONE, KIV_DATA_IN or KIV_DATA_OUT."};
  if ((request.direction == KIV_DATA_NONE) != (request.data_length == 0))
    throw Failure{KIV_BAD_ARGUMENT,
                  "Direction and data length do not agree: only a command without data has no data."};
  if (request.data_length != 0) requirePointer(request.data, "The data buffer");
  if (request.data_length > device.info.maximum_transfer)
    throw Failure{KIV_BAD_ARGUMENT, numberText("The data length", request.data_length,
                                               "make it fit into maximum_transfer of the device")};
  if (request.seconds > LONGEST_TIME_OUT)
    throw Failure{KIV_BAD_ARGUMENT, numberText("The time-out", request.seconds, "make it fit into 31 bits")};
}

/// Sense data as long as the device says that they are (SPC-4, fixed and descriptor format).
std::uint8_t senseLength(std::span<const std::uint8_t> sense) {
  constexpr std::size_t HEADER = 8;
  if (senseResponseCode(sense) == 0) return 0;
  return static_cast<std::uint8_t>(std::min<std::size_t>(HEADER + readByte(sense, 7), sense.size()));
}

/// Puts a command together, sends it, and takes its answer over.
Outcome exchange(ScsiTarget& target, kiv_request& request) {
  GenericScsiCommand command(static_cast<CDBLength>(request.cdb_length));
  const bool complete = command.getCdbLength() == request.cdb_length &&
                        command.setSenseDataLength(sizeof request.sense) == CMD_OK &&
                        command.setIoDataLength(request.data_length) == CMD_OK;
  if (!complete) throw Failure{KIV_NO_MEMORY, {}};
  std::copy_n(request.cdb, request.cdb_length, command.getCdb());
  command.setDataDirection(static_cast<ScsiDataDirection>(request.direction));
  auto* data = static_cast<std::uint8_t*>(request.data);
  if (request.direction == KIV_DATA_OUT) std::copy_n(data, request.data_length, command.getIoData());

  {
    const OwnTimeOut timeOut(target, request.cdb[0], request.seconds);
    target.scsiExecCDB(command);
  }
  const Outcome outcome = outcomeOf(target, command);
  // A request that Windows did not carry out keeps the length that was asked for.
  const bool carriedOut = outcome.windowsError == 0 && !outcome.timedOut;
  request.transferred = carriedOut ? static_cast<std::uint32_t>(arrivedData(target, command).size()) : 0;
  if (request.direction == KIV_DATA_IN) std::copy_n(command.getIoData(), request.transferred, data);
  request.status = outcome.status;
  request.timed_out = outcome.timedOut;
  request.windows_error = outcome.windowsError;
  request.sense_length = senseLength(command.senseSpan());
  std::copy_n(command.getSenseData(), request.sense_length, request.sense);
  return outcome;
}

const FoundDevice& require(kiv_device number, kiv_device_type type) {
  const FoundDevice& device = reachableDevice(number);
  if (device.info.type != type)
    throw Failure{KIV_NOT_SUPPORTED,
                  nameOf(device) + (type == KIV_TYPE_DRIVE ? " is no tape drive." : " is no library.")};
  return device;
}

/// Sends a command that moves a cartridge, once; what happened to the device before is told first.
void move(const FoundDevice& device, GenericScsiCommand&& command, const char* what) {
  const OpenDevice target(device);
  clearAttentions(*target);
  if (target->scsiExecCDB(command) == CMD_OK) return;
  const Outcome outcome = outcomeOf(*target, command);
  const bool inUse = outcome.status == STATUS_RESERVATION_CONFLICT ||
                     (outcome.sense.valid && outcome.sense.asc == REMOVAL_PREVENTED.asc &&
                      outcome.sense.ascq == REMOVAL_PREVENTED.ascq);
  throw Failure{inUse ? KIV_IN_USE : KIV_COMMAND_FAILED,
                nameOf(device) + " did not " + what + " (" + outcomeText(outcome) + ").",
                outcome.windowsError, outcome.sense};
}

std::uint16_t elementAddress(std::uint32_t address) {
  if (address > 0xFFFF)
    throw Failure{KIV_BAD_ARGUMENT, numberText("An element address", address, "it has 16 bits")};
  return static_cast<std::uint16_t>(address);
}

}  // namespace

KIV_API std::int32_t kiv_command(kiv_device device, kiv_request* request) {
  return runCall([&] {
    requireStructure(request, "The request");
    const FoundDevice& found = reachableDevice(device);
    checkRequest(*request, found);
    const OpenDevice target(found);
    const Outcome outcome = exchange(*target, *request);
    if (outcome.status != STATUS_GOOD)
      throw Failure{KIV_COMMAND_FAILED,
                    nameOf(found) + " ended the command with a failure (" + outcomeText(outcome) + ").",
                    outcome.windowsError, outcome.sense};
  });
}

KIV_API std::int32_t kiv_move_medium(kiv_device library, std::uint32_t transport, std::uint32_t source,
                                     std::uint32_t destination) {
  return runCall([&] {
    move(require(library, KIV_TYPE_LIBRARY),
         ChangerMoveMedium(elementAddress(transport), elementAddress(source), elementAddress(destination)),
         "move the cartridge");
  });
}

KIV_API std::int32_t kiv_load(kiv_device drive) {
  return runCall([&] { move(require(drive, KIV_TYPE_DRIVE), TapeCmdLoad(false), "load its cartridge"); });
}

KIV_API std::int32_t kiv_unload(kiv_device drive) {
  return runCall(
      [&] { move(require(drive, KIV_TYPE_DRIVE), TapeCmdUnLoad(false, false), "unload its cartridge"); });
}
