#include "kiv/device/controller.h"
#include "kiv/kiv.h"
#include "platform/win32.h"

// Constructed from top to bottom when the library is loaded, destroyed in reverse order when it is unloaded.
// The logger comes first, so that nothing else here can meet it before its time or after it.
Logger* logger = &Logger::getLogger();
bool automationReadyMode = true;
bool libraryMode = false;
GUID testHost = {0x2ACCFE60, 0xC130, 0x11D2, {0xB0, 0x82, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
DeviceController deviceController;
std::vector<ScsiTarget*> listOfSupportedDevices;
