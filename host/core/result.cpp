#include "host/core/result.h"

#include <fmt/format.h>

#include "kiv/kiv.h"

namespace host {

std::string scanSentence(int result) {
  switch (result) {
    case FW_NO_ERROR:
      return "The scan found supported devices.";
    case FW_NO_DRIVE_CONNECTED:
      return "No supported device was found: check power and cabling, and that Config.txt lists the product.";
    default:
      return fmt::format("The scan failed with the unknown result {}: run it again with --debug.", result);
  }
}

std::string updateSentence(int result) {
  switch (result) {
    case FW_NO_ERROR:
      return "The update succeeded.";
    case FW_DEVICE_DISCONNECTED:
      return "The drive is gone or not ready for a download: take out its cartridge, check power and "
             "cabling, and "
             "scan again.";
    case FW_INVALID_FILE_NAME:
      return "The firmware image cannot be opened: put the file that Config.txt names into the working "
             "directory.";
    case FW_FILE_CORRUPTED:
      return "The firmware image is empty, cut short or too large: fetch it again.";
    case FW_UPDATE_FAILED:
      return "The drive refused the firmware: check that Config.txt names the image for this product, and "
             "fetch it "
             "again.";
    case FW_REBOOT_FAILED:
      return "The drive did not come back after the download: power-cycle it and scan again.";
    case FW_NO_DRIVE_CONNECTED:
      return "There is no such drive: choose an index that \"kivhost scan\" lists.";
    case FW_INVALID_UCODE:
      return "The drive runs a higher level than the one in Config.txt: use --force to write the lower one.";
    case FW_CONFIG_ERROR:
      return "Config.txt has no entry for this drive or cannot be read: add a line with its product, image "
             "file and "
             "level.";
    case FW_NO_MEMORY:
      return "There is not enough memory for the firmware image: end other programs and try again.";
    default:
      return fmt::format("The update failed with the unknown result {}: run it again with --debug.", result);
  }
}

}  // namespace host
