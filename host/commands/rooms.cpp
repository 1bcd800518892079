#include "host/commands/commands.h"
#include "host/core/simulation.h"

namespace host {

int makeRoom(Run& run) {
  makeRoom(run.options.file, run.options.update.force);
  return KIV_OK;
}

int makeImage(Run& run) {
  makeImage(run.options.file, run.options.level, run.options.size);
  return KIV_OK;
}

int mask(Run& run) {
  maskRecording(run.options.file, run.options.copy);
  return KIV_OK;
}

}  // namespace host
