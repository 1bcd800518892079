#include <cstdio>

#include "frame/guarded.h"
#include "kiv/device/controller.h"
#include "kiv/kiv.h"
#include "kiv/update/scan_bus.h"
#include "kiv/update/update_firmware.h"

namespace {

/// Runs the worker behind an exported function. One that was abandoned half-way leaves no device open.
template <typename Work>
int runWorker(int failure, Work work) noexcept {
  bool completed = false;
  const int result = guardedAtRoof(FW_NO_MEMORY, failure, [&] {
    const int workResult = work();
    completed = true;
    return workResult;
  });
  if (!completed) {
    guardedAtRoof(FW_NO_MEMORY, failure, [] {
      deviceController.closeHandleOfAllDevices();
      return FW_NO_ERROR;
    });
  }
  return result;
}

}  // namespace

char* getKivVersion() {
  static char text[20];
  std::snprintf(text, sizeof text, "%s %s", KIV_VERSION, __DATE__);
  return text;
}

int scanScsiBus(int outputMode) {
  return runWorker(FW_NO_DRIVE_CONNECTED, [=] { return ScanBus().scanScsiBus(outputMode); });
}

int updateFirmware(int deviceNumber, int outputMode, bool force) {
  return runWorker(FW_UPDATE_FAILED,
                   [=] { return UpdateFirmware().updateFirmware(deviceNumber, outputMode, force); });
}

int updateFirmwareAllDevices(int outputMode, bool force) {
  return runWorker(FW_UPDATE_FAILED,
                   [=] { return UpdateFirmware().updateFirmwareAllDevices(outputMode, force); });
}

void kivInit() { prepareForExceptions(); }

void kivFini() {
  guardedAtRoof(FW_NO_MEMORY, FW_NO_ERROR, [] {
    listOfSupportedDevices.clear();
    deviceController.clearDeviceList();
    return FW_NO_ERROR;
  });
}
