#pragma once
// An agent on a manual clock with the default VRF routing both families,
// Vlan10 on VLAN 10 with neighbours 10.1.0.2-5, and an FpmRouteSource whose
// kernel interface 10 is Vlan10 (no other interface, no VRF table): the
// fixture of the FPM source's next-hop object tests. beforeInit() runs just
// before the agent's init (a hardware flag to set first).
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "agent/Agent.h"
#include "agent/fpm/FpmRouteSource.h"
#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/vrf/VrfModule.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class FpmSourceFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    Kor::VrfName def("default");
    agent_.module<KorAgent::VrfModule>().routingIs(def, true, true, true);
    agent_.module<KorAgent::IntfModule>().intfAdd(Nollo::IntfId::vlan(10), std::nullopt, Kor::VlanId(10));
    for (int h = 2; h <= 5; ++h)
      agent_.module<KorAgent::NeighbourModule>().arpAdd(def, Nollo::IpGenAddr("10.1.0." + std::to_string(h)),
                                                         Nollo::EthAddr::fromUint64(0x001c73000000ull + h),
                                                         Nollo::IntfId::vlan(10));
    beforeInit();
    agent_.init();
    agent_.runUntilIdle();
  }
  virtual void beforeInit() {}

  KorAgent::Agent agent_{Vix::makePtr<Vix::ManualTimeSource>(0.0)};
  KorAgent::FpmRouteSource src_{&agent_,
                                [](uint32_t i) -> std::optional<Nollo::IntfId> {
                                  if (i == 10) return Nollo::IntfId::vlan(10);
                                  return std::nullopt;
                                },
                                [](uint32_t) -> std::optional<Kor::VrfName> { return std::nullopt; }};
};

}  // namespace KorTest
