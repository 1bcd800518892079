#include <algorithm>
#include <cstring>

#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "kiv/kiv.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/update/update_firmware.h"
#include "scsi/sense.h"
#include "update/update_observer.h"

namespace {

constexpr std::uint8_t DATA_MODE = 2;
constexpr std::uint8_t MICROCODE_BUFFER = 4;

void logRefusal(const ScsiCmdWriteBuffer& write, ulong32 offset) {
  if (hasSense(write, INVALID_FIELD_IN_CDB) || hasSense(write, BAD_MICROCODE))
    logger->logDebug("TSTS", 0, "Bad Microcode file!");
  logger->logDebug("TSTS", 0, "Write Buffer Failed at offset %d", static_cast<int>(offset));
  logDump("TSTS", "Write Buffer Sense Data", write.senseSpan());
}

}  // namespace

int UpdateFirmware::performFirmwareUpdate(ScsiTarget* target, unsigned char* image, ulong32 length) {
  ScsiCmdWriteBuffer write(0, 0, 0, 0);
  write.setMode(DATA_MODE);
  write.setBufferId(MICROCODE_BUFFER);
  for (ulong32 offset = 0; offset < length;) {
    const ulong32 chunk = std::min(CHUNK_LENGTH, length - offset);
    write.setOffset(offset);
    write.setParameterListLength(chunk);
    if (write.getIoDataLength() != chunk) return FW_NO_MEMORY;
    std::memcpy(write.getIoData(), image + offset, chunk);
    const ReturnCode status = target->scsiExecCDB(write);
    if (status != CMD_OK) {
      logRefusal(write, offset);
      if (updateObserver()) updateObserver()->failed(write);
      return status == CMD_NO_MEMORY ? FW_NO_MEMORY : FW_UPDATE_FAILED;
    }
    offset += chunk;
    if (updateObserver()) updateObserver()->sent(offset);
  }
  logger->logDebug("TSTS", 0, "Write Buffer completed!!!");
  return FW_NO_ERROR;
}
