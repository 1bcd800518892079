#include "kiv/changer/driver_commands.h"

#include <cstdio>

#include "platform/win32.h"
#include "tests/support/twin_test.h"

namespace {

constexpr DWORD CARTRIDGE_LOCATIONS = 0x0030E06C;

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

class ChangerTwins : public TwinTest {
 protected:
  ChangerTwins() { script.answers(IOCTL_CHANGER_GET_PARAMETERS, bytesOf(parameters())); }
  /// Asks for the locations of two cartridges; no command makes this twin by itself.
  void locate(const std::string& what) {
    ChangerCmdReadCartridgeLocation locations(0x1000, 2);
    std::ranges::fill(locations.ioDataSpan(), std::uint8_t{0xEE});
    QORChangerCmdReadCartridgeLocation twin(&locations);
    run(what, twin);
  }
  /// Runs a twin on its own, with this CDB.
  template <class Twin>
  void cdb(const char* text) {
    const auto written = bytes(text);
    Twin twin(static_cast<CDBLength>(written.size()));
    std::ranges::copy(written, twin.getCdb());
    run(text, twin);
  }
};

TEST_F(ChangerTwins, TranslateTheirCdbs) {
  for (const bool refused : {false, true}) {
    TELL(refused);
    for (const DWORD code :
         std::initializer_list<DWORD>{IOCTL_CHANGER_MOVE_MEDIUM, IOCTL_CHANGER_EXCHANGE_MEDIUM,
                                      IOCTL_CHANGER_SET_POSITION, IOCTL_CHANGER_INITIALIZE_ELEMENT_STATUS}) {
      script.answers(code, {});
      if (refused) script.refuses(code, ERROR_IO_DEVICE);
    }
    cdb<QORChangerMoveMedium>("A5 00 00 01 10 05 01 02 00 00 00 00");
    cdb<QORChangerMoveMedium>("A5 00 00 02 10 05 01 02 00 00 00 00");
    cdb<QORChangerMoveMedium>("A5 00 00 01 10 05 10 3C 00 00 00 00");
    cdb<QORChangerCmdExchangeMedium>("A6 00 00 01 10 05 01 02 00 13 00 00");
    cdb<QORChangerCmdExchangeMedium>("A6 00 00 01 10 05 01 02 00 14 00 00");
    for (const char* move :
         {"2B 00 00 01 01 02 00 00 00 00", "2B 00 00 02 01 02 00 00 00 00", "2B 00 00 01 01 04 00 00 00 00"})
      cdb<QORChangerCmdPositionToElement>(move);
    cdb<QORChangerCmdInitializeElementStatus>("07 00 00 00 00 00");
    cdb<QORChangerCmdInitializeElementStatusWithRange>("37 01 10 05 00 00 02 03 00 00");
    cdb<QORChangerCmdInitializeElementStatusWithRange>("37 01 00 05 00 00 02 03 00 00");
  }
  GET_CHANGER_PARAMETERS without = parameters();
  without.Features0 = 0x80001004, without.Features1 = 0x8000000F;
  script.answers(IOCTL_CHANGER_GET_PARAMETERS, bytesOf(without));
  cdb<QORChangerCmdExchangeMedium>("A6 00 00 01 10 05 01 02 00 13 00 00");
  script.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  cdb<QORChangerMoveMedium>("A5 00 00 01 10 05 01 02 00 00 00 00");
}

TEST_F(ChangerTwins, LockWhatCanBeLocked) {
  const std::uint8_t station = 3, door = 5;
  for (const auto& refused : {Bytes{door}, Bytes{station}, Bytes{station, door}}) {
    TELL(refused);
    script.does(IOCTL_CHANGER_SET_ACCESS, [refused](simulator::ControlRequest& request) {
      if (std::ranges::count(refused, request.buffer[0])) throw simulator::WindowsError{ERROR_IO_DEVICE};
      request.reply(std::span<const std::uint8_t>());
    });
    cdb<QORChangerCmdPreventAllowMediumRemoval>("1E 00 00 00 00 00");
    cdb<QORChangerCmdPreventAllowMediumRemoval>("1E 00 00 00 01 00");
  }
}

TEST_F(ChangerTwins, AnswerWithoutElements) {
  RUN(QORChangerCmdMount(0x100));
  RUN(QORChangerCmdUnmount(0x101));
  cdb<QORChangerOpenCloseImportExportElement>("1B 00 00 10 00 00");
  ChangerCmdElementInformation information;
  QORChangerCmdElementInformation page(&information);
  run("page", page);
  script.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_NOT_READY);
  run("refused", page);
}

TEST(ElementAddresses, TranslateBothWays) {
  Record record;
  using Addresses = QORChangerCmdElementInformation;
  const GET_CHANGER_PARAMETERS plain = parameters();
  GET_CHANGER_PARAMETERS overlapping = plain;  // every range starts at 1
  overlapping.FirstDriveNumber = overlapping.FirstIEPortNumber = overlapping.FirstSlotNumber = 1;
  overlapping.NumberDataTransferElements = 2, overlapping.NumberIEElements = 3;
  overlapping.NumberStorageElements = 0xFFFF;
  for (const auto& library : {plain, overlapping}) {
    for (const std::uint16_t address : std::initializer_list<std::uint16_t>{
             0, 1, 2, 3, 4, 0x0F, 0x13, 0x14, 0x103, 0x104, 0xFFF, 0x103B, 0x103C, 0xFFFF}) {
      CHANGER_ELEMENT element{};
      const bool found = Addresses::translateAddress(library, address, element);
      TELL(address, found, element.ElementType, element.ElementAddress);
      EXPECT_TRUE(!found || Addresses::absoluteAddress(library, element) == address);
    }
  }
}

TEST(ReadElementStatusTwin, WritesHeaders) {
  Record record;
  using Status = QORChangerCmdReadElementStatus;
  CHANGER_ELEMENT_STATUS records[4]{};
  records[1].Element.ElementType = records[3].Element.ElementType = ChangerSlot;
  for (const unsigned int type : {2u, 4u}) {
    unsigned int first = 99;
    const unsigned int found = Status::findOccurence(records, 4, type, first);
    TELL(type, found, first);
  }
  const std::uint8_t address[] = {0x34, 0x12};
  TELL(Status::getAddress(address), Status::getAddress(nullptr));
  for (ChangerElementTypeCode type = 0; type < 6; ++type)
    TELL(type, Status::getSCSIDescriptorLength(type), Status::getDescriptorLength4Windows(type, false),
         Status::getDescriptorLength4Windows(type, true));
  for (const ulong32 room : {16u, 8u, 7u}) {
    ChangerCmdReadElementStatus cmd(2, 0, 1, false, false, room);
    Status twin(&cmd);
    TELL(room, twin.setHeader(0x0102, 0x0304, 0x050607), twin.setSubHeader(8, 2, true, 0x0809, 0x0A0B0C));
    TELL(twin.setSubHeader(9, 2, true, 1, 1), twin.setSubHeader(0xFFFFFFFF, 2, true, 1, 1), cmd.ioDataSpan());
    TELL(twin.setHeader(0x0102, 0, 0x010203), cmd.ioDataSpan());  // no byte count without elements
  }
}

TEST_F(ChangerTwins, RebuildDescriptors) {
  CHANGER_ELEMENT_STATUS_EX element{};
  element.ExceptionCode = 0x12343003;
  element.SrcElementAddress = {ChangerSlot, 7};
  element.Lun = 0xFD, element.TargetId = 9;
  std::memcpy(element.PrimaryVolumeID, "QOR001L6", 8);
  std::memcpy(element.VendorIdentification, "QOR", 3);
  std::memcpy(element.ProductIdentification, "ULTRIUM-PX6     ", 16);
  std::memcpy(element.SerialNumber, "1068000073", 10);
  const std::uint16_t first[] = {0, 0x0001, 0x1000, 0x0010, 0x0100};
  const auto rebuild = [&](std::uint8_t type, DWORD flags, bool tags, bool identifier) {
    element.Element = {static_cast<ELEMENT_TYPE>(type), 0};
    element.Flags = flags;
    auto data = bytesOf(element);
    if (!identifier) data.resize(sizeof(CHANGER_ELEMENT_STATUS));
    script.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, data);
    ChangerCmdReadElementStatus cmd(type, first[type], 1, tags, identifier, tags || identifier ? 104 : 28);
    EXPECT_EQ(twinOf(cmd)->doOperation(scripted()), CMD_OK);
    char text[64];
    std::snprintf(text, sizeof text, "type %d, flags %08X, tags %d, identifier %d", type,
                  static_cast<unsigned>(flags), tags, identifier);
    record(text, briefHex(cmd.ioDataSpan().subspan(8)));
  };
  for (std::uint8_t type = 1; type <= 4; ++type) {
    for (int bit = 0; bit < 32; ++bit) rebuild(type, 1u << bit, false, false);
    rebuild(type, 0xFFFFFFFF, false, false);
  }
  rebuild(2, 0xFFFFFFFF, true, false);
  rebuild(2, ELEMENT_STATUS_INVERT, true, false);
  rebuild(4, ELEMENT_STATUS_PRODUCT_DATA, true, true);
  rebuild(4, 0, false, true);
}

TEST_F(ChangerTwins, RefuseWhatTheInterfaceCannotTell) {
  script.refuses(IOCTL_CHANGER_GET_ELEMENT_STATUS, ERROR_IO_DEVICE);
  RUN(ChangerCmdReadElementStatus(2, 0x103C, 9, true, false, 8));
  RUN(ChangerCmdReadElementStatus(2, 0x1000, 9, true, true, 8));
  RUN(ChangerCmdReadElementStatus(4, 0x0100, 9, true, true, 8));
  RUN(ChangerCmdReadElementStatus(4, 0x0101, 9, true, false, 8));
  script.refuses(IOCTL_CHANGER_GET_PARAMETERS, ERROR_IO_DEVICE);
  RUN(ChangerCmdReadElementStatus(4, 0x0100, 9, true, false, 8));
  locate("refused");
}

TEST_F(ChangerTwins, TellPlainRecordsFromExtendedOnes) {
  for (const auto& [records, size] : {std::pair{2, 100}, {2, 156}, {1, 130}}) {
    Bytes answer(static_cast<std::size_t>(records * size));
    for (int i = 0; i < records; ++i) answer[static_cast<std::size_t>(i * size)] = ChangerDrive;
    script.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, answer);
    TELL(records, size);
    RUN(ChangerCmdReadElementStatus(4, 0x100, 4, false, true, 400));
  }
}

TEST_F(ChangerTwins, TakeNoMoreThanTheDriverReturns) {
  CHANGER_ELEMENT_STATUS element{};
  element.Flags = ELEMENT_STATUS_SVALID;
  element.Element = {ChangerDrive, 0xFFFFFFFF};
  Bytes records = bytesOf(element), strange = records;
  strange[0] = strange[8] = 77;  // no such element type
  records.insert(records.end(), strange.begin(), strange.end());
  for (std::size_t size = 0; size <= records.size(); ++size) {
    script.answers(IOCTL_CHANGER_GET_ELEMENT_STATUS, Bytes(records.data(), records.data() + size));
    ChangerCmdReadElementStatus cmd(4, 0x100, 4, false, false, 200);
    EXPECT_EQ(twinOf(cmd)->doOperation(scripted()), CMD_OK);
    EXPECT_EQ(cmd.getNumberElementsAvail(), size / 100);
    EXPECT_EQ(cmd.getByteCntReportAvail(), size < 100 ? 0 : 8 + size / 100 * 12);
  }
  std::string whole = "FF FF FF FF 00 10 00 00 09 80 30 03";  // one location, of which the driver tells more
  for (int i = 0; i < 64; ++i) whole += " 41";
  for (const std::string& answer : {std::string("02 00 00"), std::string("02 00 00 00"),
                                    whole.substr(0, 75 * 3 - 1), whole, whole + " 41"}) {
    script.answers(CARTRIDGE_LOCATIONS, bytes(answer));
    locate(std::to_string(answer.size() / 3 + 1) + " bytes");
  }
}

}  // namespace
