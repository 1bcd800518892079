// INQUIRY: standard data and the vital product data that every device has (SPC-4 6.4, 7.8).
#include <algorithm>

#include "simulator/devices/virtual_device.h"

namespace simulator {

// Protocol identifiers (SPC-4 7.6.1).
static std::uint8_t protocolIdentifier(Interface interface) {
  switch (interface) {
    case Interface::Sas:
      return 6;
    case Interface::ParallelScsi:
      return 1;
    default:
      return 0;
  }
}

Bytes VirtualDevice::standardInquiry() const {
  Bytes data(96);
  data[0] = static_cast<std::uint8_t>(options_.qualifier << 5 | type_);
  data[1] = type_ == typeDisk ? 0 : 0x80;                // removable medium
  data[2] = 6;                                           // SPC-4
  data[3] = 0x12;                                        // HiSup, response data format 2
  data[4] = static_cast<std::uint8_t>(data.size() - 5);  // additional length
  if (options_.interface == Interface::ParallelScsi) {
    data[6] = 0x01;  // ADDR16
    data[7] = 0x32;  // WBUS16, SYNC, CMDQUE
  } else {
    data[7] = 0x02;  // CMDQUE
  }
  putText(data, 8, 8, options_.vendor);
  putText(data, 16, 16, options_.model);
  putText(data, 32, 4, options_.level);
  // Vendor-specific byte 38: the protocol of the port, as in a port identification descriptor.
  data[38] = static_cast<std::uint8_t>(protocolIdentifier(options_.interface) << 4);
  const std::uint16_t versions[] = {
      static_cast<std::uint16_t>(options_.interface == Interface::Sas ? 0x0C60 : 0x0960),
      0x0460,                                                       // SPC-4
      static_cast<std::uint16_t>(type_ == typeTape ? 0x0520 : 0)};  // SSC-4
  for (std::size_t i = 0; i < std::size(versions); ++i) put16(data, 58 + 2 * i, versions[i]);
  return data;
}

void VirtualDevice::inquiry(ScsiRequest& request) {
  const std::uint16_t allocation = request.cdb16(3);
  const std::uint8_t page = request.cdb[2];
  if (!(request.cdb[1] & 1)) {
    if (page != 0) invalidField(2);
    request.reply(standardInquiry(), allocation);
    return;
  }
  Bytes content;
  if (page == 0x00) {
    content.push_back(0x00);
    for (const auto& [code, bytes] : vpdPages_) content.push_back(code);
  } else {
    const auto found = vpdPages_.find(page);
    if (found == vpdPages_.end()) invalidField(2);
    content = found->second();
  }
  Bytes data{static_cast<std::uint8_t>(options_.qualifier << 5 | type_), page, 0, 0};
  put16(data, 2, content.size());
  append(data, content);
  request.reply(std::move(data), allocation);
}

// Two NAA designators: the logical unit, and the target port with its protocol.
Bytes VirtualDevice::deviceIdentification() const {
  Bytes data{0x01, 0x03, 0, 8};  // binary, NAA, associated with the logical unit
  put64(data, 4, options_.worldWideName);
  const auto protocol = static_cast<std::uint8_t>(protocolIdentifier(options_.interface) << 4);
  append(data, {static_cast<std::uint8_t>(protocol | 0x01), 0x93, 0, 8});  // PIV, target port, NAA
  put64(data, 16, options_.worldWideName + 1);
  return data;
}

}  // namespace simulator
