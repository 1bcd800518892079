#include <cstdio>
#include <string>
#include <vector>

#include "bench/hollow_windows.h"
#include "bench/measure.h"
#include "bench/rows.h"
#include "frame/log_dump.h"
#include "kiv/device/target.h"
#include "kiv/frame/logger.h"
#include "kiv/scsi/standard_commands.h"
#include "platform/device_control.h"

namespace {

int writes = 0;

/// Counts instead of writing.
class CountedOutput {
 public:
  CountedOutput() : before(stdout) {
    cookie_io_functions_t functions{};
    functions.write = [](void*, const char*, std::size_t size) {
      ++writes;
      return static_cast<ssize_t>(size);
    };
    stdout = fopencookie(nullptr, "w", functions);
  }
  ~CountedOutput() {
    std::fclose(stdout);
    stdout = before;
  }
  CountedOutput(const CountedOutput&) = delete;
  CountedOutput& operator=(const CountedOutput&) = delete;

 private:
  std::FILE* before;
};

struct Work {
  const char* name;
  void (*once)();
};

const std::vector<std::uint8_t> bytes(256, 'x');

ScsiTarget& drive() {
  static ScsiTarget target;
  static const bool opened = [] {
    hollow::become({.hostAdapters = 1, .devicesPerAdapter = 1, .driverDevices = 0, .ready = true});
    return target.openDevice(0, 0, 0, 0, "", 1) == CMD_OK;
  }();
  if (!opened) std::fputs("not opened\n", stderr);
  return target;
}

const Work WORKS[] = {
    {"line", [] { logger->logDebug("SCSI", 0, "set CDB timeoutvalue %d for opcode %02X set", 1, 2); }},
    {"dump", [] { logDump("SCSI", "Standard Inquiry Page 0x00", bytes); }},
    {"bare",
     [] {
       struct {
         SCSI_PASS_THROUGH_DIRECT request;
         ULONG filler;
         UCHAR sense[132];
       } block{};
       block.request.Length = sizeof block.request;
       block.request.CdbLength = 6;
       block.request.SenseInfoOffset = 60;
       exchangeWithDevice(drive().getDeviceHandle(), IOCTL_SCSI_PASS_THROUGH_DIRECT, block);
       keep(block);
     }},
    {"ready",
     [] {
       static ScsiCmdTestUnitReady command;
       drive().scsiExecCDB(command);
     }},
};

}  // namespace

bool repeat(const std::string& name, long times) {
  for (const Work& work : WORKS) {
    if (name != work.name) continue;
    work.once();
    for (long i = 0; i < times; ++i) work.once();
    return true;
  }
  return false;
}

void logRows() {
  logger->setLogLevel(LOG_DEBUG);
  {
    const CountedOutput counted;
    logDump("SCSI", "dump", bytes);
  }
  logger->setLogLevel(LOG_NONE);
  constexpr int ROWS = 1 + 256 / 8;
  print({"writes for each row of the debug log", "", "1", static_cast<double>(writes) / ROWS});
}
