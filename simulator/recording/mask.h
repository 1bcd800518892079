#pragma once

#include "simulator/recording/recording_file.h"

namespace simulator::recording {

/// Recordings of one file with other serial numbers, barcodes and world wide names in the place of its own,
/// everywhere, consistently and of the same length, so that it can be given away. What kind of cartridge a
/// barcode tells of, and whose world wide name it is, stays; so do texts of less than four characters.
Recordings masked(Recordings recordings);

}  // namespace simulator::recording
