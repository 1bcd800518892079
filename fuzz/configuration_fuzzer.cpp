// Config.txt and Devlist.txt: whatever stands in them.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"
#include "kiv/frame/modes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int file = memfd_create("table", 0);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
  const std::string name = "/proc/self/fd/" + std::to_string(file);
  ConfigFilename files;
  ComponentId ids;
  if (files.initialize(name.c_str()) != (files.getStatus() == 0)) std::abort();
  if (ids.initialize(name.c_str()) != (ids.getStatus() == 0)) std::abort();
  // What a table lists has a file and a level.
  const std::string product = "QOR-A";
  if (files.isValid(product) &&
      (files.getFilename4ProductId(product).empty() || files.getUCodeLevel4ProductId(product).empty()))
    std::abort();
  if (!ids.isValid(product) && !ids.getId4InquiryData(product).empty()) std::abort();
  close(file);
  automationReadyMode = true;
  libraryMode = false;
  return 0;
}
