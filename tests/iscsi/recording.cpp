#include "tests/simulator/recorded_session.h"

TEST(Recording, OfTheTargetReplays) { recordAndReplay(withTheIndependentTarget, "independent_target"); }
