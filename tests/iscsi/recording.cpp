#include "tests/simulator/recorded_session.h"

namespace {

TEST(Recording, OfTheTargetReplays) {
  std::string told;
  const std::string recording = recorded(withTheIndependentTarget, told);
  EXPECT_EQ(replayed(withTheIndependentTarget, recording), told);
  if (updatesRecordings()) keepRecording("independent_target", recording, told);
}

}  // namespace
