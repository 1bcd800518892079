// REPORT LUNS data as a device might send them.
#include <algorithm>
#include <cstdlib>

#include "kiv/scsi/standard_commands.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ScsiCmdReportLuns command(static_cast<ulong32>(size));
  std::copy_n(data, size, command.getIoData());
  const ulong32 count = command.getNumberOfAttachedLuns();
  for (const ulong32 index : {ulong32{0}, count - 1, count, static_cast<ulong32>(size / 8)}) {
    const bool within = 8 + std::uint64_t{8} * index < size;
    if (!within && command.getAttachedLun(index) != 0) std::abort();
    if (command.getAddressMethod(index) > 3 || command.getLunViaAddressMethod(index) > 0x3FFF) std::abort();
  }
  return 0;
}
