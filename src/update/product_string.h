#pragma once

#include <functional>
#include <string>

class ScsiTarget;

/// getProductString() for a caller that knows which drives stand in libraries: `isInLibrary` is asked in
/// library mode, for tape drives. Throws std::bad_alloc when a test could not be made for want of memory.
std::string productString(ScsiTarget& target, const std::function<bool()>& isInLibrary);

/// getProductString() itself, for callers that must know when memory does not suffice. Throws
/// std::bad_alloc.
std::string documentedProductString(ScsiTarget& target);
