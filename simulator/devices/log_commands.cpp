// LOG SENSE (SPC-4 6.8, 7.3).
#include "simulator/devices/medium_device.h"

namespace simulator {

LogParameters MediumDevice::counters(std::initializer_list<LogCounter> rows) {
  LogParameters parameters;
  for (const LogCounter& row : rows) parameters.push_back({row.code, 0x00, bigEndian(row.width, row.value)});
  return parameters;
}

void MediumDevice::setLogPage(std::uint8_t page, LogParameters parameters) {
  onLogPage(page, [parameters = std::move(parameters)] { return parameters; });
}

static Bytes encode(const LogParameters& parameters, std::uint16_t from) {
  Bytes data;
  for (const LogParameter& parameter : parameters) {
    if (parameter.code < from) continue;
    append(data, bigEndian(2, parameter.code));
    append(data, {parameter.control, static_cast<std::uint8_t>(parameter.value.size())});
    append(data, parameter.value);
  }
  return data;
}

void MediumDevice::logSense(ScsiRequest& request) {
  constexpr std::uint8_t allSubpages = 0xFF;
  const std::uint8_t page = request.cdb[2] & 0x3F;
  const std::uint8_t subpage = request.cdb[3];
  const std::uint16_t pointer = request.cdb16(5);
  if (request.cdb[1] & 0x02) invalidField(1);  // parameters changed since the last LOG SENSE
  Bytes data{static_cast<std::uint8_t>(page | (subpage ? 0x40 : 0)), subpage, 0, 0};
  if (page == 0x00 && subpage == allSubpages) {
    append(data, {0x00, 0x00, 0x00, allSubpages});
    for (const auto& [code, content] : logPages_) append(data, {code, 0x00});
  } else if (page == 0x00) {
    if (subpage != 0) invalidField(3);
    data.push_back(0x00);
    for (const auto& [code, content] : logPages_) data.push_back(code);
  } else {
    const auto known = logPages_.find(page);
    if (known == logPages_.end()) invalidField(2);
    if (subpage != 0) invalidField(3);
    const LogParameters parameters = known->second();
    if (pointer > 0 && (parameters.empty() || pointer > parameters.back().code)) invalidField(5);
    append(data, encode(parameters, pointer));
  }
  put16(data, 2, data.size() - 4);
  request.reply(std::move(data), request.cdb16(7));
}

}  // namespace simulator
