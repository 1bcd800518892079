#include "host/core/elements.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/core/result.h"
#include "host/core/table.h"
#include "kiv/changer/commands.h"
#include "kiv/changer/element_status.h"
#include "kiv/device/target.h"
#include "kiv/frame/text.h"

namespace host {
namespace {

constexpr ulong32 headerSize = 8;

/// A line of the table: one element, or empty ones of a kind whose addresses follow one another.
struct Line {
  unsigned first;
  unsigned last;
  std::vector<std::string> cells;  ///< kind, state, cartridge, source, device

  bool isContinuedBy(const Line& next) const {
    return next.first == last + 1 && next.cells == cells && cells[1] == "empty";
  }
  std::string addresses() const {
    return first == last ? std::to_string(first) : fmt::format("{}-{}", first, last);
  }
};

/// Sends a command that reads. What has happened to the library meanwhile is answered first, as a unit
/// attention.
void execute(ScsiTarget& changer, GenericScsiCommand& command) {
  constexpr std::uint8_t unitAttention = 6;
  for (int attempt = 0; attempt < 4; ++attempt) {
    if (changer.scsiExecCDB(command) == CMD_OK) return;
    if (!command.isSenseDataValid() || command.getSenseKey() != unitAttention) break;
  }
  throw HostError(fmt::format(
      "The library {} does not tell its elements (sense {:X}/{:02X}/{:02X}): wait until it is ready and scan "
      "again.",
      printable(changer.getSerialNumber()), command.getSenseKey(), command.getASC(), command.getASCQ()));
}

std::string deviceName(const ElementIdentification& identification) {
  const auto& bytes = identification.getBinary_Identifier();
  std::string name(bytes.begin(), bytes.end());
  trimString(name, " \t\r\n");
  removeMultiple(name, " ");
  return name;
}

std::string stateOf(const ElemStatusDescriptor& element, bool present) {
  if (!present) return "no drive";
  std::string state = element.isFull() ? "full" : "empty";
  if (element.isExcept()) state += fmt::format(", fault {:02X}/{:02X}", element.getAsc(), element.getAscq());
  return state;
}

Line describe(const ElemStatusDescriptor& element, const char* kind,
              const DataTransferwDVCIDElemStatusDescriptor* drive) {
  return {element.getElementAddress(),
          element.getElementAddress(),
          {kind, stateOf(element, !drive || drive->isDrivePresent()),
           element.isFull() ? element.getPrimVolumeTag() : "",
           element.isSrcValid() ? std::to_string(element.getSrcStorageElemAddress()) : "",
           drive ? deviceName(*drive) : ""}};
}

/// Asks for the elements of one type and adds their lines.
void addElements(ScsiTarget& changer, ChangerElementTypeCode type, std::uint16_t first, std::uint16_t count,
                 const char* kind, std::vector<Line>& lines) {
  if (count == 0) return;
  const bool identify = type == ELEMENT_DATA_TRANSFER;
  ChangerCmdReadElementStatus command(type, first, count, true, identify, headerSize);
  execute(changer, command);
  command.setAllocLength(command.getByteCntReportAvail() + headerSize);
  execute(changer, command);

  const ChangerElementStatusData data(command.getIoData(), command.getIoDataLength(), identify);
  for (std::uint16_t p = 0; p < data.getNumberPages(); ++p) {
    const ChangerElementStatusPage& page = *data.getElementStatusPage(p);
    if (page.getElementTypeCode() != type) continue;
    for (std::uint16_t i = 0; i < page.getNumberDescriptors(); ++i) {
      const ElemStatusDescriptor& element = *page.getDescriptor(i);
      const auto* drive =
          identify ? static_cast<const DataTransferwDVCIDElemStatusDescriptor*>(&element) : nullptr;
      const Line line = describe(element, kind, drive);
      if (!lines.empty() && lines.back().isContinuedBy(line)) {
        lines.back().last = line.last;
      } else {
        lines.push_back(line);
      }
    }
  }
}

}  // namespace

std::string elementsTable(ScsiTarget& changer) {
  if (changer.openDevice() != CMD_OK)
    throw HostError(
        fmt::format("The library {} cannot be opened: end other programs that use it and scan again.",
                    printable(changer.getSerialNumber())));
  struct Closer {
    ScsiTarget& target;
    ~Closer() { target.closeDevice(); }
  } closer{changer};

  ChangerCmdElementInformation ranges;
  execute(changer, ranges);
  std::vector<Line> lines;
  addElements(changer, ELEMENT_DATA_TRANSFER, ranges.getFirstDataTransferElementAddress(),
              ranges.getNumberOfTransferElements(), "drive", lines);
  addElements(changer, ELEMENT_MEDIUM_TRANSPORT, ranges.getFirstMediumTransportElementAddress(),
              ranges.getNumberOfMediumTransportElements(), "robot", lines);
  addElements(changer, ELEMENT_IMPORT_EXPORT, ranges.getFirstIOElementAddress(),
              ranges.getNumberOfIOElements(), "import/export", lines);
  addElements(changer, ELEMENT_STORAGE, ranges.getFirstStorageElementAddress(),
              ranges.getNumberOfStorageElements(), "slot", lines);

  std::vector<Row> rows = {{"ADDRESS", "ELEMENT", "STATE", "CARTRIDGE", "FROM", "DEVICE"}};
  for (const Line& line : lines) {
    rows.push_back({line.addresses()});
    rows.back().insert(rows.back().end(), line.cells.begin(), line.cells.end());
  }
  std::string model = changer.getModelName();
  trimString(model, " ");
  return fmt::format("Library {}, serial number {}\n", printable(model),
                     printable(changer.getSerialNumber())) +
         formatTable(rows);
}

}  // namespace host
