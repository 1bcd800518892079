#pragma once

#include <array>
#include <cstdint>

#include "kiv/scsi/command.h"

/// @file
/// The operator panel.

/// DISPLAY MESSAGE (vendor specific, C0h): shows two messages of 8 characters on the operator panel. Each
/// step is logged.
class KIV_API TapeCmdDisplayMessage : public GenericScsiCommand {
 public:
  /// Blank messages. The data direction is for the caller to set.
  TapeCmdDisplayMessage();
  /// Type and control as in their setters; either text may be null.
  TapeCmdDisplayMessage(const char* message1, const char* message2, int type, int control);

  /// Blank messages, an empty header, a data buffer for both.
  void initializeMessage();
  /// Message 0 or 1: the first 8 characters of a text, blank padded; all blank for null. Any other index
  /// changes nothing.
  void setMessage(int index, const char* text);
  /// Bits 7-5 of the message processing byte, given in their place. Updates the data buffer.
  void setType(int type);
  /// Bits 4-2 of the message processing byte, given in their place. Leaves the data buffer as it is.
  void setControl(int control);
  /// Copies header and messages into the data buffer.
  void updateIoData();
  QORScsiCommand* createQORCommand() override;

 private:
  struct Parameters {
    std::array<std::uint8_t, 8> header{};
    std::array<std::array<char, 8>, 2> messages{};
  };
  static_assert(sizeof(Parameters) == 24);

  void setProcessing(int kept, int value);

  Parameters parameters;
};
