// A host in C++: globals and classes.
#include <kiv/sdk.h>

#include <cstdio>

int main() {
  kivInit();
  libraryMode = true;
  logger->setLogLevel(LOG_ERROR);
  const int scan = scanScsiBus(KIV_OUTPUT_NONE);
  ScsiCmdTestUnitReady command;
  ScsiTarget target;
  const ReturnCode closed = target.scsiExecCDB(command);
  std::printf("scan %d, %zu supported of %d, closed target %u\n", scan, listOfSupportedDevices.size(),
              deviceController.getDeviceCount(), closed);
  kivFini();
  return scan == FW_NO_DRIVE_CONNECTED && closed == CMD_INVALID_HANDLE ? 0 : 1;
}
