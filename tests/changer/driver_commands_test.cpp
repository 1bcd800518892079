#include "kiv/changer/driver_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/win32.h"
#include "simulator/windows/import_table.h"
#include "tests/support/captured_output.h"
#include "tests/support/hex.h"
#include "tests/support/scripted_driver.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

constexpr DWORD cartridgeLocations = 0x0030E06C, changerSense = 0x00306064;

using Bytes = std::vector<std::uint8_t>;
using Twin = std::shared_ptr<QORScsiCommand>;

template <class Block>
Bytes blockBytes(const Block& block) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(&block);
  return Bytes(data, data + sizeof block);
}

/// A twin on its own, with this CDB.
template <class Class>
Twin twin(const char* cdb) {
  const Bytes written = bytes(cdb);
  Twin result = std::make_shared<Class>(static_cast<CDBLength>(written.size()));
  std::ranges::copy(written, result->getCdb());
  return result;
}

/// One robot at 1, four stations at 10h, four drives at 100h, sixty slots at 1000h.
GET_CHANGER_PARAMETERS parameters() {
  GET_CHANGER_PARAMETERS result{};
  result.Size = sizeof result;
  result.FirstTransportNumber = 0x0001, result.NumberTransportElements = 1;
  result.FirstIEPortNumber = 0x0010, result.NumberIEElements = 4;
  result.FirstDriveNumber = 0x0100, result.NumberDataTransferElements = 4;
  result.FirstSlotNumber = 0x1000, result.NumberStorageElements = 60;
  result.Features0 = CHANGER_EXCHANGE_MEDIA;
  return result;
}

class ChangerTwins : public testing::Test {
 protected:
  ChangerTwins() {
    simulator::takeOverImports();
    driver.answers(IOCTL_CHANGER_GET_PARAMETERS, blockBytes(parameters()));
    handle = driver.open();
  }
  /// From now on requests with this code are noted; those of a type in `refused` fail.
  void notes(DWORD code, std::vector<std::uint8_t> refused = {}) {
    requests.clear();
    driver.does(code, [this, refused](simulator::ControlRequest& request) {
      requests.push_back(hex(std::span(request.buffer).first(request.inSize)));
      if (std::ranges::count(refused, request.buffer[0])) throw simulator::WindowsError{ERROR_IO_DEVICE};
      request.reply(std::span<const std::uint8_t>());
    });
  }
  /// The result; the lines logged meanwhile are left in `log`.
  ReturnCode run(QORScsiCommand& command) {
    const LogLevel level(LOG_DEBUG);
    CapturedOutput output;
    const ReturnCode result = command.doOperation(handle);
    log = output.lines();
    return result;
  }
  void expectLogged(const std::string& message) { EXPECT_THAT(log, Contains("SCSI0000D " + message)); }

  simulator::Room room;
  ScriptedDriver driver;
  HANDLE handle = nullptr;
  std::vector<std::string> requests, log;
};

TEST_F(ChangerTwins, TranslateTheirCdbs) {
  const std::string robot = "01 00 00 00 00 00 00 00 ", slot5 = "02 00 00 00 05 00 00 00 ",
                    station3 = "03 00 00 00 03 00 00 00 ", drive2 = "04 00 00 00 02 00 00 00 ";
  constexpr DWORD moving = IOCTL_CHANGER_MOVE_MEDIUM, exchanging = IOCTL_CHANGER_EXCHANGE_MEDIUM,
                  positioning = IOCTL_CHANGER_SET_POSITION,
                  initializing = IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS;
  using Move = QORChangerMoveMedium;
  using Exchange = QORChangerCmdExchangeMedium;
  using Position = QORChangerCmdPositionToElement;
  using Initialize = QORChangerCmdInitializeElementStatus;
  using Range = QORChangerCmdInitializeElementStatusWithRange;
  const Twin move = twin<Move>("A5 00 00 01 10 05 01 02 00 00 00 00");
  const Twin exchange = twin<Exchange>("A6 00 00 01 10 05 01 02 00 13 00 00");
  const Twin initialize = twin<Initialize>("07 00 00 00 00 00");
  const struct {
    Twin twin;
    DWORD code;
    std::string request;  // empty: it fails before
    const char* message;
  } rows[] = {
      {move, moving, robot + slot5 + drive2 + "00 00 00 00",
       "IOCTL_CHANGER_MOVE_MEDIUM passed:Transport: 1, Source: 4101, Destination: 258"},
      {twin<Move>("A5 00 00 02 10 05 01 02 00 00 00 00"), moving, "",
       "Could not translate TansportAddress 2"},
      {twin<Move>("A5 00 00 01 10 05 10 3C 00 00 00 00"), moving, "",
       "Could not translate DestinationAddress 4156"},
      {exchange, exchanging, robot + slot5 + drive2 + station3 + "00 00 00 00",
       "Exchange medium: 1 4101 258 19"},
      {twin<Exchange>("A6 00 00 01 10 05 01 02 00 14 00 00"), exchanging, "",
       "Could not translate second DestinationAddress 20"},
      {twin<Position>("2B 00 00 01 01 02 00 00 00 00"), positioning, robot + drive2 + "00 00 00 00",
       "Position to element 258"},
      {initialize, initializing, "00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00",
       "IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS passed"},
      {twin<Range>("37 01 10 05 00 00 02 03 00 00"), initializing, slot5 + "03 02 00 00 01 00 00 00",
       "CHANGER_INITIALIZE_ELEMENT_STATUS with range passed"},
      {twin<Range>("37 01 00 05 00 00 02 03 00 00"), initializing, "", "Could not translate SourceAddress 5"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(hex(row.twin->cdbSpan()));
    notes(row.code);
    EXPECT_EQ(run(*row.twin), row.request.empty() ? CMD_ERROR : CMD_OK);
    EXPECT_EQ(requests, row.request.empty() ? std::vector<std::string>{} : std::vector{row.request});
    expectLogged(row.message);
    driver.refuses(row.code, ERROR_IO_DEVICE);
    EXPECT_EQ(run(*row.twin), row.twin == initialize ? CMD_NOT_SUPPORTED : CMD_ERROR);
  }
  run(*initialize);
  expectLogged("IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS failed - used passthrough instead");
  run(*move);
  expectLogged("IOCTL_CHANGER_MOVE_MEDIUM failed:Transport: 1, Source: 2, Destination: 4");
  expectLogged("Transport:1 1 Drive:256 4 Slot:4096 60 IE:16 4");

  GET_CHANGER_PARAMETERS without = parameters();
  without.Features0 = 0x80001004, without.Features1 = 0x8000000F;
  driver.answers(IOCTL_CHANGER_GET_PARAMETERS, blockBytes(without));
  notes(exchanging);
  EXPECT_EQ(run(*exchange), CMD_ERROR);
  expectLogged(
      "Medium Exchange failed because changer does not support media exchange - "
      "Features 0:80001004-8000000F");
  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  EXPECT_EQ(run(*move), CMD_ERROR);
  EXPECT_THAT(requests, testing::IsEmpty());
}

TEST_F(ChangerTwins, LockWhatCanBeLocked) {
  const Twin allow = twin<QORChangerCmdPreventAllowMediumRemoval>("1E 00 00 00 00 00");
  const std::uint8_t station = 3, door = 5;
  notes(IOCTL_CHANGER_SET_ACCESS, {door});
  EXPECT_EQ(run(*allow), CMD_OK);
  EXPECT_THAT(requests,
              ElementsAre("03 00 00 00 00 00 00 00 01 00 00 00", "05 00 00 00 00 00 00 00 01 00 00 00"));
  notes(IOCTL_CHANGER_SET_ACCESS, {station});
  EXPECT_EQ(run(*twin<QORChangerCmdPreventAllowMediumRemoval>("1E 00 00 00 01 00")), CMD_OK);
  EXPECT_THAT(requests,
              ElementsAre("03 00 00 00 00 00 00 00 00 00 00 00", "05 00 00 00 00 00 00 00 00 00 00 00"));
  notes(IOCTL_CHANGER_SET_ACCESS, {station, door});
  EXPECT_EQ(run(*allow), CMD_ERROR);
}

TEST_F(ChangerTwins, AnswerWithoutElements) {
  QORChangerCmdMount mount(0x100);
  QORChangerCmdUnmount unmount(0x101);
  EXPECT_EQ(run(mount), CMD_NOT_SUPPORTED);
  EXPECT_EQ(run(unmount), CMD_NOT_SUPPORTED);
  EXPECT_EQ(run(*twin<QORChangerOpenCloseImportExportElement>("1B 00 00 10 00 00")), CMD_NOT_SUPPORTED);

  driver.answers(changerSense, bytes("0A 00 00 00 70 00 05 00 00 00 00 0A 00 00"));
  QORChangerCmdRequestSense sense(ulong32{10});
  EXPECT_EQ(run(sense), CMD_OK);
  EXPECT_EQ(hex(sense.ioDataSpan()), "70 00 05 00 00 00 00 0A 00 00");
  expectLogged("QORScsiCmdRequestSense  changer path passed bytes returned 14");

  ChangerCmdElementInformation information;
  QORChangerCmdElementInformation page(&information);
  EXPECT_EQ(run(page), CMD_OK);
  EXPECT_EQ(hex(information.ioDataSpan()),
            "17 00 00 00 1D 12 00 01 00 01 10 00 00 3C 00 10 00 04 01 00 00 04 00 00");
  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_NOT_READY);
  EXPECT_EQ(run(page), CMD_ERROR);
}

TEST(ElementAddresses, TranslateBothWays) {
  using Addresses = QORChangerCmdElementInformation;
  const GET_CHANGER_PARAMETERS plain = parameters();
  GET_CHANGER_PARAMETERS overlapping = plain;  // every range starts at 1
  overlapping.FirstDriveNumber = overlapping.FirstIEPortNumber = overlapping.FirstSlotNumber = 1;
  overlapping.NumberDataTransferElements = 2, overlapping.NumberIEElements = 3;
  overlapping.NumberStorageElements = 0xFFFF;
  CHANGER_ELEMENT element{};
  for (const std::uint16_t outside : std::initializer_list<std::uint16_t>{0, 2, 0x14, 0x104, 0x103C, 0xFFFF})
    EXPECT_FALSE(Addresses::translateAddress(plain, outside, element)) << outside;
  const struct {
    const GET_CHANGER_PARAMETERS& library;
    std::uint16_t address;
    ELEMENT_TYPE type;
    DWORD number;
  } rows[] = {
      {plain, 0x0001, ChangerTransport, 0},  {plain, 0x0013, ChangerIEPort, 3},
      {plain, 0x0103, ChangerDrive, 3},      {plain, 0x103B, ChangerSlot, 59},
      {overlapping, 1, ChangerTransport, 0}, {overlapping, 2, ChangerDrive, 1},
      {overlapping, 3, ChangerIEPort, 2},    {overlapping, 0xFFFF, ChangerSlot, 0xFFFE},
  };
  for (const auto& row : rows) {
    EXPECT_TRUE(Addresses::translateAddress(row.library, row.address, element)) << row.address;
    EXPECT_EQ(std::pair(element.ElementType, element.ElementAddress), std::pair(row.type, row.number));
    EXPECT_EQ(Addresses::absoluteAddress(row.library, element), row.address);
  }
}

TEST(ReadElementStatusTwin, HasItsSmallOperations) {
  using Status = QORChangerCmdReadElementStatus;
  CHANGER_ELEMENT_STATUS records[4]{};
  records[1].Element.ElementType = records[3].Element.ElementType = ChangerSlot;
  unsigned int first = 99;
  EXPECT_EQ(Status::findOccurence(records, 4, ChangerDrive, first), 0u);
  EXPECT_EQ(Status::findOccurence(records, 4, ChangerSlot, first), 2u);
  EXPECT_EQ(first, 1u);
  const std::uint8_t address[] = {0x34, 0x12};
  EXPECT_EQ(Status::getAddress(address), 0x1234);
  EXPECT_EQ(Status::getAddress(nullptr), 0);
  const int lengths[] = {0, 12, 12, 12, 12, 0};
  for (ChangerElementTypeCode type = 0; type < 6; ++type) {
    EXPECT_EQ(Status::getSCSIDescriptorLength(type), lengths[type]);
    EXPECT_EQ(Status::getDescriptorLength4Windows(type, false), lengths[type]);
    EXPECT_EQ(Status::getDescriptorLength4Windows(type, true), type == 4 ? 52 : lengths[type]);
  }
  ChangerCmdReadElementStatus cmd(2, 0, 1, false, false, 16);
  Status twin(&cmd);
  EXPECT_EQ(twin.setHeader(0x0102, 0x0304, 0x050607), 8u);
  EXPECT_EQ(twin.setSubHeader(8, 2, true, 0x0809, 0x0A0B0C), 8u);
  EXPECT_EQ(twin.setSubHeader(9, 2, true, 1, 1), 0u);
  EXPECT_EQ(twin.setSubHeader(0xFFFFFFFF, 2, true, 1, 1), 0u);
  EXPECT_EQ(hex(cmd.ioDataSpan()), "01 02 03 04 00 05 06 07 02 80 08 09 00 0A 0B 0C");
  twin.setIoDataLength(8);
  EXPECT_EQ(twin.setHeader(0x0102, 0, 0x050607), 8u);
  EXPECT_EQ(hex(cmd.ioDataSpan()), "01 02 00 00 00 00 00 00") << "no byte count without elements";
  twin.setIoDataLength(7);
  EXPECT_EQ(twin.setHeader(1, 1, 1) + twin.setSubHeader(0, 2, true, 1, 1), 0u);
}

TEST_F(ChangerTwins, RebuildDescriptors) {
  CHANGER_ELEMENT_STATUS_EX record{};
  record.ExceptionCode = 0x12343003;
  record.SrcElementAddress = {ChangerSlot, 7};
  record.Lun = 0xFD, record.TargetId = 9;
  std::memcpy(record.PrimaryVolumeID, "QOR001L6", 8);
  std::memcpy(record.VendorIdentification, "QOR", 3);
  std::memcpy(record.ProductIdentification, "ULTRIUM-PX6     ", 16);
  std::memcpy(record.SerialNumber, "1068000073", 10);
  std::string tag = "51 4F 52 30 30 31 4C 36", blanks = "20";
  for (int i = 8; i < 36; ++i) tag += " 00";
  for (int i = 1; i < 36; ++i) blanks += " 20";
  const std::string product =
      "51 4F 52 20 20 20 20 20 55 4C 54 52 49 55 4D 2D 50 58 36 20 20 20 20 20 "
      "31 30 36 38 30 30 30 30 37 33 20 20";
  const struct {
    std::uint8_t type;
    std::uint16_t address;
    DWORD flags;
    bool tags, identifier;
    std::string page;
  } rows[] = {
      {1, 0x0001, 0xFFFFFFFF, false, false, "01 00 00 0C 00 00 00 0C 00 01 05 00 30 03 00 00 00 C0 10 07"},
      {2, 0x1000, 0xFFFFFFFF, true, false,
       "02 80 00 30 00 00 00 30 10 00 0D 00 30 03 00 00 00 C0 10 07 " + tag},
      {2, 0x1000, ELEMENT_STATUS_INVERT, true, false,
       "02 80 00 30 00 00 00 30 10 00 00 00 00 00 00 00 00 40 00 00 " + blanks},
      {3, 0x0010, 0xFFFFFFFF, false, false, "03 00 00 0C 00 00 00 0C 00 10 3F 00 30 03 00 00 00 C0 10 07"},
      {4, 0x0100, 0xFFFFFFFF, false, false, "04 00 00 0C 00 00 00 0C 01 00 0D 00 30 03 B5 09 00 C0 10 07"},
      {4, 0x0100, 0, false, false, "04 00 00 0C 00 00 00 0C 01 00 00 00 00 00 00 00 00 00 00 00"},
      {4, 0x0100, ELEMENT_STATUS_PRODUCT_DATA, true, true,
       "04 80 00 58 00 00 00 58 01 00 00 00 00 00 00 00 00 00 00 00 " + blanks + " 02 01 00 24 " + product},
  };
  for (const auto& row : rows) {
    record.Element = {static_cast<ELEMENT_TYPE>(row.type), 0};
    record.Flags = row.flags;
    Bytes data = blockBytes(record);
    if (!row.identifier) data.resize(sizeof(CHANGER_ELEMENT_STATUS));
    driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, data);
    ChangerCmdReadElementStatus cmd(row.type, row.address, 1, row.tags, row.identifier,
                                    static_cast<ulong32>(8 + (row.page.size() + 1) / 3));
    EXPECT_EQ(run(*Twin(cmd.createQORCommand())), CMD_OK);
    EXPECT_EQ(hex(cmd.ioDataSpan().subspan(8)), row.page);
  }
}

TEST_F(ChangerTwins, RefuseWhatTheInterfaceCannotTell) {
  driver.refuses(IOCTL_CHANGER_GET_ELEMENT_STATUS, ERROR_IO_DEVICE);
  const auto fails = [&](ChangerElementTypeCode type, std::uint16_t start, bool identifier,
                         const char* message) {
    ChangerCmdReadElementStatus cmd(type, start, 9, true, identifier, 8);
    EXPECT_EQ(run(*Twin(cmd.createQORCommand())), CMD_ERROR);
    expectLogged(message);
  };
  fails(2, 0x103C, false, "QORChangerCmdReadElementStatus invalid requested first element address - 4156");
  fails(
      2, 0x1000, true,
      "QORChangerCmdReadElementStatus::readElementStatusDVCID()requested for type code [2] other than drive");
  fails(4, 0x0100, true,
        "QORChangerCmdReadElementStatus for Drives ElementCode:4, ElementCount:9 Address:256");
  fails(4, 0x0101, false, "Issuing ReadElement - EA:1, NbrE:3 Volume1 Type:4");
  expectLogged("ReadElementStatus failed");
  expectLogged("ReadElement failed with 1 3 1 4");
  driver.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  fails(4, 0x0100, false, "QORChangerCmdReadElementStatus::getElemInfo() failed");
}

TEST_F(ChangerTwins, TellPlainRecordsFromExtendedOnes) {
  struct {
    std::size_t records, size;
    int elements;
  } const rows[] = {{2, 100, 2}, {2, 156, 2}, {1, 130, -1}};
  for (const auto& row : rows) {
    Bytes answer(row.records * row.size);
    for (std::size_t i = 0; i < row.records; ++i) answer[i * row.size] = ChangerDrive;
    driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, answer);
    ChangerCmdReadElementStatus cmd(4, 0x100, 4, false, true, 400);
    const bool done = Twin(cmd.createQORCommand())->doOperation(handle) == CMD_OK;
    EXPECT_EQ(done ? cmd.getNumberElementsAvail() : -1, row.elements) << row.records << " of " << row.size;
  }
}

TEST_F(ChangerTwins, TakeNoMoreThanTheDriverReturns) {
  CHANGER_ELEMENT_STATUS record{};
  record.Flags = ELEMENT_STATUS_SVALID;
  record.Element = {ChangerDrive, 0xFFFFFFFF};
  Bytes records = blockBytes(record), strange = records;
  strange[0] = strange[8] = 77;  // no such element type
  records.insert(records.end(), strange.begin(), strange.end());
  for (std::size_t size = 0; size <= records.size(); ++size) {
    Bytes answer(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(size));
    driver.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, answer);
    ChangerCmdReadElementStatus cmd(4, 0x100, 4, false, false, 200);
    EXPECT_EQ(Twin(cmd.createQORCommand())->doOperation(handle), CMD_OK);
    EXPECT_EQ(cmd.getNumberElementsAvail(), size / 100);
    EXPECT_EQ(cmd.getByteCntReportAvail(), size < 100 ? 0 : 8 + size / 100 * 12);
  }
  ChangerCmdReadCartridgeLocation cmd(0x1000, 2);
  QORChangerCmdReadCartridgeLocation locations(&cmd);
  driver.answers(cartridgeLocations, bytes("02 00 00"));
  EXPECT_EQ(run(locations), CMD_ERROR);
  driver.answers(cartridgeLocations, bytes("FF FF FF FF 00 10 00 00 09 80 30 03"));
  EXPECT_EQ(run(locations), CMD_OK);
  EXPECT_EQ(cmd.getNumberOfCartridgeLocations(), 0);
}

}  // namespace
