#include "tests/iscsi/target_room.h"

namespace {

// The target forgets the eight bytes of a page header: what follows a page overlaps the end of its last
// descriptor, and the report ends eight bytes early. So the whole buffer is decoded, and the end of the last
// descriptor is zeros.
class Library : public TargetRoom {
 protected:
  void SetUp() override { open(library, LIBRARY); }
  ~Library() override { library.closeDevice(); }

  /// The elements of one type, as "address" or "address=volume tag" where there is a cartridge.
  std::vector<std::string> elements(ChangerElementTypeCode type) {
    ChangerCmdReadElementStatus command(type, 0, 100, true, true, 8192);
    EXPECT_EQ(outcome(library, command), "good");
    ChangerElementStatusData data(command.getIoData(), command.getIoDataLength(), true);
    std::vector<std::string> result;
    const ChangerElementStatusPage* page = data.getElementStatusPage(0);
    for (std::uint16_t i = 0; page != nullptr && i < page->getNumberDescriptors(); ++i) {
      const ElemStatusDescriptor* element = page->getDescriptor(i);
      result.push_back(std::to_string(element->getElementAddress()) +
                       (element->isFull() ? "=" + element->getPrimVolumeTag() : ""));
    }
    return result;
  }

  ScsiTarget library;
};

TEST_F(Library, TellsItsElements) {
  ChangerCmdElementInformation information;
  EXPECT_EQ(outcome(library, information), "good");
  EXPECT_EQ(information.getFirstMediumTransportElementAddress(), 1);
  EXPECT_EQ(information.getFirstStorageElementAddress(), 4096);
  EXPECT_EQ(information.getNumberOfStorageElements(), 8);
  EXPECT_EQ(information.getFirstIOElementAddress(), 16);
  EXPECT_EQ(information.getNumberOfIOElements(), 2);
  EXPECT_EQ(information.getFirstDataTransferElementAddress(), 256);
  EXPECT_EQ(information.getNumberOfTransferElements(), 2);

  EXPECT_THAT(elements(ELEMENT_STORAGE), testing::ElementsAre("4096=KIV002L6", "4097=KIV003L6", "4098",
                                                              "4099", "4100", "4101", "4102", "4103"));
  EXPECT_THAT(elements(ELEMENT_IMPORT_EXPORT), testing::ElementsAre("16", "17"));
  EXPECT_THAT(elements(ELEMENT_MEDIUM_TRANSPORT), testing::ElementsAre("1"));

  ChangerCmdReadElementStatus command(ELEMENT_DATA_TRANSFER, 256, 2, true, true, 4096);
  EXPECT_EQ(outcome(library, command), "good");
  ChangerElementStatusData data(command.getIoData(), command.getIoDataLength(), true);
  ASSERT_NE(data.getElementStatusPage(0), nullptr);
  auto* bay =
      dynamic_cast<DataTransferwDVCIDElemStatusDescriptor*>(data.getElementStatusPage(0)->getDescriptor(1));
  ASSERT_NE(bay, nullptr);
  EXPECT_EQ(bay->getIdentifierLength(), 34);
  const auto& identifier = bay->getBinary_Identifier();
  EXPECT_EQ(std::string(identifier.begin(), identifier.end()),
            std::string("QOR     ULTRIUM-PX6     10") + std::string(8, '\0'));

  ChangerCmdReadElementStatus all(ELEMENT_ALL, 0, 100, true, false, 8192);
  EXPECT_EQ(outcome(library, all), "good");
  ChangerElementStatusData report(all.getIoData(), all.getIoDataLength(), false);
  EXPECT_EQ(report.getNumberElementsAvail(), 13);
  EXPECT_EQ(report.getNumberPages(), 1) << "the second page stands in the last descriptor of the first";
  EXPECT_EQ(report.getMaxReportedElementAddress(), 1);
}

TEST_F(Library, MovesACartridge) {
  ChangerMoveMedium load(1, 4096, 257);
  EXPECT_EQ(outcome(library, load), "good");
  EXPECT_THAT(elements(ELEMENT_DATA_TRANSFER), testing::Contains("257=KIV002L6"));
  EXPECT_THAT(elements(ELEMENT_STORAGE), testing::Contains("4096"));
  ChangerMoveMedium export_(1, 4097, 16);
  EXPECT_EQ(outcome(library, export_), "good");
  EXPECT_THAT(elements(ELEMENT_IMPORT_EXPORT), testing::ElementsAre("16=KIV003L6", "17"));

  ChangerMoveMedium fromEmpty(1, 4098, 4099);
  EXPECT_EQ(outcome(library, fromEmpty), "05 3B 0E") << "medium source element empty";
  ChangerMoveMedium ontoFull(1, 16, 257);
  EXPECT_EQ(outcome(library, ontoFull), "05 3B 0D") << "medium destination element full";
}

}  // namespace
