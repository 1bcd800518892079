// INQUIRY: standard data and the vital product data that every device has (SPC-4 6.4, 7.8).
#include <algorithm>

#include "simulator/devices/medium_device.h"
#include "simulator/room/room.h"

namespace simulator {
namespace {

/// What a transport is called in each place (SPC-4 7.6.1, 7.6.4 and table 135).
struct Transport {
  std::uint8_t protocolIdentifier;
  std::uint16_t versionDescriptor;
  std::size_t portNameAt;  ///< in a TransportID of 24 bytes
};

Transport transportOf(Interface interface) {
  switch (interface) {
    case Interface::Sas:
      return {6, 0x0C60, 4};  // SAS-3
    case Interface::ParallelScsi:
      return {1, 0x0B40, 0};  // SPI-4
    default:
      return {0, 0x0A40, 8};  // FCP-4
  }
}

/// The command set of a device type: SBC-3, SSC-4, SMC-3.
std::uint16_t commandSet(PeripheralType type) {
  return type == typeDisk ? 0x04C0 : type == typeTape ? 0x0520 : type == typeChanger ? 0x0480 : 0;
}

}  // namespace

Bytes VirtualDevice::standardInquiry() const {
  const Transport transport = transportOf(options_.interface);
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
  data[38] = static_cast<std::uint8_t>(transport.protocolIdentifier << 4);
  put16(data, 58, transport.versionDescriptor);
  put16(data, 60, 0x0460);  // SPC-4
  put16(data, 62, commandSet(type_));
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

Bytes VirtualDevice::deviceIdentification() const {
  const auto protocol = static_cast<std::uint8_t>(transportOf(options_.interface).protocolIdentifier << 4);
  Bytes name = padded(8, options_.vendor);
  append(name, padded(16, options_.model));
  append(name, Bytes(options_.serial.begin(), options_.serial.end()));
  // Code set with the protocol, association (of a port: with PIV) with the type, what it says.
  const struct {
    std::uint8_t codeSet;
    std::uint8_t type;
    Bytes identifier;
  } designators[] = {
      {0x01, 0x03, bigEndian(8, options_.worldWideName)},  // NAA of the logical unit
      {static_cast<std::uint8_t>(protocol | 0x01), 0x93,
       bigEndian(8, options_.worldWideName + 1)},  // of the port
      {static_cast<std::uint8_t>(protocol | 0x01), 0x94, bigEndian(4, relativePort())},
      {0x02, 0x01, name},  // T10 vendor identification
  };
  Bytes data;
  for (const auto& [codeSet, type, identifier] : designators) {
    append(data, {codeSet, type, 0, static_cast<std::uint8_t>(identifier.size())});
    append(data, identifier);
  }
  return data;
}

std::uint16_t VirtualDevice::relativePort() const {
  std::uint16_t port = 1;
  for (const auto& other : room_.devices()) {
    if (other.get() == this) break;
    if (other->type() == type_ && other->options().serial == options_.serial) ++port;
  }
  return port;
}

Bytes VirtualDevice::extendedInquiry() const {
  Bytes data(60);
  data[0] = type_ == typeTape ? 0x40 : 0;  // microcode is active when its last WRITE BUFFER has ended
  data[1] = 0x01;                          // SIMPSUP
  data[3] = 0x01;                          // LUICLR: a unit attention ends for each initiator apart
  data[9] = 18;                            // longest sense data
  return data;
}

Bytes MediumDevice::initiatorPort() const {
  const Transport transport = transportOf(options().interface);
  Bytes id(24);
  id[0] = transport.protocolIdentifier;
  if (options().interface == Interface::ParallelScsi) {
    put16(id, 2, room().adapter(options().adapter).options().initiator);
    put16(id, 6, relativePort());
  } else {
    put64(id, transport.portNameAt, 0x10000000C9000000u | options().adapter);
  }
  return id;
}

}  // namespace simulator
