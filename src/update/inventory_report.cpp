#include <string>
#include <vector>

#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/update/scan_bus.h"
#include "update/product_string.h"
#include "update/report.h"

namespace {

constexpr char INVENTORY[] = "scsiInv.txt";

}  // namespace

void ScanBus::showScanResult(int outputMode, ComponentId& ids) {
  if (outputMode == KIV_OUTPUT_NONE) return;
  std::vector<std::string> entries;
  for (ScsiTarget* target : listOfSupportedDevices) {
    if (target == nullptr) continue;
    const bool listed = guarded(false, [&] {
      const std::string product = documentedProductString(*target);
      const std::string componentId = ids.isValid(product) ? ids.getId4InquiryData(product) : "";
      entries.push_back(
          deviceEntryStart(addressOf(*target), product, componentId, target->getFirmwareVersion()) +
          "</Application>\n  </Device>\n");
      return true;
    });
    if (!listed) logger->logError("MAIN", 0, "Inventory lacks a device: out of memory");
  }
  writeReport(INVENTORY, outputMode, ReportPart::Start, INVENTORY_HEADER);
  for (const std::string& entry : entries)
    writeReport(INVENTORY, outputMode, ReportPart::Continuation, entry);
  writeReport(INVENTORY, outputMode, ReportPart::Continuation,
              outputMode == KIV_OUTPUT_STDOUT ? "</SVMInventory>\n\n" : "</SVMInventory>\n");
}
