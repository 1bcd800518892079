#include <fmt/format.h>

#include "host/commands/commands.h"

namespace host {

int version(Run& run) {
  const Session session = run.openSession();
  const std::uint32_t interface = kiv_interface_version();
  run.document["version"] = kiv_version();
  run.document["interface"] = fmt::format("{}.{}", interface >> 16, interface & 0xFFFF);
  run.output.say(
      fmt::format("kiv {}, interface {}\n", kiv_version(), run.document["interface"].get<std::string>()));
  return KIV_OK;
}

}  // namespace host
