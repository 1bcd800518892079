// MODE SENSE(6) through the driver: a byte with the DBD bit, the allocation length, then the driver's answer.
#include <cstdlib>

#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "tests/support/scripted_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  simulator::Room room;
  ScriptedDriver driver;
  driver.answers(0x4D1BC00C, {data + 2, data + size});
  ScsiCmdModeSense6 command((data[0] & 0x08) != 0, 0, 0x0F, data[1]);
  QORScsiCmdModeSense6 twin(&command);
  const ReturnCode result = twin.doOperation(driver.open());
  if (result != CMD_OK && result != CMD_NOT_SUPPORTED) std::abort();
  return 0;
}
