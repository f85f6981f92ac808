#pragma once
// Fixture of the focused layer-2 tests: a whole agent over a manual clock
// and the software chip, driven by scenario statements (each run until
// idle), and one frame walked through the chip's packet path.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "agent/Agent.h"
#include "softchip/SoftChip.h"
#include "softchip/packet/PacketPath.h"
#include "vix/ManualTimeSource.h"

class L2AgentFixture : public ::testing::Test {
 protected:
  L2AgentFixture() {
    agent_.exitFnIs([](int status) { FAIL() << "agent asked to exit with " << status; });
  }

  // Statements before the library starts, then the start.
  void start(std::initializer_list<char const*> lines) {
    for (char const* line : lines) say(line);
    agent_.init();
    agent_.runUntilIdle();
  }

  void say(std::string const& line) {
    std::string answer = agent_.channel(-1, line);
    ASSERT_EQ(answer.rfind("line ", 0), std::string::npos) << line << ": " << answer;
    agent_.runUntilIdle();
  }

  SoftChip::PacketResult walk(char const* in, std::vector<SoftChip::FrameTag> tags) const {
    SoftChip::Frame f;
    f.inPort = Nollo::IntfId(in);
    f.tags = std::move(tags);
    return SoftChip::PacketPath(*agent_.chip()).walk(f);
  }

  Vix::Ptr<Vix::ManualTimeSource> ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
  KorAgent::Agent agent_{ts_};
};
