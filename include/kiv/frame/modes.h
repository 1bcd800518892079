#pragma once

#include "kiv/api.h"

/// @file
/// What the host and `Devlist.txt` choose for the whole library.

/// When true (the default), a tape drive's product string tells whether the drive is ready for automation.
/// `Devlist.txt` and the host set it.
extern KIV_API bool automationReadyMode;

/// When true, a tape drive inside a tape library is marked ":Library" in its product string; false by
/// default. `Devlist.txt` and the host set it; the library never sets it back to false.
extern KIV_API bool libraryMode;
