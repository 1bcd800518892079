// The door on Windows: a loaded module's imports are pointed at the simulator.
#pragma once

#include "platform/win32.h"

namespace simulator {

/// Takes over the imports of kiv.dll once it is loaded into this process. Does nothing where the simulator is
/// linked in as Windows.
void takeOverImports();

#ifdef _WIN32
/// Points every import of `module` that the simulator answers at the simulator. Returns how many.
int patchImports(HMODULE module);
#endif

}  // namespace simulator
