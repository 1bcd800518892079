// The scan's three sources, and the list that it fills.
#include "kiv/device/controller.h"

#include "kiv/device/driver_target.h"
#include "tests/device/room_fixture.h"

using simulator::Bytes;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Controller : public RoomTest {
 protected:
  /// The serial numbers found, driver targets marked with "*".
  std::vector<std::string> found() {
    std::vector<std::string> result;
    for (ScsiTarget* device : controller.getDeviceList()) {
      EXPECT_FALSE(device->isOpened());
      result.push_back((dynamic_cast<QORScsiTarget*>(device) != nullptr ? "*" : "") +
                       std::string(device->getSerialNumber()));
    }
    return result;
  }
  /// Two adapters; what the driver presents is on the second.
  void furnish() {
    room.addDrive({.adapter = 0, .target = 5, .serial = "A5"});
    room.addDisk({.adapter = 0, .target = 6});
    room.addDrive({.adapter = 0, .target = 7, .serial = "A7", .qualifier = 1});
    room.addDrive({.adapter = 0, .bus = 1, .target = 2, .serial = "A2", .claimed = true});  // Tape0
    room.addDrive({.adapter = 1, .target = 3, .serial = "B3", .claimed = true, .driver = {{}}});
    room.addChanger({.adapter = 1, .target = 4, .serial = "B4", .claimed = true, .driver = {{}}});
  }
  static std::unique_ptr<ScsiTarget> passThrough(const char* serial, std::uint64_t target,
                                                 std::uint64_t lun) {
    auto device = std::make_unique<ScsiTarget>();
    device->setSerialNumber(serial);
    device->setTargetId(target);
    device->setLun(lun);
    return device;
  }

  DeviceController controller;
};

TEST_F(Controller, FindsDevicesByModeOncePerDevice) {
  furnish();
  const struct {
    const char* what;
    bool driver;
    const char *start, *end, *exclude;
    std::vector<std::string> devices;
  } rows[] = {
      {"all", true, "", "", "", {"*B3", "*B4", "A5", "A2"}},
      {"without the driver", false, "", "", "", {"A5", "A2", "B3", "B4"}},
      {"driver devices in a range", true, R"(\\.\tape1)", R"(\\.\tape9)", "", {"*B3"}},
      {"driver devices, both classes", true, "", R"(\\.\changer0)", "", {"*B4"}},
      {"addresses in a range", true, "0 1 0 0", "1 0 3 0", "", {"A2", "B3"}},
      {"the second adapter only", true, "H1-B0-T0-L0", "", "", {"B3", "B4"}},
      {"an adapter that is not there", true, "5 0 0 0", "", "", {}},
      {"without a driver device", true, "", "", R"(\\.\Tape1)", {"*B4", "A5", "A2", "B3"}},
      {"without an address", false, "", "", "0 0 5 0:H1-B0-T4-L0", {"A2", "B3"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    room.journal().clear();
    EXPECT_EQ(controller.rediscoverSCSIBus(row.driver, row.start, row.end, row.exclude), CMD_OK);
    EXPECT_EQ(found(), row.devices);
    EXPECT_EQ(room.openHandles(), 0u);
    EXPECT_EQ(room.journal().count("SCSI_RESCAN_BUS"), 0u);
    const bool partialDriver = controller.getScanMode() == 2;
    if (partialDriver) {
      EXPECT_EQ(room.journal().count("SCSI_GET_CAPABILITIES"), 0u);
    }
    EXPECT_EQ(controller.getHostAdapterCount(), partialDriver || row.devices.empty() ? 0 : 2);
  }
}

TEST_F(Controller, AsksInTheOrderOfTheScan) {
  room.addDrive({.target = 5, .serial = "S"});
  room.addAdapter();
  EXPECT_EQ(controller.rescanSCSIBus(false, "", "", ""), CMD_OK);
  EXPECT_THAT(
      room.journal().lines(),
      ElementsAre(R"(CreateFileA \\.\scsi0: rw)", R"(DeviceIoControl \\.\scsi0: SCSI_RESCAN_BUS)",
                  R"(CloseHandle \\.\scsi0:)", R"(CreateFileA \\.\scsi1: rw)",
                  R"(DeviceIoControl \\.\scsi1: SCSI_RESCAN_BUS)", R"(CloseHandle \\.\scsi1:)",
                  R"(CreateFileA \\.\scsi2: rw -> error 2)",
                  // the first adapter, with its device
                  R"(CreateFileA \\.\scsi0: rw)", R"(DeviceIoControl \\.\scsi0: SCSI_GET_CAPABILITIES)",
                  R"(DeviceIoControl \\.\scsi0: SCSI_GET_INQUIRY_DATA)", R"(CreateFileA \\.\scsi0: rw)",
                  R"(DeviceIoControl \\.\scsi0: SCSI_GET_INQUIRY_DATA)",
                  R"(DeviceIoControl \\.\scsi0: STORAGE_QUERY_PROPERTY)", "CDB H0-B0-T5-L0 12 00 00 00 24 00",
                  "CDB H0-B0-T5-L0 12 01 80 00 1E 00", "CDB H0-B0-T5-L0 12 00 00 00 60 00",
                  "CDB H0-B0-T5-L0 12 01 83 00 64 00", R"(CloseHandle \\.\scsi0:)",
                  R"(CloseHandle \\.\scsi0:)",
                  // the second
                  R"(CreateFileA \\.\scsi1: rw)", R"(DeviceIoControl \\.\scsi1: SCSI_GET_CAPABILITIES)",
                  R"(DeviceIoControl \\.\scsi1: SCSI_GET_INQUIRY_DATA)", R"(CloseHandle \\.\scsi1:)",
                  // generic tape devices
                  "QueryDosDeviceA", "Sleep 1000"));
}

TEST_F(Controller, LogsTheScan) {
  room.addDisk({.target = 1});
  room.addDrive({.target = 5, .serial = "S"});
  room.addDrive({.target = 6, .claimed = true});
  room.addFault({.cdb = "12", .device = "H0-B0-T6-L0", .error = 1117});
  const auto log = logOf([&] { controller.rescanSCSIBus(true, "", "", ""); });
  for (const char* entry : {"I ScanSCSIBus launched forcerescan:1 start:<> end:<>",
                            R"(D DeviceController::scanKreltDevices QueryDosDevice Checking \\.\Tape0)",
                            R"(D \scsi0: adapterInfo->busdata[0].NumberOfLogicalUnits : 3)",
                            "I skipped Device type 0 Target: H0-B0-T1-l0", "D Device is NOT Claimed",
                            R"(D Opened \\.\scsi0: [QOR     ]-[ULTRIUM-PX6     ][S])",
                            R"(D DeviceController::scanGenericDevices QueryDosDevice Checking \\.\Tape0)",
                            "D Generic TapeDriver will be used"})
    EXPECT_THAT(log, Contains(entry));
  EXPECT_THAT(found(), ElementsAre("S")) << "the other drive did not answer INQUIRY";

  const auto driverOnly =
      logOf([&] { controller.rediscoverSCSIBus(true, R"(\\.\tape3)", R"(\\.\tape4)", ""); });
  for (const char* entry : {"D clearDeviceList() 1", R"(D \\.\tape generic dd skip device: \\.\Tape0)",
                            R"(D \\.\tape QOR dd based partial scan from: \\.\tape3 ==> \\.\tape4)"})
    EXPECT_THAT(driverOnly, Contains(entry));
  EXPECT_EQ(driverOnly.back(), "D ScanSCSIBus skip generic devices");
  EXPECT_THAT(logOf([&] { controller.rediscoverSCSIBus(true, "0 0 6 0", "", ""); }),
              Contains("I Partial SCAN skipped Target: H0-B0-T5-l0"));
}

TEST_F(Controller, GoesOnWhenASourceFails) {
  furnish();
  room.addFault({.call = "QueryDosDeviceA", .times = 0, .error = 5});
  EXPECT_THAT(logOf([&] { controller.rediscoverSCSIBus(true, "", "", ""); }),
              AllOf(Contains("I DeviceController::openDevice getDosDevices failed"),
                    Contains("I DeviceController::scanGenericDevices QueryDosDevice failed ##")));
  EXPECT_THAT(found(), ElementsAre("A5", "A2", "B3", "B4"));
  EXPECT_EQ(controller.scanKreltDevices(), CMD_ERROR);
  EXPECT_EQ(controller.scanGenericTapeDevices(), CMD_ERROR);

  room.faults().clear();
  room.addFault({.call = "SCSI_GET_CAPABILITIES", .times = 0, .error = 1});
  room.addFault({.call = "SCSI_GET_INQUIRY_DATA", .device = R"(\\.\scsi0:)", .times = 0, .error = 5});
  const auto log = logOf([&] { controller.rediscoverSCSIBus(false, "", "", ""); });
  EXPECT_THAT(
      log, Contains(testing::MatchesRegex("E IOCTL_SCSI_GET_INQUIRY_DATA failed, errno=5 .Access.*denied.. "
                                          "BufferSize:20480")));
  EXPECT_THAT(found(), ElementsAre("B3", "B4"));
}

TEST_F(Controller, SurvivesEveryTruncationOfTheInquiryList) {
  room.addDrive({.target = 5});
  room.addDrive({.bus = 1, .target = 6});
  auto& adapter = room.adapter(0);
  const Bytes list = adapter.inquiryList();
  for (std::size_t length = 0; length <= list.size(); ++length) {
    adapter.overrideInquiryList(Bytes(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(length)));
    controller.rediscoverSCSIBus(false, "", "", "");
    // The first drive is whole before the second begins.
    const int expected = length == list.size() ? 2 : length >= list.size() - 48 ? 1 : 0;
    EXPECT_EQ(controller.getDeviceCount(), expected) << length;
  }
  // Buses that share one chain, in a list of buses that are not there.
  Bytes shared = list;
  shared[0] = 255;
  std::copy_n(shared.begin() + 4, 8, shared.begin() + 12);
  adapter.overrideInquiryList(shared);
  controller.rediscoverSCSIBus(false, "", "", "");
  EXPECT_EQ(controller.getDeviceCount(), 1);

  // Addresses have room for so many adapters.
  while (room.adapters().size() < 300) room.addAdapter();
  controller.rediscoverSCSIBus(false, "", "", "");
  EXPECT_EQ(controller.getHostAdapterCount(), 256);
}

TEST_F(Controller, AddsAndRemovesDevices) {
  furnish();
  const char* const tape = R"(\\.\Tape1)";
  controller.addDevice(9, 9, 9, 9, R"(\\.\Tape7)");
  EXPECT_EQ(controller.getDeviceCount(), 0);
  EXPECT_THAT(logOf([&] { controller.addDevice(9, 9, 9, 9, tape); }), Contains("D addDevice() 1"));
  EXPECT_THAT(found(), ElementsAre("*B3"));
  controller.addDevice(9, 9, 9, 9, R"(\\.\tape1)");  // the name is listed
  controller.addDevice(1, 3, 0, 0, "");              // the address is listed
  EXPECT_THAT(found(), ElementsAre("*B3"));
  controller.addDevice(0, 5, 0, 0, nullptr);
  controller.addDevice(0, 2, 1, 0, R"(\\.\Tape7)");  // not the driver's: by address
  EXPECT_THAT(found(), ElementsAre("*B3", "A5", "A2"));
  EXPECT_TRUE(controller.isGenericDevicePartOfDeviceList(0, 0, 5, 0));
  EXPECT_FALSE(controller.isGenericDevicePartOfDeviceList(1, 0, 3, 0)) << "a driver target";
  EXPECT_EQ(controller.isDeviceInList(tape), controller.getDevice(0));
  EXPECT_EQ(controller.isDeviceInList("scsi0"), controller.getDevice(1));
  EXPECT_EQ(controller.isDeviceInList("Tape9"), nullptr);
  EXPECT_EQ(controller.getDevice(-1), nullptr);
  EXPECT_EQ(controller.getDevice(3), nullptr);

  std::list<ScsiTarget*> devices(7);
  controller.convertToList(devices);
  EXPECT_THAT(devices, testing::ElementsAreArray(controller.getDeviceList()));

  EXPECT_EQ(controller.removeDevice(0, 5, 0, 1, ""), CMD_ERROR);
  EXPECT_THAT(logOf([&] { EXPECT_EQ(controller.removeDevice(0, 5, 0, 0, ""), CMD_OK); }),
              ElementsAre("D removeDevice() 3"));
  EXPECT_EQ(controller.removeDevice(9, 9, 9, 9, R"(the device \\.\Tape1 is gone)"), CMD_OK);
  EXPECT_THAT(found(), ElementsAre("A2"));
  ScsiTarget stranger;
  EXPECT_EQ(controller.removeDevice(&stranger), CMD_ERROR);
  EXPECT_THAT(logOf([&] { EXPECT_EQ(controller.removeDevice(controller.getDevice(0)), CMD_OK); }),
              ElementsAre("D removeDevice(ScsiTarget* device2Remove) 1"));
  EXPECT_EQ(controller.removeDevice(0, 2, 1, 0, ""), CMD_ERROR);

  // An open target is closed by its new owner; one that is listed is not listed twice.
  auto* device = new ScsiTarget;
  EXPECT_EQ(openAt(*device, 0, 0, 5), CMD_OK);
  controller.addDevice(device);
  controller.addDevice(device);
  controller.addDevice(nullptr);
  EXPECT_EQ(controller.getDeviceCount(), 1);
  EXPECT_EQ(controller.clearDeviceList(), CMD_OK);
}

TEST_F(Controller, AddsTheFirstInstanceThatOpens) {
  furnish();
  const char* const prefix = R"(\\.\tape)";
  controller.addDevice(1, 3, 0, 0, prefix, 3, {7, 0, 1, 2});
  EXPECT_THAT(found(), ElementsAre("*B3"));
  EXPECT_EQ(dynamic_cast<QORScsiTarget&>(*controller.getDevice(0)).getInstanceNumber(), 1);
  controller.clearDeviceList();
  controller.addDevice(1, 3, 0, 0, prefix, 2, {7, 0, 1, 2});
  EXPECT_THAT(found(), ElementsAre("B3")) << "none of the first two is the driver's: by address";
}

TEST_F(Controller, MatchesPassThroughTargetsOfDriverDevices) {
  const auto device = std::make_unique<QORScsiTarget>();
  device->setSerialNumber("S1");
  device->setTargetId(5);
  device->setLun(0);
  const struct {
    const char* serial;
    std::uint64_t target, lun;
    bool matches;
  } rows[] = {
      {"S1", 5, 0, true}, {"S1", 5, 1, false}, {"S1", 6, 0, false}, {"S1 ", 5, 0, false}, {"S", 5, 0, false}};
  for (const auto& row : rows) {
    const auto candidate = passThrough(row.serial, row.target, row.lun);
    EXPECT_EQ(controller.isMatchingGenericDevice(device.get(), candidate.get()), row.matches) << row.serial;
  }
  EXPECT_FALSE(controller.isMatchingGenericDevice(device.get(), device.get())) << "itself a driver target";

  controller.addDevice(passThrough("S1", 5, 0).release());
  controller.addDevice(new QORScsiTarget(*device));
  for (const char* serial : {"S1", "S2", "S1"}) controller.addDevice(passThrough(serial, 5, 0).release());
  controller.removeMatchingGenericDevices();
  EXPECT_THAT(found(), ElementsAre("S1", "*S1", "S2")) << "a device before the driver's stays";
}

TEST_F(Controller, PrintsTheListWithTheHostAdapters) {
  room.addAdapter();
  room.addAdapter({.manufacturer = "Halden", .driverVersion = "1.2.3"});
  room.addDrive({.adapter = 1, .target = 5, .level = "A1B2", .serial = "S"});
  controller.rediscoverSCSIBus(false, "", "", "");
  CapturedOutput output;
  {
    LogLevel level(LOG_INFO);
    controller.printDeviceListIntoLog();
  }
  EXPECT_THAT(
      output.text(),
      AllOf(HasSubstr("printDeviceListIntoLog() 1\n"),
            HasSubstr("Device # 0 [QOR     ]-[ULTRIUM-PX6     ]-[A1B2] Type:1 SN: S, Interface Fibre, "
                      R"(Driver \\.\scsi1: Version WinDefault, 1-0-5-0, rtti )"),
            HasSubstr("\nHBA Vendor: Halden\nHBA Description: Quad Port SAS/FC Host Bus Adapter\n"
                      "HBA Information: PCI bus 4, device 0, function 0\nHBA Driver: hsport\n"
                      "HBA Driver Version: 1.2.3\nHBA Driver Provider: Halden Storage\n"
                      "HBA Driver Information: {4d36e97b-e325-11ce-bfc1-08002be10318}\\0001\n"
                      "HBA Driver Date: 3-14-2019\nHBA Driver Description: Halden Storage Port Driver\n"
                      "HBA Firmware: \n"),
            HasSubstr(R"(Host Apdater Proprties available for ====>>\\.\scsi1:<<==== detected )"
                      "[Halden][hsport][PCI bus 4, device 0, function 0] \n")));
}

TEST_F(Controller, TakesHostAdapterTextsAsTheyCome) {
  room.addDrive({.target = 5});
  controller.rediscoverSCSIBus(false, "", "", "");
  ScsiTarget& device = *controller.getDevice(0);
  const char* const property = "SetupDiGetDeviceRegistryPropertyA";
  const struct {
    const char* what;
    simulator::Fault fault;
    const char* vendor;
  } rows[] = {
      {"a text too long", {.call = property, .reply = Bytes(5000, 'x')}, "before"},
      {"a text with a zero inside", {.call = property, .reply = Bytes{'a', 0, 'b'}}, "a"},
      {"a property refused", {.call = property, .error = 13}, "before"},
      {"no set", {.call = "SetupDiGetClassDevsA", .error = 5}, "before"},
      {"no list", {.call = "SCSI_GET_INQUIRY_DATA", .times = 0, .error = 5}, "before"},
      {"no driver key", {.call = "SetupDiOpenDevRegKey", .times = 0, .error = 2}, "Halden Storage"},
      {"a value too long", {.call = "RegQueryValueExA", .reply = Bytes(5000, 'x')}, "Halden Storage"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    device.setProperty("HBA Vendor", "before");
    room.faults().clear();
    room.addFault(row.fault);
    device.queryHostAdapterInformation();
    EXPECT_STREQ(device.getProperty("HBA Vendor"), row.vendor);
    EXPECT_EQ(room.openHandles(), 0u);
  }
}

}  // namespace
