// The scan's three sources, and the list that it fills.
#include "kiv/device/controller.h"

#include "tests/support/room_test.h"

namespace {

class Controller : public RoomTest {
 protected:
  /// The devices listed, those of the driver marked with "*"; all of them are closed.
  void tellList(const std::string& what) {
    std::string devices;
    for (ScsiTarget* device : controller.getDeviceList()) {
      EXPECT_FALSE(device->isOpened());
      devices += (dynamic_cast<QORScsiTarget*>(device) != nullptr ? " *" : " ") +
                 std::string(device->getSerialNumber());
    }
    record(what + " ->" + devices);
  }
  /// Addresses that differ from H0-B0-T5-L0 in one number, and what the driver presents: Tape1, Changer0.
  void furnish() {
    room.addDrive({.target = 5, .serial = "A5"});
    room.addDrive({.target = 5, .lun = 1, .serial = "A5L1"});
    room.addDrive({.bus = 1, .target = 5, .serial = "A5B1", .claimed = true});  // Tape0
    room.addDrive({.adapter = 1, .target = 5, .serial = "B5"});
    room.addDisk({.target = 6});
    room.addDrive({.target = 7, .serial = "A7", .qualifier = 1});
    room.addDrive({.adapter = 1, .target = 3, .serial = "B3", .claimed = true, .driver = {{}}});
    room.addChanger({.adapter = 1, .target = 4, .serial = "B4", .claimed = true, .driver = {{}}});
  }
};

TEST_F(Controller, FindsDevicesByModeOncePerDevice) {
  furnish();
  const struct {
    bool driver;
    const char *start, *end, *exclude;
  } rows[] = {
      {true, "", "", ""},
      {false, "", "", ""},
      {true, R"(\\.\tape1)", R"(\\.\tape9)", ""},
      {true, "", R"(\\.\changer0)", ""},
      {true, "0 1 0 0", "1 0 3 0", ""},
      {true, "H0-B0-T5-L1", "H0-B0-T5-L1", ""},
      {true, "H1-B0-T0-L0", "", ""},
      {true, "5 0 0 0", "", ""},
      {true, "", "", R"(\\.\Tape1)"},
      {false, "", "", "0 0 5 0:H1-B0-T4-L0"},
  };
  for (const auto& row : rows) {
    room.journal().clear();
    EXPECT_EQ(controller.rediscoverSCSIBus(row.driver, row.start, row.end, row.exclude), CMD_OK);
    EXPECT_EQ(room.openHandles(), 0u);
    tellList(std::string(row.driver ? "with" : "without") + " driver from '" + row.start + "' to '" +
             row.end + "' but '" + row.exclude + "'");
    record("  mode, adapters, rescans, capabilities", controller.getScanMode(),
           controller.getHostAdapterCount(), room.journal().count("SCSI_RESCAN_BUS"),
           room.journal().count("SCSI_GET_CAPABILITIES"));
  }
}

TEST_F(Controller, AsksInTheOrderOfTheScan) {
  room.addDisk({.target = 1});
  room.addDrive({.target = 5, .serial = "S"});
  room.addDrive({.target = 6, .claimed = true});
  room.addAdapter();
  room.addFault({.cdb = "12", .device = "H0-B0-T6-L0", .error = 1117});
  record("log", logOf([&] { EXPECT_EQ(controller.rescanSCSIBus(true, "", "", ""), CMD_OK); }));
  record("calls", calls());
  record("driver devices",
         logOf([&] { controller.rediscoverSCSIBus(true, R"(\\.\tape3)", R"(\\.\tape4)", ""); }));
  record("addresses", logOf([&] { controller.rediscoverSCSIBus(true, "0 0 6 0", "", ""); }));
}

TEST_F(Controller, GoesOnWhenASourceFails) {
  furnish();
  room.addFault({.call = "QueryDosDeviceA", .times = 0, .error = 5});
  record("no names", logOf([&] { controller.rediscoverSCSIBus(true, "", "", ""); }));
  tellList("no names");
  TELL(controller.scanKreltDevices(), controller.scanGenericTapeDevices());
  room.faults().clear();
  room.addFault({.call = "SCSI_GET_CAPABILITIES", .times = 0, .error = 1});
  room.addFault({.call = "SCSI_GET_INQUIRY_DATA", .device = R"(\\.\scsi0:)", .times = 0, .error = 5});
  room.addFault({.call = "SCSI_RESCAN_BUS", .error = 1});
  record("no list", logOf([&] { controller.rescanSCSIBus(false, "", "", ""); }, LOG_INFO));
  tellList("no list");
}

TEST_F(Controller, TakesWhatIsWholeOfAnInquiryList) {
  room.addDrive({.target = 5});
  room.addDrive({.bus = 1, .target = 6});
  auto& adapter = room.adapter(0);
  const Bytes list = adapter.inquiryList();
  const auto found = [&](const Bytes& data) {
    adapter.overrideInquiryList(data);
    controller.rediscoverSCSIBus(false, "", "", "");
    return controller.getDeviceCount();
  };
  // The first drive is whole before the second begins.
  const auto end = [&](std::ptrdiff_t left) { return list.end() - left; };
  EXPECT_EQ(found(list), 2);
  EXPECT_EQ(found({list.begin(), end(1)}), 1);
  EXPECT_EQ(found({list.begin(), end(48)}), 1);
  EXPECT_EQ(found({list.begin(), end(49)}), 0);
  // Buses that share one chain, in a list of buses that are not there.
  Bytes shared = list;
  shared[0] = 255;
  std::copy_n(shared.begin() + 4, 8, shared.begin() + 12);
  EXPECT_EQ(found(shared), 1);
  // Addresses have room for so many adapters.
  while (room.adapters().size() < 300) room.addAdapter();
  controller.rediscoverSCSIBus(false, "", "", "");
  EXPECT_EQ(controller.getHostAdapterCount(), 256);
}

TEST_F(Controller, AddsAndRemovesDevices) {
  furnish();
  const auto add = [&](const char* what, std::uint8_t host, std::uint64_t id, std::uint8_t bus,
                       std::uint64_t lun, const char* name) {
    const auto log = logOf([&] { controller.addDevice(host, id, bus, lun, name); });
    tellList(what);
    if (!log.empty() && log.back().find("addDevice") != std::string::npos) record(log.back());
  };
  add("no such device", 9, 9, 9, 9, R"(\\.\Tape7)");
  add("by name", 9, 9, 9, 9, R"(\\.\Tape1)");
  add("the name is listed", 9, 9, 9, 9, R"(\\.\tape1)");
  add("the address is listed", 1, 3, 0, 0, "");
  add("by address", 0, 5, 0, 0, nullptr);
  add("not the driver's: by address", 0, 5, 1, 0, R"(\\.\Tape7)");
  add("another LUN", 0, 5, 0, 1, "");
  add("another adapter", 1, 5, 0, 0, "");
  TELL(controller.isGenericDevicePartOfDeviceList(0, 0, 5, 0),
       controller.isGenericDevicePartOfDeviceList(0, 0, 5, 2),
       controller.isGenericDevicePartOfDeviceList(0, 2, 5, 0),
       controller.isGenericDevicePartOfDeviceList(2, 0, 5, 0),
       controller.isGenericDevicePartOfDeviceList(0, 0, 6, 0));
  EXPECT_FALSE(controller.isGenericDevicePartOfDeviceList(1, 0, 3, 0)) << "a driver target";
  EXPECT_EQ(controller.isDeviceInList(R"(\\.\Tape1)"), controller.getDevice(0));
  EXPECT_EQ(controller.isDeviceInList("scsi0"), controller.getDevice(1));
  EXPECT_EQ(controller.isDeviceInList("Tape9"), nullptr);
  EXPECT_EQ(controller.getDevice(-1), nullptr);
  EXPECT_EQ(controller.getDevice(controller.getDeviceCount()), nullptr);
  std::list<ScsiTarget*> devices(7);
  controller.convertToList(devices);
  EXPECT_THAT(devices, testing::ElementsAreArray(controller.getDeviceList()));

  const auto remove = [&](std::uint8_t host, std::uint64_t id, std::uint8_t bus, std::uint64_t lun,
                          const char* name) {
    record("remove", host, id, bus, lun, name, controller.removeDevice(host, id, bus, lun, name));
    tellList("  left");
  };
  remove(0, 5, 0, 2, "");
  remove(0, 5, 2, 0, "");
  remove(0, 5, 0, 1, "");
  remove(1, 5, 0, 0, "");
  remove(9, 9, 9, 9, R"(the device \\.\Tape1 is gone)");
  ScsiTarget stranger;
  TELL(controller.removeDevice(&stranger), controller.removeDevice(nullptr));
  record("log", logOf([&] {
           EXPECT_EQ(controller.removeDevice(controller.getDevice(0)), CMD_OK);
           EXPECT_EQ(controller.removeDevice(0, 5, 1, 0, ""), CMD_OK);
         }));
  // An open target is closed by its new owner; one that is listed is not listed twice.
  auto* device = new ScsiTarget;
  EXPECT_EQ(openAt(*device, 0, 0, 5), CMD_OK);
  for (ScsiTarget* each : {device, device, static_cast<ScsiTarget*>(nullptr)}) controller.addDevice(each);
  EXPECT_EQ(controller.getDeviceCount(), 1);
  controller.closeHandleOfAllDevices();
  EXPECT_FALSE(device->isOpened());
  EXPECT_EQ(openAt(*device, 0, 0, 5), CMD_OK);
  EXPECT_EQ(controller.clearDeviceList(), CMD_OK);
}

TEST_F(Controller, AddsTheFirstInstanceThatOpens) {
  furnish();
  for (const unsigned count : {3u, 2u}) {
    controller.addDevice(1, 3, 0, 0, R"(\\.\tape)", count, {7, 0, 1, 2});
    tellList(std::to_string(count) + " instances");
    if (auto* instance = dynamic_cast<QORScsiTarget*>(controller.getDevice(0)))
      TELL(instance->getInstanceNumber());
    controller.clearDeviceList();
  }
}

TEST_F(Controller, MatchesPassThroughTargetsOfDriverDevices) {
  const auto passThrough = [](const char* serial, std::uint64_t id, std::uint64_t lun) {
    auto* device = new ScsiTarget;
    device->setSerialNumber(serial), device->setTargetId(id), device->setLun(lun);
    return device;
  };
  driver.setSerialNumber("S1"), driver.setTargetId(5), driver.setLun(0);
  for (const auto& [serial, id, lun] :
       {std::tuple{"S1", 5u, 0u}, {"S1", 5u, 1u}, {"S1", 6u, 0u}, {"S1 ", 5u, 0u}, {"S", 5u, 0u}}) {
    const std::unique_ptr<ScsiTarget> candidate(passThrough(serial, id, lun));
    record("matches", serial, id, lun, controller.isMatchingGenericDevice(&driver, candidate.get()));
  }
  EXPECT_FALSE(controller.isMatchingGenericDevice(&driver, &driver)) << "itself a driver target";
  controller.addDevice(passThrough("S1", 5, 0));
  controller.addDevice(new QORScsiTarget(driver));
  for (const char* serial : {"S1", "S2", "S1"}) controller.addDevice(passThrough(serial, 5, 0));
  controller.removeMatchingGenericDevices();
  tellList("a device before the driver's stays");
}

TEST_F(Controller, IsEqualWithEqualSettingsAndTargets) {
  furnish();
  DeviceController other;
  const auto same = [&](const char* what) { record(what, controller == other); };
  same("both empty");
  controller.rediscoverSCSIBus(false, "", "", "");
  same("one has scanned");
  other.rediscoverSCSIBus(false, "", "", "");
  same("both have scanned");
  other.getDevice(0)->setLun(1);
  same("a target differs");
  other.rediscoverSCSIBus(false, "", "", R"(\\.\tape9)");
  same("the exclude list differs");
}

TEST_F(Controller, PrintsTheListWithTheHostAdapters) {
  room.addAdapter();
  room.addAdapter({.manufacturer = "Halden", .driverVersion = "1.2.3"});
  room.addDrive({.adapter = 1, .target = 5, .level = "A1B2", .serial = "S"});
  controller.rediscoverSCSIBus(false, "", "", "");
  for (std::string line : logOf([&] { controller.printDeviceListIntoLog(); }, LOG_INFO)) {
    if (const auto type = line.find("rtti "); type != std::string::npos) line.erase(type + 5);
    record(line);
  }
}

TEST_F(Controller, TakesHostAdapterTextsAsTheyCome) {
  room.addAdapter();
  room.addAdapter();
  room.addDrive({.adapter = 1, .target = 5});
  controller.rediscoverSCSIBus(false, "", "", "");
  ScsiTarget& device = *controller.getDevice(0);
  const char* const property = "SetupDiGetDeviceRegistryPropertyA";
  const std::pair<const char*, Fault> rows[] = {
      {"a text too long", {.call = property, .reply = Bytes(5000, 'x')}},
      {"a text with a zero inside", {.call = property, .reply = Bytes{'a', 0, 'b'}}},
      {"an adapter without a path", {.call = "SetupDiGetDeviceInterfaceDetailA", .error = 5}},
      {"an adapter that does not open", {.call = "CreateFileA", .nth = 2, .error = 5}},
      {"a property refused", {.call = property, .error = 13}},
      {"no set", {.call = "SetupDiGetClassDevsA", .error = 5}},
      {"no list", {.call = "SCSI_GET_INQUIRY_DATA", .times = 0, .error = 5}},
      {"no driver key", {.call = "SetupDiOpenDevRegKey", .times = 0, .error = 2}},
      {"a value too long", {.call = "RegQueryValueExA", .reply = Bytes(5000, 'x')}},
  };
  for (const auto& [what, fault] : rows) {
    device.setProperty("HBA Vendor", "before");
    room.faults().clear();
    room.addFault(fault);
    device.queryHostAdapterInformation();
    record(what, device.getProperty("HBA Vendor"));
    EXPECT_EQ(room.openHandles(), 0u);
  }
  std::string text;
  EXPECT_FALSE(ScsiTarget::getDeviceRegistryProperty(INVALID_HANDLE_VALUE, nullptr, 0, text));
  EXPECT_FALSE(
      ScsiTarget::getDeviceDriverRegistryProperty(INVALID_HANDLE_VALUE, nullptr, "ProviderName", text));
}

}  // namespace
