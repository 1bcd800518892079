#include "kiv/changer/driver_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>

#include "platform/win32.h"
#include "simulator/import_table.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"
#include "tests/support/scripted_driver.h"

using testing::Contains;
using testing::IsSupersetOf;

namespace {

constexpr DWORD cartridgeLocations = 0x0030E06C, changerSense = 0x00306064;

using Bytes = std::vector<std::uint8_t>;
using Twin = std::unique_ptr<QORScsiCommand>;

template <class Block>
Bytes blockBytes(const Block& block) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(&block);
  return Bytes(data, data + sizeof block);
}

/// One robot at 1, four stations at 10h, four drives at 100h, sixty slots at 1000h.
GET_CHANGER_PARAMETERS parameters() {
  GET_CHANGER_PARAMETERS result{};
  result.Size = sizeof result;
  result.FirstTransportNumber = 0x0001;
  result.NumberTransportElements = 1;
  result.FirstIEPortNumber = 0x0010;
  result.NumberIEElements = 4;
  result.FirstDriveNumber = 0x0100;
  result.NumberDataTransferElements = 4;
  result.FirstSlotNumber = 0x1000;
  result.NumberStorageElements = 60;
  result.Features0 = CHANGER_EXCHANGE_MEDIA;
  return result;
}

template <class TwinClass, class Command>
struct Pair {
  template <class... Arguments>
  explicit Pair(Arguments... arguments)
      : command(std::make_shared<Command>(arguments...)), twin(std::make_shared<TwinClass>(command.get())) {}
  std::shared_ptr<GenericScsiCommand> command;  // outlives the twin, which is destroyed first
  std::shared_ptr<QORScsiCommand> twin;
};

class ChangerTwins : public testing::Test {
 protected:
  ChangerTwins() {
    simulator::takeOverImports();
    driver.answers(IOCTL_CHANGER_GET_PARAMETERS, blockBytes(parameters()));
    handle = driver.open();
  }
  /// Every later request with this code is counted and succeeds.
  void accepts(DWORD code) {
    driver.does(code, [this](simulator::ControlRequest& request) {
      request.reply(std::span<const std::uint8_t>());
      requests.push_back(hex(std::span(request.buffer).first(request.inSize)));
    });
  }
  /// The result, and the lines logged meanwhile in `log`.
  ReturnCode run(QORScsiCommand& twin) {
    const LogLevel level(LOG_DEBUG);
    CapturedOutput output;
    const ReturnCode result = twin.doOperation(handle);
    log = output.lines();
    return result;
  }

  simulator::Room room;
  ScriptedDriver driver;
  HANDLE handle = nullptr;
  std::vector<std::string> requests;
  std::vector<std::string> log;
};

constexpr const char* robot = "01 00 00 00 00 00 00 00 ";
constexpr const char* slot5 = "02 00 00 00 05 00 00 00 ";
constexpr const char* station3 = "03 00 00 00 03 00 00 00 ";
constexpr const char* drive2 = "04 00 00 00 02 00 00 00 ";

TEST_F(ChangerTwins, TranslateTheirCdbs) {
  using Move = Pair<QORChangerMoveMedium, ChangerMoveMedium>;
  using Exchange = Pair<QORChangerCmdExchangeMedium, ChangerCmdExchangeMedium>;
  using Position = Pair<QORChangerCmdPositionToElement, ChangerCmdPositionToElement>;
  using Initialize = Pair<QORChangerCmdInitializeElementStatus, ChangerCmdInitializeElementStatus>;
  using Range =
      Pair<QORChangerCmdInitializeElementStatusWithRange, ChangerCmdInitializeElementStatusWithRange>;
  const Move move(1, 0x1005, 0x0102), moveNowhere(1, 0x1005, 0x103C), moveFromNowhere(1, 0, 0x0102),
      moveByNothing(2, 0x1005, 0x0102);
  const Exchange exchange(1, 0x1005, 0x0102, 0x0013), exchangeNowhere(1, 0x1005, 0x0104, 0x0013),
      exchangeNowhere2(1, 0x1005, 0x0102, 0x0014);
  const Position position(1, 0x0102), positionNowhere(1, 5);
  const Initialize initialize;
  const Range range(0x1005, 0x0203, 0x37), rangeNowhere(5, 1, 0x37);

  const struct {
    const char* name;
    QORScsiCommand& twin;
    DWORD code;
    std::string request;  // none: it fails before
    const char* message;
  } rows[] = {
      {"move", *move.twin, IOCTL_CHANGER_MOVE_MEDIUM, std::string(robot) + slot5 + drive2 + "00 00 00 00",
       "IOCTL_CHANGER_MOVE_MEDIUM passed:Transport: 1, Source: 4101, Destination: 258"},
      {"move nowhere", *moveNowhere.twin, IOCTL_CHANGER_MOVE_MEDIUM, "",
       "Could not translate DestinationAddress 4156"},
      {"move from nowhere", *moveFromNowhere.twin, IOCTL_CHANGER_MOVE_MEDIUM, "",
       "Could not translate SourceAddress 0"},
      {"move by nothing", *moveByNothing.twin, IOCTL_CHANGER_MOVE_MEDIUM, "",
       "Could not translate TansportAddress 2"},
      {"exchange", *exchange.twin, IOCTL_CHANGER_EXCHANGE_MEDIUM,
       std::string(robot) + slot5 + drive2 + station3 + "00 00 00 00", "Exchange medium: 1 4101 258 19"},
      {"exchange nowhere", *exchangeNowhere.twin, IOCTL_CHANGER_EXCHANGE_MEDIUM, "",
       "Could not translate first DestinationAddress 260"},
      {"exchange to nowhere", *exchangeNowhere2.twin, IOCTL_CHANGER_EXCHANGE_MEDIUM, "",
       "Could not translate second DestinationAddress 20"},
      {"position", *position.twin, IOCTL_CHANGER_SET_POSITION, std::string(robot) + drive2 + "00 00 00 00",
       "Position to element 258"},
      {"position nowhere", *positionNowhere.twin, IOCTL_CHANGER_SET_POSITION, "",
       "Could not translate DestinationAddress 5"},
      {"initialize", *initialize.twin, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS,
       "00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00", "IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS passed"},
      {"range", *range.twin, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS,
       std::string(slot5) + "03 02 00 00 01 00 00 00", "CHANGER_INITIALIZE_ELEMENT_STATUS with range passed"},
      {"range nowhere", *rangeNowhere.twin, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS, "",
       "Could not translate SourceAddress 5"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    requests.clear();
    accepts(row.code);
    EXPECT_EQ(run(row.twin), row.request.empty() ? CMD_ERROR : CMD_OK);
    EXPECT_EQ(requests, row.request.empty() ? std::vector<std::string>{} : std::vector{row.request});
    EXPECT_THAT(log, Contains(std::string("SCSI0000D ") + row.message));

    driver.refuses(row.code, ERROR_IO_DEVICE);
    const bool fallsBack = &row.twin == initialize.twin.get();
    EXPECT_EQ(run(row.twin), fallsBack ? CMD_NOT_SUPPORTED : CMD_ERROR);
    if (fallsBack) {
      EXPECT_THAT(log, Contains("SCSI0000D IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS failed - used "
                                "passthrough instead"));
    }
  }
  EXPECT_THAT(log, Contains("SCSI0000D Transport:1 1 Drive:256 4 Slot:4096 60 IE:16 4"));

  run(*move.twin);
  EXPECT_THAT(log,
              Contains("SCSI0000D IOCTL_CHANGER_MOVE_MEDIUM failed:Transport: 1, Source: 2, Destination: 4"));

  requests.clear();
  accepts(IOCTL_CHANGER_EXCHANGE_MEDIUM);
  GET_CHANGER_PARAMETERS without = parameters();
  without.Features0 = 0x80001004;
  without.Features1 = 0x8000000F;
  driver.answers(IOCTL_CHANGER_GET_PARAMETERS, blockBytes(without));
  EXPECT_EQ(run(*exchange.twin), CMD_ERROR);
  EXPECT_THAT(log,
              Contains("SCSI0000D Medium Exchange failed because changer does not support media exchange - "
                       "Features 0:80001004-8000000F"));
  EXPECT_TRUE(requests.empty());

  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  accepts(IOCTL_CHANGER_MOVE_MEDIUM);
  EXPECT_EQ(run(*move.twin), CMD_ERROR);
  EXPECT_TRUE(requests.empty());
}

TEST_F(ChangerTwins, LockWhatCanBeLocked) {
  Pair<QORChangerCmdPreventAllowMediumRemoval, ChangerCmdPreventAllowMediumRemoval> pair(true);
  std::vector<DWORD> refused;
  driver.does(IOCTL_CHANGER_SET_ACCESS, [&](simulator::ControlRequest& request) {
    const auto type = request.input<CHANGER_SET_ACCESS>().Element.ElementType;
    requests.push_back(hex(std::span(request.buffer).first(request.inSize)));
    if (std::ranges::count(refused, static_cast<DWORD>(type)))
      throw simulator::WindowsError{ERROR_INVALID_FUNCTION};
    request.reply(std::span<const std::uint8_t>());
  });
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_OK);
  EXPECT_EQ(requests, (std::vector<std::string>{"03 00 00 00 00 00 00 00 00 00 00 00",
                                                "05 00 00 00 00 00 00 00 00 00 00 00"}));
  requests.clear();
  pair.command->getCdb()[4] = 0;
  refused = {ChangerDoor};
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_OK) << "the station is enough";
  EXPECT_EQ(requests, (std::vector<std::string>{"03 00 00 00 00 00 00 00 01 00 00 00",
                                                "05 00 00 00 00 00 00 00 01 00 00 00"}));
  refused = {ChangerIEPort};
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_OK) << "so is the door";
  refused = {ChangerIEPort, ChangerDoor};
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_ERROR);
}

TEST_F(ChangerTwins, LeaveTheRestToOthers) {
  Pair<QORChangerOpenCloseImportExportElement, ChangerOpenCloseImportExportElement> station(0x10, 0);
  QORChangerCmdMount mount(0x100);
  QORChangerCmdUnmount unmount(0x101);
  EXPECT_EQ(mount.getElementAddress(), 0x100);
  EXPECT_EQ(unmount.getElementAddress(), 0x101);
  for (QORScsiCommand* twin : std::initializer_list<QORScsiCommand*>{station.twin.get(), &mount, &unmount})
    EXPECT_EQ(twin->doOperation(handle), CMD_NOT_SUPPORTED);

  driver.answers(changerSense, bytes("12 00 00 00 70 00 05 00 00 00 00 0A 00 00 00 00 3B 0E 00 00 00 00"));
  driver.refuses(0x001F6064, ERROR_INVALID_FUNCTION);  // the tape driver's
  QORChangerCmdRequestSense sense(ulong32{18});
  EXPECT_EQ(run(sense), CMD_OK);
  EXPECT_EQ(hex(sense.ioDataSpan()), "70 00 05 00 00 00 00 0A 00 00 00 00 3B 0E 00 00 00 00");
  EXPECT_THAT(log, Contains("SCSI0000D QORScsiCmdRequestSense  changer path passed bytes returned 22"));
}

TEST_F(ChangerTwins, BuildTheAddressAssignmentPage) {
  Pair<QORChangerCmdElementInformation, ChangerCmdElementInformation> pair;
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_OK);
  EXPECT_EQ(hex(pair.command->ioDataSpan()),
            "17 00 00 00 1D 12 00 01 00 01 10 00 00 3C 00 10 00 04 01 00 00 04 00 00");
  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_NOT_READY);
  EXPECT_EQ(pair.twin->doOperation(handle), CMD_ERROR);
}

TEST(ElementAddresses, TranslateBothWays) {
  const GET_CHANGER_PARAMETERS plain = parameters();
  GET_CHANGER_PARAMETERS overlapping = plain;  // every range starts at 1
  overlapping.FirstDriveNumber = overlapping.FirstIEPortNumber = overlapping.FirstSlotNumber = 1;
  overlapping.NumberDataTransferElements = 2;
  overlapping.NumberIEElements = 3;
  overlapping.NumberStorageElements = 0xFFFF;
  const struct {
    const GET_CHANGER_PARAMETERS& library;
    std::uint16_t address;
    ELEMENT_TYPE type;  // AllElements: in no range
    DWORD element;
  } rows[] = {
      {plain, 0x0000, AllElements, 0},   {plain, 0x0001, ChangerTransport, 0},
      {plain, 0x0002, AllElements, 0},   {plain, 0x0010, ChangerIEPort, 0},
      {plain, 0x0013, ChangerIEPort, 3}, {plain, 0x0014, AllElements, 0},
      {plain, 0x0100, ChangerDrive, 0},  {plain, 0x0103, ChangerDrive, 3},
      {plain, 0x0104, AllElements, 0},   {plain, 0x1000, ChangerSlot, 0},
      {plain, 0x103B, ChangerSlot, 59},  {plain, 0x103C, AllElements, 0},
      {plain, 0xFFFF, AllElements, 0},   {overlapping, 1, ChangerTransport, 0},
      {overlapping, 2, ChangerDrive, 1}, {overlapping, 3, ChangerIEPort, 2},
      {overlapping, 4, ChangerSlot, 3},  {overlapping, 0xFFFF, ChangerSlot, 0xFFFE},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.address);
    CHANGER_ELEMENT element{AllElements, 0};
    EXPECT_EQ(QORChangerCmdElementInformation::translateAddress(row.library, row.address, element),
              row.type != AllElements);
    EXPECT_EQ(element.ElementType, row.type);
    EXPECT_EQ(element.ElementAddress, row.element);
    EXPECT_EQ(QORChangerCmdElementInformation::absoluteAddress(row.library, element),
              row.type == AllElements ? 0 : row.address);
  }
  EXPECT_EQ(QORChangerCmdElementInformation::absoluteAddress(plain, {ChangerDoor, 3}), 0);
}

TEST(ReadElementStatusTwin, HasItsSmallOperations) {
  using Status = QORChangerCmdReadElementStatus;
  CHANGER_ELEMENT_STATUS records[4]{};
  records[1].Element.ElementType = records[3].Element.ElementType = ChangerSlot;
  unsigned int first = 99;
  EXPECT_EQ(Status::findOccurence(records, 4, ChangerSlot, first), 2u);
  EXPECT_EQ(first, 1u);
  EXPECT_EQ(Status::findOccurence(records, 4, ChangerDrive, first), 0u);
  EXPECT_EQ(first, 1u);
  const std::uint8_t address[] = {0x34, 0x12};
  EXPECT_EQ(Status::getAddress(address), 0x1234);
  EXPECT_EQ(Status::getAddress(nullptr), 0);
  const std::uint16_t withIdentifier[] = {0, 12, 12, 12, 52, 0};
  for (ChangerElementTypeCode type = 0; type < 6; ++type) {
    EXPECT_EQ(Status::getSCSIDescriptorLength(type), type == 0 || type == 5 ? 0 : 12);
    EXPECT_EQ(Status::getDescriptorLength4Windows(type, false), Status::getSCSIDescriptorLength(type));
    EXPECT_EQ(Status::getDescriptorLength4Windows(type, true), withIdentifier[type]);
  }

  ChangerCmdReadElementStatus cmd(2, 0, 1, false, false, 16);
  Status twin(&cmd);
  EXPECT_EQ(twin.setHeader(0x0102, 0x0304, 0x050607), 8u);
  EXPECT_EQ(twin.setSubHeader(8, 2, true, 0x0809, 0x0A0B0C), 8u);
  EXPECT_EQ(hex(cmd.ioDataSpan()), "01 02 03 04 00 05 06 07 02 80 08 09 00 0A 0B 0C");
  EXPECT_EQ(twin.setSubHeader(9, 2, true, 1, 1), 0u);
  EXPECT_EQ(twin.setSubHeader(0xFFFFFFFF, 2, true, 1, 1), 0u);
  twin.setIoDataLength(7);
  EXPECT_EQ(twin.setHeader(1, 1, 1), 0u);
  EXPECT_EQ(twin.setSubHeader(0, 2, true, 1, 1), 0u);
  twin.setIoDataLength(8);
  EXPECT_EQ(twin.setHeader(0x0102, 0, 0x050607), 8u);
  EXPECT_EQ(hex(cmd.ioDataSpan()), "01 02 00 00 00 00 00 00") << "no byte count without elements";
}

TEST_F(ChangerTwins, RebuildEveryFieldOfADescriptor) {
  CHANGER_ELEMENT_STATUS_EX record{};
  record.Flags = 0xFFFFFFFF;
  record.ExceptionCode = 0x12343003;
  record.SrcElementAddress = {ChangerSlot, 7};
  record.Lun = 0xFD;
  record.TargetId = 9;
  std::memcpy(record.PrimaryVolumeID, "QOR001L6", 8);
  std::memcpy(record.VendorIdentification, "QOR", 3);
  std::memcpy(record.ProductIdentification, "ULTRIUM-PX6     ", 16);
  std::memcpy(record.SerialNumber, "1068000073", 10);
  std::string tag = "51 4F 52 30 30 31 4C 36",
              product =
                  " 51 4F 52 20 20 20 20 20 55 4C 54 52 49 55 4D 2D 50 58 36 20 "
                  "20 20 20 20 31 30 36 38 30 30 30 30 37 33 20 20";
  std::string blanks;
  for (int i = 0; i < 36; ++i) blanks += " 20";
  for (int i = 0; i < 28; ++i) tag += " 00";
  const struct {
    const char* name;
    ELEMENT_TYPE type;
    DWORD flags;
    bool tags, identifier;
    std::string page;
  } rows[] = {
      {"robot", ChangerTransport, 0xFFFFFFFF, false, false,
       "01 00 00 0C 00 00 00 0C 00 01 05 00 30 03 00 00 00 C0 10 07"},
      {"slot", ChangerSlot, 0xFFFFFFFF, true, false,
       "02 80 00 30 00 00 00 30 10 00 0D 00 30 03 00 00 00 C0 10 07 " + tag},
      {"slot without a tag", ChangerSlot, ELEMENT_STATUS_INVERT, true, false,
       "02 80 00 30 00 00 00 30 10 00 00 00 00 00 00 00 00 40 00 00" + blanks},
      {"station", ChangerIEPort, 0xFFFFFFFF, false, false,
       "03 00 00 0C 00 00 00 0C 00 10 3F 00 30 03 00 00 00 C0 10 07"},
      {"drive", ChangerDrive, 0xFFFFFFFF, false, false,
       "04 00 00 0C 00 00 00 0C 01 00 0D 00 30 03 B5 09 00 C0 10 07"},
      {"drive, nothing valid", ChangerDrive, 0, false, false,
       "04 00 00 0C 00 00 00 0C 01 00 00 00 00 00 00 00 00 00 00 00"},
      {"drive with identifier", ChangerDrive, ELEMENT_STATUS_PRODUCT_DATA, false, true,
       "04 00 00 34 00 00 00 34 01 00 00 00 00 00 00 00 00 00 00 00 02 01 00 24" + product},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    record.Element = {row.type, 0};
    record.Flags = row.flags;
    const std::uint16_t starts[] = {0, 0x0001, 0x1000, 0x0010, 0x0100};
    auto data = blockBytes(record);
    if (!row.identifier) data.resize(sizeof(CHANGER_ELEMENT_STATUS));
    driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, data);
    ChangerCmdReadElementStatus cmd(static_cast<std::uint8_t>(row.type), starts[row.type], 1, row.tags,
                                    row.identifier, static_cast<ulong32>(8 + (row.page.size() + 1) / 3));
    EXPECT_EQ(Twin(cmd.createQORCommand())->doOperation(handle), CMD_OK);
    EXPECT_EQ(hex(cmd.ioDataSpan().subspan(8)), row.page);
  }
}

TEST_F(ChangerTwins, RefuseWhatTheInterfaceCannotTell) {
  const struct {
    ChangerElementTypeCode type;
    std::uint16_t start;
    bool identifier;
    const char* message;
  } rows[] = {
      {2, 0x103C, false, "QORChangerCmdReadElementStatus invalid requested first element address - 4156"},
      {2, 0x1000, true,
       "QORChangerCmdReadElementStatus::readElementStatusDVCID()requested for type code [2] other than "
       "drive"},
      {4, 0x0100, true,
       "QORChangerCmdReadElementStatus for Drives ElementCode:4, ElementCount:9 Address:256"},
      {4, 0x0101, false, "Issuing ReadElement - EA:1, NbrE:3 Volume1 Type:4"},
      {4, 0x0101, false, "ReadElementStatus failed"},
      {4, 0x0101, false, "ReadElement failed with 1 3 1 4"},
  };
  driver.refuses(IOCTL_CHANGER_GET_ELEMENT_STATUS, ERROR_IO_DEVICE);
  for (const auto& row : rows) {
    ChangerCmdReadElementStatus cmd(row.type, row.start, 9, true, row.identifier, 8);
    EXPECT_EQ(run(*Twin(cmd.createQORCommand())), CMD_ERROR);
    EXPECT_THAT(log, Contains(std::string("SCSI0000D ") + row.message));
  }
  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  ChangerCmdReadElementStatus cmd(4, 0x100, 1, true, false, 8);
  EXPECT_EQ(run(*Twin(cmd.createQORCommand())), CMD_ERROR);
  EXPECT_THAT(log, Contains("SCSI0000D QORChangerCmdReadElementStatus::getElemInfo() failed"));
}

TEST_F(ChangerTwins, TakeNoMoreThanTheDriverReturns) {
  Bytes records;
  for (int i = 0; i < 3; ++i) {
    CHANGER_ELEMENT_STATUS record{};
    record.Flags = ELEMENT_STATUS_SVALID;
    record.Element = {ChangerDrive, 0xFFFFFFFF};
    Bytes data = blockBytes(record);
    if (i == 1) data[0] = data[8] = 77;  // no such element type
    records.insert(records.end(), data.begin(), data.end());
  }
  for (std::size_t size = 0; size <= records.size(); ++size) {
    driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS,
                   Bytes(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(size)));
    ChangerCmdReadElementStatus cmd(4, 0x100, 4, false, false, 200);
    EXPECT_EQ(Twin(cmd.createQORCommand())->doOperation(handle), CMD_OK);
    EXPECT_EQ(cmd.getNumberElementsAvail(), size / 100);
    EXPECT_EQ(cmd.getByteCntReportAvail(), size < 100 ? 0 : 8 + size / 100 * 12);
  }
  for (const char* answer : {"", "02 00 00", "FF FF FF FF 00 10 00 00 09 80 30 03"}) {
    driver.answers(cartridgeLocations, *answer ? bytes(answer) : Bytes());
    ChangerCmdReadCartridgeLocation cmd(0x1000, 2);
    QORChangerCmdReadCartridgeLocation twin(&cmd);
    EXPECT_EQ(twin.doOperation(handle), std::strlen(answer) < 12 ? CMD_ERROR : CMD_OK);
    EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 0);
  }
}

}  // namespace
