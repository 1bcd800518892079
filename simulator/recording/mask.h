#pragma once

#include "simulator/recording/recording_file.h"

namespace simulator::recording {

/// A recording with other serial numbers, barcodes and world wide names in the place of its own, everywhere,
/// consistently and of the same length, so that it can be given away. What kind of cartridge a barcode tells
/// of, and whose world wide name it is, stays; so do texts of less than four characters.
Recording masked(Recording recording);

}  // namespace simulator::recording
