#include "frame/guarded.h"
#include "kiv/frame/logger.h"
#include "kiv/update/scan_bus.h"
#include "update/product_string.h"
#include "update/report.h"

void ScanBus::showScanResult(int outputMode, ComponentId& ids) {
  if (outputMode == KIV_OUTPUT_NONE) return;
  const bool written = guarded(false, [&] {
    std::string document(INVENTORY_HEADER);
    for (ScsiTarget* target : listOfSupportedDevices) {
      if (target == nullptr) continue;
      const bool listed = guarded(false, [&] {
        const std::string product = documentedProductString(*target);
        const std::string componentId = ids.isValid(product) ? ids.getId4InquiryData(product) : "";
        document += deviceEntryStart(*target, product, componentId, target->getFirmwareVersion()) +
                    "</Application>\n  </Device>\n";
        return true;
      });
      if (!listed) logger->logError("MAIN", 0, "Inventory lacks a device: out of memory");
    }
    document += outputMode == KIV_OUTPUT_STDOUT ? "</SVMInventory>\n\n" : "</SVMInventory>\n";
    writeReport("scsiInv.txt", outputMode, ReportPart::Start, document);
    return true;
  });
  if (!written) logger->logError("MAIN", 0, "Inventory not written: out of memory");
}
