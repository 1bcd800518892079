#include "kiv/tape/display_message.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>

#include "frame/log_dump.h"
#include "kiv/frame/logger.h"
#include "scsi/cdb.h"

namespace {

constexpr std::uint8_t PARAMETER_LENGTH = 24;
constexpr std::uint8_t TEXT_LENGTH = 16;
constexpr std::size_t PROCESSING = 1, LENGTH = 7;  // in the header

}  // namespace

TapeCmdDisplayMessage::TapeCmdDisplayMessage()
    : GenericScsiCommand(cdbOf(DISPLAY_MESSAGE, Be24(0), PARAMETER_LENGTH, 0)) {
  initializeMessage();
}

TapeCmdDisplayMessage::TapeCmdDisplayMessage(const char* message1, const char* message2, int type,
                                             int control)
    : TapeCmdDisplayMessage() {
  setDataDirection(SCSI_DATA_OUT);
  setMessage(0, message1);
  setMessage(1, message2);
  setType(type);
  setControl(control);
  updateIoData();
}

void TapeCmdDisplayMessage::initializeMessage() {
  parameters.header.fill(0);
  parameters.header[LENGTH] = TEXT_LENGTH;
  for (auto& message : parameters.messages) message.fill(' ');
  setIoDataLength(PARAMETER_LENGTH);
  logDump("SCSI", "TapeCmdDisplayMessage Initial message: ",
          std::bit_cast<std::array<std::uint8_t, sizeof parameters>>(parameters));
}

void TapeCmdDisplayMessage::setMessage(int index, const char* text) {
  if (index == 0 || index == 1) {
    auto& message = parameters.messages[static_cast<std::size_t>(index)];
    message.fill(' ');
    if (text != nullptr) std::copy_n(text, strnlen(text, message.size()), message.begin());
  }
  const auto& [first, second] = parameters.messages;
  logger->logDebug("SCSI", 0, "TapeCmdDisplayMessage, msg 1 %.8s, msg 2 %.8s", first.data(), second.data());
}

void TapeCmdDisplayMessage::setType(int type) {
  setProcessing(0x1F, type);
  updateIoData();
}

void TapeCmdDisplayMessage::setControl(int control) { setProcessing(0xE3, control); }

void TapeCmdDisplayMessage::setProcessing(int kept, int value) {
  std::uint8_t& processing = parameters.header[PROCESSING];
  processing = static_cast<std::uint8_t>((processing & kept) | value);
  logger->logDebug("SCSI", 0, "TapeCmdDisplayMessage, Msg Processing %2.2Xh", processing);
}

void TapeCmdDisplayMessage::updateIoData() {
  logger->logDebug("SCSI", 0, "TapeCmdDisplayMessage before memcpy, ");
  if (ioDataLength != 0)
    std::memcpy(ioData, &parameters, std::min<std::size_t>(ioDataLength, sizeof parameters));
  logger->logDebug("SCSI", 0, "TapeCmdDisplayMessage after memcpy, ");
  logDump("SCSI", "TapeCmdDisplayMessage in updateIoData, outPut:", ioDataSpan());
}
