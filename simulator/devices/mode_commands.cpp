// MODE SENSE in both its forms (SPC-4 6.11, 6.12).
#include <algorithm>

#include "simulator/devices/medium_device.h"

namespace simulator {

void MediumDevice::modeSense(ScsiRequest& request) {
  const bool ten = request.operation() == 0x5A;
  const std::uint8_t control = request.cdb[2] >> 6;
  const std::uint8_t page = request.cdb[2] & 0x3F;
  // Page 0 is the vendor's; drives return no page at all for it, and tape drivers ask so for the header.
  const bool headerOnly = page == 0 && request.cdb[3] == 0;
  const Bytes pages = headerOnly ? Bytes{} : modes_.sense(control, page, request.cdb[3]);
  ModeHeader header = modeHeader(control == 1);
  if (request.cdb[1] & 0x08) header.blockDescriptors.clear();

  const auto descriptors = static_cast<std::uint8_t>(header.blockDescriptors.size());
  Bytes data{0, header.mediumType, header.deviceSpecific, descriptors};
  if (ten) data = {0, 0, header.mediumType, header.deviceSpecific, 0, 0, 0, descriptors};
  append(data, header.blockDescriptors);
  append(data, pages);
  if (ten) {
    put16(data, 0, data.size() - 2);
  } else {
    data[0] = static_cast<std::uint8_t>(std::min<std::size_t>(data.size() - 1, 0xFF));
  }
  request.reply(std::move(data), ten ? request.cdb16(7) : request.cdb[4]);
}

}  // namespace simulator
