#include "c_interface/elements.h"

#include <algorithm>
#include <span>

#include "c_interface/call.h"
#include "c_interface/outcome.h"
#include "c_interface/structure.h"
#include "changer/element_status_layout.h"
#include "device/arrived_data.h"
#include "device/patience.h"
#include "kiv/api.h"
#include "kiv/changer/commands.h"
#include "kiv/scsi/big_endian.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t BARCODE = 32;
/// What a descriptor takes at most in the libraries that we know. Another's report is cut, and asked on.
constexpr std::uint32_t USUAL_DESCRIPTOR = 160;
constexpr std::uint32_t LONGEST_ALLOCATION = 0xFFFFFF;

bool send(ScsiTarget& library, GenericScsiCommand& command) {
  const Patience patience;
  return library.scsiExecCDB(command) == CMD_OK;
}

void execute(ScsiTarget& library, GenericScsiCommand& command, const char* what) {
  if (send(library, command)) return;
  const Outcome outcome = outcomeOf(library, command);
  throw Failure{KIV_COMMAND_FAILED,
                std::string("The library ") + deviceText(library.getSerialNumber()) + " does not tell " +
                    what + " (" + outcomeText(outcome) + "): wait until it is ready and try again.",
                outcome.windowsError, outcome.sense};
}

std::string textIn(Bytes bytes) {
  const auto end = std::ranges::find(bytes, std::uint8_t{0});
  return deviceText(
      {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())});
}

/// The bytes of a part, as far as they are there.
Bytes part(Bytes bytes, std::size_t offset, std::size_t length) {
  offset = std::min(offset, bytes.size());
  return bytes.subspan(offset, std::min(length, bytes.size() - offset));
}

/// The serial number at the end of an identifier: in the T10 form it stands behind vendor and product, and
/// other forms end with it, too.
std::string serialIn(const std::string& identifier) {
  const std::string text = deviceText(identifier);
  return text.substr(text.find_last_of(' ') + 1);
}

std::uint8_t bit(std::uint8_t byte, int number) { return byte >> number & 1; }

Element decode(Bytes descriptor, kiv_element_type type, std::size_t tags) {
  Element result{};
  kiv_element& element = result.element;
  const std::uint8_t flags = readByte(descriptor, 2);
  element.size = sizeof element;
  element.type = type;
  element.address = readBe16(descriptor, 0);
  element.full = bit(flags, 0);
  element.except = bit(flags, 2);
  element.asc = readByte(descriptor, 4);
  element.ascq = readByte(descriptor, 5);
  element.source_valid = bit(readByte(descriptor, 9), 7);
  element.invert = bit(readByte(descriptor, 9), 6);
  element.source = readBe16(descriptor, 10);
  if (type != KIV_ELEMENT_TRANSPORT) element.access = bit(flags, 3);
  if (type == KIV_ELEMENT_IMPORT_EXPORT) {
    element.operator_placed = bit(flags, 1);
    element.export_enabled = bit(flags, 4);
    element.import_enabled = bit(flags, 5);
  }
  if (tags != 0 && element.full)
    copyText(element.barcode, textIn(part(descriptor, DESCRIPTOR_HEADER, BARCODE)));
  if (type != KIV_ELEMENT_DRIVE) return result;

  const std::uint8_t address = readByte(descriptor, 6);
  element.lun = address & 0x07;
  element.lun_valid = bit(address, 4);
  element.id_valid = bit(address, 5);
  element.not_bus = bit(address, 7);
  element.bus_address = readByte(descriptor, 7);
  const std::size_t identification = DESCRIPTOR_HEADER + tags * VOLUME_TAG;
  const Bytes identifier =
      part(descriptor, identification + IDENTIFICATION_HEADER, readByte(descriptor, identification + 3));
  result.identifier.assign(reinterpret_cast<const char*>(identifier.data()), identifier.size());
  copyText(element.drive_serial, serialIn(result.identifier));
  return result;
}

struct Range {
  std::uint32_t first;
  std::uint32_t count;
};

Range rangeOf(const ChangerCmdElementInformation& ranges, kiv_element_type type) {
  switch (type) {
    case KIV_ELEMENT_TRANSPORT:
      return {ranges.getFirstMediumTransportElementAddress(), ranges.getNumberOfMediumTransportElements()};
    case KIV_ELEMENT_STORAGE:
      return {ranges.getFirstStorageElementAddress(), ranges.getNumberOfStorageElements()};
    case KIV_ELEMENT_IMPORT_EXPORT:
      return {ranges.getFirstIOElementAddress(), ranges.getNumberOfIOElements()};
    case KIV_ELEMENT_DRIVE:
      break;
  }
  return {ranges.getFirstDataTransferElementAddress(), ranges.getNumberOfTransferElements()};
}

}  // namespace

std::vector<Element> decodeElements(Bytes report, kiv_element_type type) {
  std::vector<Element> elements;
  for (Bytes rest = part(report, REPORT_HEADER, report.size()); rest.size() >= PAGE_HEADER;) {
    const std::size_t length = readBe16(rest, 2);
    const std::size_t tags = bit(rest[1], 7) + bit(rest[1], 6);
    const Bytes page = part(rest, PAGE_HEADER, readBe24(rest, 5));
    if (rest[0] == type && length >= DESCRIPTOR_HEADER) {
      for (std::size_t at = 0; at + length <= page.size(); at += length)
        elements.push_back(decode(page.subspan(at, length), type, tags));
    }
    rest = rest.subspan(PAGE_HEADER + page.size());
  }
  return elements;
}

bool readElements(ScsiTarget& library, ulong32 maximumTransfer, kiv_element_type type,
                  const std::function<bool(const Element&)>& take) {
  ChangerCmdElementInformation ranges;
  execute(library, ranges, "where its elements are");
  const Range range = rangeOf(ranges, type);
  const std::uint32_t end = std::min<std::uint32_t>(range.first + range.count, 0x10000);
  const std::uint32_t room = std::clamp<std::uint32_t>(maximumTransfer, 4096, LONGEST_ALLOCATION);
  const std::uint32_t most =
      std::min<std::uint32_t>((room - REPORT_HEADER - PAGE_HEADER) / USUAL_DESCRIPTOR, 0xFFFF);
  for (std::uint32_t next = range.first; next < end;) {
    const std::uint32_t count = std::min(end - next, most);
    ChangerCmdReadElementStatus command(
        type, static_cast<std::uint16_t>(next), static_cast<std::uint16_t>(count), true,
        type == KIV_ELEMENT_DRIVE,
        static_cast<ulong32>(REPORT_HEADER + PAGE_HEADER + count * USUAL_DESCRIPTOR));
    // A library that does not know its drives' identifiers refuses to be asked for them.
    if (type == KIV_ELEMENT_DRIVE && !send(library, command)) command.setDvcId(false);
    if (command.getExecutionStatus() != CMD_OK) execute(library, command, "its elements");
    const std::uint32_t start = next;
    // Only what lies ahead counts, so that no report can make this go round.
    for (const Element& element : decodeElements(arrivedData(library, command), type)) {
      if (element.element.address < next || element.element.address >= end) continue;
      next = element.element.address + 1;
      if (!take(element)) return false;
    }
    // Addresses without an element are left out of a report: the next piece begins behind this one.
    if (next == start) next = start + count;
  }
  return true;
}

bool identifies(const std::string& identifier, const std::string& serial) {
  return !serial.empty() && identifier.find(serial) != std::string::npos;
}

KIV_API std::int32_t kiv_elements(kiv_device library, kiv_element_function function, void* user) {
  return runCall([&] {
    requirePointer(function, "The function");
    const FoundDevice& device = reachableDevice(library);
    if (device.info.type != KIV_TYPE_LIBRARY)
      throw Failure{KIV_NOT_SUPPORTED, nameOf(device) + " has no elements: ask a library."};
    const OpenDevice target(device);
    for (const kiv_element_type type :
         {KIV_ELEMENT_TRANSPORT, KIV_ELEMENT_STORAGE, KIV_ELEMENT_IMPORT_EXPORT, KIV_ELEMENT_DRIVE}) {
      const bool more =
          readElements(*target, device.info.maximum_transfer, type,
                       [&](const Element& element) { return function(&element.element, user) == 0; });
      if (!more) return;
    }
  });
}
