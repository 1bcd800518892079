#include <gmock/gmock.h>

#include "kiv/config/component_id.h"
#include "kiv/config/config_filename.h"
#include "tests/support/captured_output.h"
#include "tests/support/working_directory.h"

using testing::ElementsAre;

namespace {

class Configuration : public testing::Test {
 protected:
  void SetUp() override {
    automationReadyMode = true;
    libraryMode = false;
  }

  WorkingDirectory directory;
  ConfigFilename files;
  ComponentId ids;
};

TEST_F(Configuration, ReadsTheFirmwareFileTable) {
  directory.write("Config.txt",
                  "# products\n"
                  "#\n"
                  "\tQOR-B  b.fmr \t L 2 \r\n"
                  "\n"
                  "QOR-A a.fmr L1\n"
                  "QOR-A other.fmr L9\n"
                  "QOR-C two-fields\n"
                  "* * *\n"
                  "QOR-D d.fmr L4");
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  ASSERT_EQ(files.getStatus(), 3u);
  ASSERT_TRUE(files.initialize("Config.txt"));
  EXPECT_THAT(output.lines(),
              ElementsAre("CFGC0000D Config.txt Parsing comment ==># products<==",
                          "CFGC0000D Config.txt Parsing comment ==>#<==",
                          "CFGC0000D Component ID QOR-A is already configured, item will be ignored",
                          "CFGC0000D Config.txt invalid format ==>QOR-C two-fields<==",
                          "CFGC0000D Config.txt invalid format ==>* * *<==",
                          "CFGC0000D Filename Map contains 3 entries",
                          "CFGC0000D Filename Map [0]: QOR-A ==>a.fmr<==>L1<==",
                          "CFGC0000D Filename Map [1]: QOR-B ==>b.fmr<==>L 2<==",
                          "CFGC0000D Filename Map [2]: QOR-D ==>d.fmr<==>L4<=="));
  EXPECT_EQ(files.getStatus(), 0u);
  EXPECT_EQ(files.getFilename4ProductId("QOR-B"), "b.fmr");
  EXPECT_EQ(files.getUCodeLevel4ProductId("QOR-B"), "L 2");
  EXPECT_FALSE(files.isValid("qor-a"));
  EXPECT_FALSE(files.isValid("QOR-X"));
  EXPECT_EQ(files.getFilename4ProductId("QOR-X"), "");
  EXPECT_TRUE(files.isValid("QOR-X")) << "asking for a product lists it";
}

TEST_F(Configuration, ReadsTheComponentTable) {
  directory.write("Devlist.txt",
                  "# AutomationReadyCheck=false\n"
                  "100 QOR-A  B C\n"
                  "200 QOR-A B C\n"
                  "* *\n"
                  "LibraryCheck=true\n"
                  "300 QOR-D:SAS\n");
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  ASSERT_TRUE(ids.initialize("Devlist.txt"));
  EXPECT_THAT(output.lines(),
              ElementsAre("CFGC0000D Devlist.txt Parsing comment ==># AutomationReadyCheck=false<==",
                          "CFGC0000D QOR-A B C/200 is already configured, item will be ignored",
                          "CFGC0000D Devlist.txt invalid format ==>* *<==",
                          "CFGC0000D Devlist.txt invalid format ==>LibraryCheck=true<==",
                          "CFGC0000D Component Map contains 2 entries",
                          "CFGC0000D Component ID [0]: QOR-A B C ==>100<==",
                          "CFGC0000D Component ID [1]: QOR-D:SAS ==>300<==",
                          "CFGC0000D AutomationReadyCheck=true", "CFGC0000D LibraryCheck=true"));
  directory.write("other.txt", "400 QOR-E\n");
  ComponentId().initialize("other.txt");
  EXPECT_TRUE(libraryMode) << "until the process ends";
  EXPECT_EQ(ids.getId4InquiryData("QOR-A B C"), "100");
  EXPECT_FALSE(ids.isValid("QOR-X"));
  EXPECT_EQ(ids.getId4InquiryData("QOR-X"), "");
  EXPECT_TRUE(ids.isValid("QOR-X")) << "asking for a product lists it";
}

TEST_F(Configuration, AListedAutomationReadyProductSetsTheModeAgain) {
  directory.write("Devlist.txt", "xAutomationReadyCheck=falsex\n1 QOR-P\n");
  ids.initialize("Devlist.txt");
  EXPECT_FALSE(automationReadyMode);
  EXPECT_FALSE(libraryMode);
  directory.write("Devlist.txt", "AutomationReadyCheck=false\n1 QOR-P:SAS:AutomationReady\n");
  ids.initialize("Devlist.txt");
  EXPECT_TRUE(automationReadyMode);
}

TEST_F(Configuration, WithoutAFileTheMakersProductsCount) {
  LogLevel level(LOG_DEBUG);
  CapturedOutput output;
  EXPECT_FALSE(ids.initialize("Devlist.txt"));
  EXPECT_FALSE(files.initialize("Config.txt"));
  EXPECT_THAT(output.lines(), ElementsAre("CFGC0000D File open fails==>Devlist.txt<==",
                                          "CFGC0000D File open fails==>Config.txt<=="));
  EXPECT_EQ(ids.getStatus(), 1u);
  EXPECT_TRUE(ids.isValid("the QOR-drive"));
  EXPECT_FALSE(ids.isValid("other"));
  EXPECT_EQ(ids.getId4InquiryData("QOR-A"), "");
  EXPECT_EQ(files.getStatus(), 1u);
}

TEST_F(Configuration, SurvivesWhatIsNotText) {
  std::filesystem::create_directory("Config.txt");
  EXPECT_FALSE(files.initialize("Config.txt"));
  EXPECT_EQ(files.getStatus(), 1u);

  struct Row {
    std::string content;
    unsigned int status;
  };
  const Row rows[] = {{"", 2},
                      {"\n\n\n", 2},
                      {"#only a comment", 2},
                      {std::string(1 << 20, 'x'), 2},
                      {std::string(1 << 20, ' '), 2},
                      {std::string("\x1A\0\r\r\r", 5), 2},
                      {"\x1A\nQOR-A a.fmr L1\n", 0},
                      {std::string("\0\nQOR-A a.fmr L1\n", 17), 0}};
  for (const Row& row : rows) {
    directory.write("table.txt", row.content);
    ConfigFilename table;
    EXPECT_EQ(table.initialize("table.txt"), row.status == 0);
    EXPECT_EQ(table.getStatus(), row.status);
    EXPECT_EQ(table.isValid("QOR-A"), row.status == 0);
    ComponentId components;
    components.initialize("table.txt");
    EXPECT_FALSE(components.isValid("QOR-X")) << "a file that was read decides alone";
  }
}

}  // namespace
