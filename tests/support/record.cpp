#include "tests/support/record.h"

#include <cxxabi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <typeinfo>

#include "kiv/scsi/driver_command.h"

namespace {

constexpr const char* DATA = KIV_TEST_DATA "/";

/// Bytes that are no text, as \xNN.
std::string printable(const std::string& value) {
  std::string result;
  for (const char c : value) {
    const auto byte = static_cast<std::uint8_t>(c);
    result +=
        c != '\n' && (byte < 0x20 || byte > 0x7E) ? "\\x" + hex(std::span(&byte, 1)) : std::string(1, c);
  }
  return result;
}

std::string nameOf(const QORScsiCommand* twin) {
  if (twin == nullptr) return "no twin";
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(typeid(*twin).name(), nullptr, nullptr, nullptr), &std::free);
  return name.get();
}

}  // namespace

std::string testName() {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  std::string name = std::string(test.test_suite_name()) + "." + test.name();
  std::ranges::replace(name, '/', '.');
  return name;
}

std::string testData(const std::string& name) {
  std::ifstream file(DATA + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Record::~Record() {
  if (text.empty() || testing::Test::IsSkipped()) return;
  const std::string name = testName() + ".txt";
  if (std::getenv("KIV_UPDATE_DATA") != nullptr) {
    std::filesystem::create_directories(DATA);
    std::ofstream(DATA + name, std::ios::binary) << text;
    return;
  }
  const std::string expected = testData(name);
  if (text == expected) return;
  const auto [actual, wanted] = std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
  const auto line = [](const std::string& whole, std::string::const_iterator at) {
    const std::string::size_type begin =
        whole.rfind('\n', static_cast<std::size_t>(at - whole.begin()) - 1) + 1;
    return at == whole.begin() ? whole.substr(0, whole.find('\n'))
                               : whole.substr(begin, whole.find('\n', begin) - begin);
  };
  ADD_FAILURE() << DATA << name << ":" << 1 + std::count(text.begin(), actual, '\n') << ": expected\n  "
                << line(expected, wanted) << "\nbut was\n  " << line(text, actual)
                << "\nKIV_UPDATE_DATA=1 writes the file anew.";
}

void Record::add(const std::string& line) { text += printable(line) + "\n"; }

std::vector<std::string> Record::folded(const std::vector<std::string>& lines) {
  constexpr std::size_t LONGEST = 24, FEWEST = 5;
  std::vector<std::string> result;
  for (std::size_t at = 0; at < lines.size();) {
    std::size_t period = 1, times = 1;
    for (std::size_t p = 1; p <= LONGEST; ++p) {
      std::size_t same = 0;
      while (at + p + same < lines.size() && lines[at + same] == lines[at + p + same]) ++same;
      if (1 + same / p >= FEWEST && p * (same / p) > period * (times - 1)) period = p, times = 1 + same / p;
    }
    if (times > 1) result.push_back(std::to_string(times) + " times:");
    for (std::size_t i = 0; i < period; ++i) result.push_back((times > 1 ? "  " : "") + lines[at + i]);
    at += period * times;
  }
  return result;
}

void Record::command(const std::string& what, GenericScsiCommand& command) {
  const std::unique_ptr<QORScsiCommand> twin(command.createQORCommand());
  const char* const directions[] = {"none", "in", "out"};
  std::string line = hex(command.cdbSpan()) + ", " + directions[command.getDataDirection()] + " " +
                     std::to_string(command.getIoDataLength()) + ", " + std::to_string(command.getTimeOut()) +
                     " s, " + nameOf(twin.get());
  EXPECT_EQ(command.getSenseDataLength(), 32) << what;
  EXPECT_TRUE(!twin || twin->getCdb() == command.getCdb()) << what;
  add(what + "\n    " + line);
  if (std::ranges::any_of(command.ioDataSpan(), [](std::uint8_t byte) { return byte != 0; }))
    add("    data " + hex(command.ioDataSpan()));
}

void Record::settersOn(GenericScsiCommand& command, const std::function<void()>& setters) {
  std::ranges::fill(command.cdbSpan().subspan(1), std::uint8_t{0xFF});
  std::ranges::fill(command.ioDataSpan(), std::uint8_t{0xFF});
  setters();
  add("    on ones " + hex(command.cdbSpan()) + ", data " + briefHex(command.ioDataSpan()));
}
