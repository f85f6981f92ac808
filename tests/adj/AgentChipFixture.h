#pragma once
// A whole agent over the software chip on a manual clock, driven either by
// scenario text (run) or through its modules, with readers of the chip's
// tables and of the adjacencies the library made. The chip lives in the
// agent and is kept across agent_->restart(), so a test states what a new
// run claims back or rewrites. An agent that asks to exit fails the test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/fib/FibModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "softchip/SoftChip.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class AgentChipFixture : public ::testing::Test {
 protected:
  using IntfId = Nollo::IntfId;
  using L2AdjTable = SoftChip::ChipTable<uint64_t, Kor::NextHopL2InfoCollection>;

  void SetUp() override {
    unsetenv("SIMULATION_VMID");
    unsetenv("KOR_ADJ_REVIEW_INTERVAL");
    ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
    agent_ = std::make_unique<KorAgent::Agent>(ts_);
    agent_->exitFnIs([](int status) { FAIL() << "agent asked to exit with " << status; });
  }

  // Runs scenario text, which must have no failing statement; its output.
  std::string run(std::string const& text) {
    std::ostringstream out;
    KorAgent::ScenarioRunner r(agent_.get(), &out);
    EXPECT_EQ(r.runText(text), 0u) << out.str();
    return out.str();
  }
  void idle() { ASSERT_TRUE(agent_->runUntilIdle()); }
  // Runs past the deletion delay and the retry period: nothing is left
  // pending, in the library or in the chip.
  void settle() {
    agent_->runFor(1.0);
    idle();
    agent_->runFor(11.0);
    idle();
  }

  template <class M>
  M& module() { return agent_->module<M>(); }
  KorAgent::FibModule& fib() { return module<KorAgent::FibModule>(); }
  static KorAgent::FibModule::Via via(char const* hop, IntfId intf) {
    KorAgent::FibModule::Via v;
    v.hop = Nollo::IpGenAddr(hop);
    v.intf = intf;
    return v;
  }
  static Nollo::EthAddr mac(uint64_t n) { return Nollo::EthAddr::fromUint64(0x001c73000000ull + n); }
  static Quill::Fib::FecId fecId(uint64_t i) { return Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), i); }
  void arp(char const* vrf, char const* ip, uint64_t m, IntfId intf) {
    module<KorAgent::NeighbourModule>().arpAdd(Kor::VrfName(vrf), Nollo::IpGenAddr(ip), mac(m), intf);
  }

  L2AdjTable& l2adj() { return agent_->chip()->adj().l2AdjTable(); }
  // The index of the L2 adjacency the library holds for a FEC; 0 for none.
  uint64_t l2AdjIndex(uint64_t fec, char const* vrf = "default") const {
    auto vs = agent_->l3Status()->vrfL3Status(Kor::VrfName(vrf));
    auto e = vs ? vs->adjEntryList(fecId(fec)) : nullptr;
    return e && e->l2Adj() ? e->l2Adj()->index() : 0;
  }
  // The chip's L2 adjacency of a FEC, or null.
  Kor::NextHopL2InfoCollection const* chipL2Adj(uint64_t fec, char const* vrf = "default") {
    uint64_t i = l2AdjIndex(fec, vrf);
    return i ? l2adj().find(i) : nullptr;
  }
  // The chip's L2 adjacency writes so far.
  uint64_t l2AdjWrites() {
    auto const& c = l2adj().counters();
    return c.creates + c.updates + c.deletes;
  }

  Vix::Ptr<Vix::ManualTimeSource> ts_;
  std::unique_ptr<KorAgent::Agent> agent_;
};

}  // namespace KorTest
