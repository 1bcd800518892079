// What drives answer to READ ATTRIBUTE and its kind: lists whose lengths lead anywhere. An attribute's
// identifier stands in front.
#include <algorithm>
#include <cstdlib>

#include "fuzz/input.h"
#include "kiv/tape/data_transfer.h"
#include "kiv/tape/information.h"
#include "kiv/tape/positioning.h"
#include "kiv/tape/reservations.h"
#include "kiv/tape/security.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const auto id = static_cast<std::uint16_t>(input.byte() << 8 | input.byte());
  const auto answer = input.remainder();
  const auto answered = [&](GenericScsiCommand& command) {
    command.setIoDataLength(static_cast<ulong32>(answer.size()));
    std::ranges::copy(answer, command.getIoData());
    command.setExecutionStatus(CMD_OK);
  };
  TapeCmdReadAttribute attributes(0, 0, 0, 0, 4);
  answered(attributes);
  const std::uint32_t offset = attributes.getAttributeOffset(id);
  if (offset != 0 && offset >= answer.size()) std::abort();
  if ((offset == 0) != (attributes.getAttributeLength(id) == 0)) std::abort();
  TapeCmdPersistentReserveIn keys(PERSIST_READ_KEYS, 8);
  answered(keys);
  if (keys.getReservationsKeys().size() > answer.size() / 8) std::abort();
  TapeCmdReadPosition position;
  answered(position);
  position.getFirstBlockPosition(), position.getNumberOfBytesInBuffer(), position.posBOP();
  TapeCmdQueryLogicalBlockProtection protection;
  answered(protection);
  protection.getLbpCapable(), protection.getLbpInfoLength(), protection.getLbpRBDP();
  return 0;
}
