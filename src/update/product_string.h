#pragma once

#include <functional>
#include <string>

class ScsiTarget;

/// getProductString() for a caller that knows which drives stand in libraries: `isInLibrary` is asked in
/// library mode, for tape drives.
std::string productString(ScsiTarget& target, const std::function<bool()>& isInLibrary);

/// getProductString() itself, for callers that must know when memory does not suffice.
std::string documentedProductString(ScsiTarget& target);
