#include "kiv/update/scan_bus.h"
#include "update/report.h"

void ScanBus::showScanResult(int outputMode, ComponentId& ids) {
  if (outputMode == KIV_OUTPUT_NONE) return;
  std::string document = XML_DECLARATION;
  document += "<SVMInventory lang=\"en\">\n";
  for (ScsiTarget* target : listOfSupportedDevices) {
    std::string product;
    getProductString(target, product);
    const std::string componentId = ids.isValid(product) ? ids.getId4InquiryData(product) : "";
    document += deviceEntryStart(*target, product, componentId, target->getFirmwareVersion());
    document += "</Application>\n  </Device>\n";
  }
  document += "</SVMInventory>\n";
  if (outputMode == KIV_OUTPUT_STDOUT) document += "\n";
  writeReport("scsiInv.txt", outputMode, ReportPart::Start, document);
}
