// LOG SENSE data: a parameter code in front, then the log page as a device might send it.
#include <algorithm>
#include <cstdlib>

#include "kiv/scsi/big_endian.h"
#include "kiv/scsi/standard_commands.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 0xFFFF) return 0;
  const std::span input(data, size);
  const std::uint16_t wanted = readBe16(input, 0);
  const auto page = input.subspan(2);
  ScsiCmdLogSense command(1, 0x0C, 0, static_cast<std::uint16_t>(page.size()));
  std::ranges::copy(page, command.getIoData());
  command.setExecutionStatus(CMD_OK);

  const std::uint16_t offset = command.getParameterOffset(wanted);
  if (offset >= page.size() && offset != 0) std::abort();
  command.getAttributeValue(wanted);
  command.getAttributeValueAsString(wanted);
  std::uint16_t code = 0;
  std::uint8_t length = 0;
  std::uint64_t value = 0;
  // As a caller walks the page.
  for (std::size_t at = 4; at <= 0xFFFF; at += std::size_t{4} + length) {
    if (!command.getParameter(static_cast<std::uint16_t>(at), code, length, value)) break;
    if (length == 0 || length > 8) std::abort();
  }
  return 0;
}
