#include "host/core/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "host/core/capture.h"
#include "host/core/result.h"
#include "host/core/table.h"

namespace {

using testing::ElementsAre;

std::string inventory(const std::string& product, const std::string& level = "E6Q3") {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMInventory lang=\"en\">\n"
         "  <Device componentID=\"17\" enum=\"2,0,5,0\" display=\"" +
         product.substr(0, product.find(':')) + "\">\n    <Application display=\"" + product +
         "\" componentType=\"FRMW\" version=\"" + level + "\"></Application>\n  </Device>\n</SVMInventory>\n";
}

TEST(Report, IsReadWhateverADeviceCallsItself) {
  using namespace std::string_literals;
  for (const std::string& product :
       {"QOR-ULTRIUM-PX6:SAS:AutomationReady"s, "A&B-<C>&lt;:SAS"s, "A\"B-\"\"C\":SAS"s, "A='x' =\"y:SAS"s,
        ""s, "zero\0inside"s, "\xFF\r\n"s}) {
    const auto devices = host::readReport(inventory(product));
    ASSERT_EQ(devices.size(), 1u) << product;
    EXPECT_EQ(devices[0].address, "2,0,5,0");
    EXPECT_EQ(devices[0].component, "17");
    EXPECT_EQ(devices[0].level, "E6Q3") << product;
    EXPECT_EQ(devices[0].product, product);
  }
}

TEST(Report, TellsTheOutcomeOfAnUpdate) {
  const auto devices = host::readReport(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMExecution lang=\"en\">\n"
      "  <Device componentID=\"17\" enum=\"2,0,5,0\" display=\"QOR-PX6\">\n"
      "    <Application display=\"QOR-PX6:SAS\" componentType=\"FRMW\" version=\"E6Q3\">\n"
      "      <SPStatus result=\"false\">\n"
      "        <Message id=\"7\">Invalid Microcode level</Message>\n"
      "      </SPStatus>\n    </Application>\n  </Device>\n</SVMExecution>\n");
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].result, 7);
  EXPECT_EQ(devices[0].message, "Invalid Microcode level");
  EXPECT_EQ(host::outcomeTable(devices),
            "ADDRESS  PRODUCT      RESULT  MESSAGE\n"
            "2,0,5,0  QOR-PX6:SAS  7       Invalid Microcode level\n");
}

TEST(Report, ThatMakesNoSenseIsRefusedWithASentence) {
  for (const char* text :
       {"", "no report", "<SVMInventory", "<a><b></a>", "<SVMInventory><Device enum=\"1></Device>"})
    EXPECT_THROW(host::readReport(text), host::HostError) << text;
  EXPECT_TRUE(host::readReport("<SVMInventory lang=\"en\">\n</SVMInventory>\n").empty());
  EXPECT_EQ(host::readReport("<SVMInventory><Device/></SVMInventory>").size(), 1u);
}

TEST(InventoryTable, PutsAProductInColumns) {
  EXPECT_EQ(host::inventoryTable({{"17", "0,0,5,0", "QOR-ULTRIUM-PX6:SAS:AutomationReady:Library", "E6Q3"},
                                  {"", "11,0,1,0", "QOR-LIB\x1B[2J", "1.00"}}),
            "INDEX  ADDRESS   PRODUCT          INTERFACE  LEVEL  COMPONENT  FEATURES\n"
            "0      0,0,5,0   QOR-ULTRIUM-PX6  SAS        E6Q3   17         AutomationReady Library\n"
            "1      11,0,1,0  QOR-LIB.[2J                 1.00\n");
}

TEST(Sentences, NameWhatToDo) {
  std::vector<std::string> sentences;
  for (int result = 1; result <= 10; ++result) sentences.push_back(host::updateSentence(result));
  EXPECT_THAT(sentences, testing::Each(testing::AllOf(testing::HasSubstr(": "), testing::EndsWith("."))));
  EXPECT_EQ(std::set(sentences.begin(), sentences.end()).size(), sentences.size());
}

TEST(StdoutCapture, HandsOverEveryLineAndPutsStandardOutputBack) {
  std::vector<std::string> lines;
  testing::internal::CaptureStdout();
  {
    const host::StandardOutput out;
    const host::StdoutCapture capture(out, [&](std::string_view line) {
      lines.emplace_back(line.substr(0, 10));
      if (line == "first") out.write("seen\n");
    });
    std::printf("first\r\n\n");
    // More than a pipe holds: somebody reads while the writer writes.
    for (int i = 0; i < 20000; ++i) std::printf("line %d\n", i);
    std::printf("%s\nunfinished", std::string(200000, 'x').c_str());
  }
  std::printf("behind\n");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "seen\nbehind\n");
  ASSERT_EQ(lines.size(), 20004u);
  EXPECT_THAT(std::vector(lines.begin(), lines.begin() + 3), ElementsAre("first", "", "line 0"));
  EXPECT_THAT(std::vector(lines.end() - 3, lines.end()),
              ElementsAre("line 19999", "xxxxxxxxxx", "unfinished"));
}

}  // namespace
