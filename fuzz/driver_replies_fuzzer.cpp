// The maker's driver's replies: the first byte says to which request, the rest is what it answers.
#include <cstdlib>
#include <memory>

#include "fuzz/input.h"
#include "kiv/changer/commands.h"
#include "kiv/changer/driver_commands.h"
#include "kiv/scsi/standard_commands.h"
#include "kiv/scsi/standard_driver_commands.h"
#include "kiv/tape/driver_information.h"
#include "kiv/tape/driver_partitions.h"
#include "kiv/tape/driver_security.h"
#include "kiv/tape/security.h"
#include "tests/support/scripted_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static simulator::Room room;
  Input input(data, size);
  const std::uint8_t choice = input.byte();
  const auto parameters = choice & 0x80 ? input.piece() : std::vector<std::uint8_t>();
  const auto answer = input.remainder();
  ScriptedDriver driver;
  HANDLE device = driver.open();
  for (const DWORD code : {0x001F6064u, 0x00306064u, 0x001F60CCu, 0x4D1BC00Cu, 0x001F6080u, 0x84CAC030u,
                           0x001FE0C4u, 0x84C9C01Cu, 0x84CAC01Cu, 0x0030E06Cu, 0x001FE094u})
    driver.answers(code, answer);
  driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, answer);
  driver.answers(IOCTL_CHANGER_GET_PARAMETERS, parameters.empty() ? answer : parameters);

  ChangerCmdReadElementStatus elements(choice & 7, 0, 9, choice & 8, choice & 16, 1000);
  ChangerCmdReadCartridgeLocation locations(0, 9);
  TapeCmdQueryLogicalBlockProtection protection;
  ScsiCmdLogSense log(1, 0x17, 0, 64);
  ChangerCmdElementInformation information;
  const std::unique_ptr<QORScsiCommand> twins[] = {
      std::make_unique<QORScsiCmdRequestSense>(ulong32{96}),
      std::make_unique<QORScsiCmdChangerRequestSense>(ulong32{96}),
      std::make_unique<QORScsiCmdLogSense>(&log),
      std::unique_ptr<QORScsiCommand>(elements.createQORCommand()),
      std::make_unique<QORChangerCmdReadCartridgeLocation>(&locations),
      std::make_unique<QORChangerCmdElementInformation>(&information),
      std::unique_ptr<QORScsiCommand>(protection.createQORCommand()),
      std::make_unique<QORTapeCmdGetEncryptionStatus>(),
      std::make_unique<QORTapeCmdDataEncryptionDiag>(),
      std::make_unique<QORTapeCmdQueryDevicePaths>(),
  };
  for (const auto& twin : twins) twin->doOperation(device);
  room.closeHandle(device);
  room.journal().clear();
  if (room.openHandles() != 0) std::abort();
  return 0;
}
