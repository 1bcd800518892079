#include "simulator/recording/secrets.h"

#include <algorithm>
#include <cstring>

#include "simulator/devices/element_status.h"
#include "simulator/devices/scsi.h"
#include "simulator/windows/driver_protocol.h"
#include "simulator/windows/windows_calls.h"

namespace simulator::recording {
namespace {

using Data = std::span<const std::uint8_t>;

constexpr std::size_t shortest = 4;

/// Part of the data; what lies beyond their end is missing.
Data part(Data data, std::size_t at, std::size_t size = std::size_t(-1)) {
  return at >= data.size() ? Data{} : data.subspan(at, std::min(size, data.size() - at));
}
std::size_t number(Data data, std::size_t at, std::size_t size) {
  return static_cast<std::size_t>(readNumber(data, at, size));
}

struct Attribute {
  std::size_t identifier;
  std::size_t from;  ///< where in it the secret begins
};
// SPC-4 7.4.2: vendor and serial number of the last four drives; serial number and barcode of the cartridge.
constexpr Attribute secretAttributes[] = {{0x020A, 8}, {0x020B, 8}, {0x020C, 8},
                                          {0x020D, 8}, {0x0401, 0}, {0x0806, 0}};

struct Parameter {
  std::uint8_t page;
  std::size_t code;
};
// SSC-4 8.2: the drive's serial numbers; serial number and barcode of the volume.
constexpr Parameter secretParameters[] = {{0x14, 0x0040}, {0x14, 0x0041}, {0x17, 0x0040}, {0x17, 0x0042}};

}  // namespace

void Secrets::text(Data field) {
  const auto blank = [](std::uint8_t byte) { return byte == ' ' || byte == 0; };
  while (!field.empty() && blank(field.front())) field = field.subspan(1);
  while (!field.empty() && blank(field.back())) field = field.first(field.size() - 1);
  const bool printable =
      std::all_of(field.begin(), field.end(), [](std::uint8_t byte) { return byte >= ' ' && byte < 0x7F; });
  if (printable && field.size() >= shortest) texts_.emplace(field.begin(), field.end());
}

void Secrets::name(Data bytes) {
  if (bytes.size() == 8 || bytes.size() == 16) names_.emplace(bytes.begin(), bytes.end());
}

void Secrets::lastWord(Data field) {
  const std::string text(field.begin(), field.end());
  const std::size_t end = text.find_last_not_of(std::string(" \0", 2));
  if (end == std::string::npos) return;
  const std::size_t blank = text.find_last_of(std::string(" \0", 2), end);
  this->text(field.subspan(blank == std::string::npos ? 0 : blank + 1,
                           end - (blank == std::string::npos ? 0 : blank + 1) + 1));
}

/// "\\?\usbstor#disk&ven_x#SERIAL&0#{...}": the third part tells this device from its like.
void Secrets::deviceName(const std::string& name) {
  std::size_t begin = 0;
  for (int parts = 0; parts < 2; ++parts) {
    begin = name.find('#', begin);
    if (begin++ == std::string::npos) return;
  }
  constexpr std::size_t shortestInstance = 6;
  const std::string instance = name.substr(begin, name.find('#', begin) - begin);
  for (std::size_t at = 0; at < instance.size();) {
    const std::size_t end = std::min(instance.find('&', at), instance.size());
    if (end - at >= shortestInstance) texts_.insert(instance.substr(at, end - at));
    at = end + 1;
  }
}

/// A designation descriptor (SPC-4 7.8.6) without its header.
void Secrets::designator(std::uint8_t codeSet, std::uint8_t type, Data identifier) {
  constexpr std::uint8_t binary = 1;
  constexpr std::uint8_t vendor = 1;
  constexpr std::uint8_t nameString = 8;
  if (codeSet == binary) return name(identifier);
  if (type != nameString) return lastWord(part(identifier, type == vendor ? 8 : 0));
  // "naa.5000..." or "iqn...."
  const std::string string(identifier.begin(), std::find(identifier.begin(), identifier.end(), 0));
  std::string digits;
  for (std::size_t i = 4; i + 1 < string.size(); i += 2) digits += (i > 4 ? " " : "") + string.substr(i, 2);
  std::transform(digits.begin(), digits.end(), digits.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  const auto bytes = string.starts_with("iqn.") ? std::nullopt : fromHex(digits);
  if (bytes) return name(*bytes);
  text({reinterpret_cast<const std::uint8_t*>(string.data()), string.size()});
}

void Secrets::designators(Data list) {
  for (std::size_t at = 0; at + 4 <= list.size(); at += 4u + list[at + 3])
    designator(list[at] & 0x0F, list[at + 1] & 0x0F, part(list, at + 4, list[at + 3]));
}

void Secrets::attributes(Data list) {
  for (std::size_t at = 4; at + 5 <= list.size(); at += 5 + number(list, at + 3, 2)) {
    for (const auto& [identifier, from] : secretAttributes) {
      if (identifier == number(list, at, 2)) text(part(part(list, at + 5, number(list, at + 3, 2)), from));
    }
  }
}

void Secrets::logParameters(Data page) {
  for (std::size_t at = 4; at + 4 <= page.size(); at += 4u + page[at + 3]) {
    for (const Parameter& secret : secretParameters) {
      if (secret.page == (page[0] & 0x3F) && secret.code == number(page, at, 2))
        text(part(page, at + 4, page[at + 3]));
    }
  }
}

/// READ ELEMENT STATUS data (SMC-3 6.11).
void Secrets::elementStatus(Data report) {
  for (std::size_t page = 8; page + 8 <= report.size();) {
    const std::size_t length = number(report, page + 2, 2);
    const std::size_t end = page + 8 + number(report, page + 5, 3);
    const std::size_t tags = (report[page + 1] & 0x80 ? 1u : 0u) + (report[page + 1] & 0x40 ? 1u : 0u);
    for (std::size_t at = page + 8; length >= descriptorHeader && at < std::min(end, report.size());
         at += length) {
      const Data descriptor = part(report, at, length);
      for (std::size_t tag = 0; tag < tags; ++tag)
        text(part(descriptor, descriptorHeader + tag * volumeTagSize, 32));
      designators(part(descriptor, descriptorHeader + tags * volumeTagSize));
    }
    page = end;
  }
}

/// What IOCTL_CHANGER_GET_ELEMENT_STATUS answers, in its plain or its extended records.
void Secrets::elementRecords(Data records, bool extended) {
  const std::size_t size = extended ? sizeof(CHANGER_ELEMENT_STATUS_EX) : sizeof(CHANGER_ELEMENT_STATUS);
  for (std::size_t at = 0; at < records.size(); at += size) {
    text(part(records, at + offsetof(CHANGER_ELEMENT_STATUS, PrimaryVolumeID), 32));
    text(part(records, at + offsetof(CHANGER_ELEMENT_STATUS, AlternateVolumeID), 32));
    if (extended)
      text(part(records, at + offsetof(CHANGER_ELEMENT_STATUS_EX, SerialNumber), SERIAL_NUMBER_LENGTH));
  }
}

void Secrets::cartridgeLocations(Data records) {
  using Record = protocol::LocationRecord;
  for (std::size_t at = 4; at < records.size(); at += sizeof(Record)) {
    const Data record = part(records, at, sizeof(Record));
    text(part(record, offsetof(Record, volumeTag), 32));
    designators(part(record, offsetof(Record, codeSet)));
  }
}

void Secrets::command(Data cdb, Data data) {
  if (cdb.size() < 6 || data.size() < 4) return;
  switch (cdb[0]) {
    case 0x12:  // INQUIRY
      if (!(cdb[1] & 1)) break;
      if (cdb[2] == 0x80 || cdb[2] == 0xB1) text(part(data, 4, data[3]));
      if (cdb[2] == 0x83) designators(part(data, 4));
      break;
    case 0x4D:  // LOG SENSE
      return logParameters(data);
    case 0x8C:  // READ ATTRIBUTE
    case 0x8D:  // WRITE ATTRIBUTE
      return attributes(data);
    case 0xB8:  // READ ELEMENT STATUS
      return elementStatus(data);
    default:
      break;
  }
}

void Secrets::learn(const Line& line) {
  const auto field = [](const Json& fields, const char* key) {
    const auto found = fields.find(key);
    return found != fields.end() && found->is_string() ? found->get<std::string>() : std::string();
  };
  const auto bytes = [&](const Json& fields, const char* key) {
    return fromHex(field(fields, key)).value_or(Bytes{});
  };
  const std::string code = field(line.asked, "code");
  const Bytes out = bytes(line.answered, "out");
  if (code == calls::controlName(IOCTL_SCSI_PASS_THROUGH_DIRECT)) {
    const Bytes cdb = bytes(line.asked, "cdb");
    command(cdb, bytes(line.asked, "data"));
    command(cdb, bytes(line.answered, "data"));
  } else if (code == calls::controlName(IOCTL_CHANGER_GET_ELEMENT_STATUS)) {
    // A buffer that fits the extended records asks for these.
    CHANGER_READ_ELEMENT_STATUS request{};
    const Bytes in = bytes(line.asked, "in");
    std::memcpy(&request, in.data(), std::min(in.size(), sizeof request));
    const auto room = line.asked.find("room");
    elementRecords(out, room != line.asked.end() && *room == request.ElementList.NumberOfElements *
                                                                 sizeof(CHANGER_ELEMENT_STATUS_EX));
  } else if (code == calls::controlName(protocol::cartridgeLocations)) {
    cartridgeLocations(out);
  } else if (code == calls::controlName(protocol::logSense)) {
    logParameters(part(out, offsetof(protocol::LogSenseBlock, data)));
  }
  deviceName(fromText(field(line.answered, "path")));
  const std::string names = fromText(field(line.answered, "names"));
  for (std::size_t at = 0; at < names.size();) {
    const std::size_t end = std::min(names.find('\0', at), names.size());
    deviceName(names.substr(at, end - at));
    at = end + 1;
  }
}

}  // namespace simulator::recording
