// Resilient tables under chip refusals, cases the randomized route test
// found: a table whose L2 adjacency the chip refused is written again once
// the chip takes it, whatever else the VRF has queued.
#include <gtest/gtest.h>

#include <string>

#include "softchip/adj/BucketWriteCounter.h"
#include "tests/adj/AgentChipFixture.h"

namespace {

class ResilientSeedTest : public KorTest::AgentChipFixture {
 protected:
  // The chip's L2 adjacency index of a default-VRF IPv4 route; 0: no route.
  uint64_t routeL2Index(std::string const& prefix) const {
    for (auto const& [key, route] : agent_->chip()->l3().route4Table().entries())
      if (key.vrfId == Kor::VrfId(0) && key.prefix.str() == prefix) return route.l2AdjIndex();
    return 0;
  }
};

// The prefix turns resilient while the chip refuses L2 adjacencies: the new
// table's L2 adjacency is refused, and nothing else in the VRF waits for a
// review. Once the chip takes writes again the retry writes the table and
// the route forwards on it.
TEST_F(ResilientSeedTest, ARefusedTableIsWrittenOnceTheChipTakesIt) {
  run(R"(set resilientEcmpSupported on
routing default on
intf add Vlan10 vlan 10
arp add default 10.1.0.1 00:1c:73:00:00:01 Vlan10
arp add default 10.1.0.2 00:1c:73:00:00:02 Vlan10
mac add 10 00:1c:73:00:00:01 Ethernet1
mac add 10 00:1c:73:00:00:02 Ethernet1
fec add 1 via 10.1.0.1 Vlan10 via 10.1.0.2 Vlan10
route add default 10.9.0.0/16 fec 1
init
run until idle
chip fault l2adj fail
resilient add default 10.9.0.0/16 capacity 2 redundancy 2
run until idle
chip fault clear
)");
  settle();
  uint64_t index = routeL2Index("10.9.0.0/16");
  ASSERT_NE(index, 0u) << "the route is not in the chip";
  auto const* held = l2adj().find(index);
  ASSERT_TRUE(held) << "the route names L2 adjacency " << index << ", which the chip does not hold";
  EXPECT_EQ(SoftChip::BucketWriteCounter::bucketsOf(held).size(), 4u) << *held;
  EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n");
}

}  // namespace
