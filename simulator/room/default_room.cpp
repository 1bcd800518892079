#include "simulator/room/room.h"

namespace simulator {

std::string_view Room::defaultJson() {
  return R"({
  "adapters": [
    {"description": "Quad Port SAS Host Bus Adapter", "location": "PCI bus 4, device 0, function 0"},
    {"description": "Dual Port 16Gb Fibre Channel Adapter", "location": "PCI bus 5, device 0, function 0"}
  ],
  "drives": [
    {"adapter": 0, "target": 3, "model": "ULTRIUM-PX6", "level": "E6Q3", "serial": "1068000451",
     "interface": "SAS", "automationReady": true},
    {"adapter": 0, "target": 4, "model": "ULTRIUM-PX8", "level": "K5H1", "serial": "1084000017",
     "interface": "SAS", "claimed": true, "cartridge": true, "loadSeconds": 12},
    {"adapter": 1, "target": 5, "model": "ULTRIUM-PX4", "level": "B12H", "serial": "1210118820",
     "interface": "FC", "loadId": "0xA1700D76"},
    {"adapter": 1, "target": 6, "model": "ULTRIUM-PX7", "level": "G9P1", "serial": "1077002305",
     "interface": "FC", "automationReady": true},
    {"adapter": 1, "target": 9, "model": "ULTRIUM-PX1", "level": "36U3", "serial": "1110187705",
     "interface": "FC"}
  ],
  "changers": [
    {"adapter": 1, "target": 6, "lun": 1, "model": "TAPELIB-40", "level": "3.10", "serial": "00QR78M1340",
     "interface": "FC", "claimed": true,
     "robots": {"first": 1, "count": 1}, "importExport": {"first": 16, "count": 4},
     "drives": {"first": 256, "count": 4}, "slots": {"first": 4096, "count": 40},
     "bays": ["1077002305", "1210118820"],
     "cartridges": [
       {"element": 4096, "barcode": "QOR001L7"}, {"element": 4097, "barcode": "QOR002L7"},
       {"element": 4098, "barcode": "QOR003L7"}, {"element": 4100, "barcode": "QOR004L4"},
       {"element": 4101, "barcode": "QOR005L4"}, {"element": 4104, "barcode": ""},
       {"element": 4135, "barcode": "CLNQ01L1"}, {"element": 16, "barcode": "QOR006L7"}
     ],
     "moveSeconds": 9, "inventorySeconds": 120}
  ],
  "disks": [
    {"adapter": 0, "target": 0}
  ]
})";
}

}  // namespace simulator
