/* A host in C: the four plain functions. On a machine without tape hardware. */
#include <kiv/kiv.h>
#include <stdio.h>

int main(void) {
  printf("kiv %s\n", getKivVersion());
  const int scan = scanScsiBus(KIV_OUTPUT_FILE);
  printf("scan %d, update %d, update all %d\n", scan, updateFirmware(0, KIV_OUTPUT_NONE, false),
         updateFirmwareAllDevices(KIV_OUTPUT_STDOUT, false));
  return scan == FW_NO_DRIVE_CONNECTED ? 0 : 1;
}
