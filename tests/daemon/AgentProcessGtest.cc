// In the daemon tests a kor-agent that did not start fails the test.
#include <gtest/gtest.h>

#include "AgentProcess.h"

namespace KorTest {

void agentProcessFailure(std::string const& what) { ADD_FAILURE() << what; }

}  // namespace KorTest
