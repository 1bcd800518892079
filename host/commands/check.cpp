#include "host/commands/commands.h"

namespace host {

int check(Run& run) {
  run.warn(lintFiles("."));
  run.warn(lintImages("."));
  if (!run.warnings.empty()) return 1;
  run.output.say("Config.txt and Devlist.txt say what they mean, and every image is in order.\n");
  return KIV_OK;
}

}  // namespace host
