// Switch interfaces over the software chip: membership per mode, a LAG
// member taking its LAG's configuration and getting its own back, ports
// the common data does not know, and the per-port settings the platform
// is handed.
#include <gtest/gtest.h>

#include "VlanChipFixture.h"
#include "kor/l2/SwitchIntfSm.h"
#include "softchip/l2/SoftSwitchIntfSmHelper.h"
#include "softchip/l2/SoftVlanHelper.h"
#include "vix/RangeError.h"

namespace KorTest {

using Kor::VlanId;
using Mode = Bridging::SwitchportConfig::Mode;
using Nollo::IntfId;

class SwitchIntfSmTest : public VlanChipFixture {
 protected:
  SwitchIntfSmTest()
      : config_(Vix::makePtr<Bridging::SwitchIntfConfig>("sic")), vlans_(Vix::makePtr<Bridging::VlanConfig>("vc")) {
    vh_ = Vix::makePtr<SoftChip::SoftVlanHelper>(acsd_, &chip_);
    acsd_->vlanHelperIs(vh_);
    sh_ = Vix::makePtr<SoftChip::SoftSwitchIntfSmHelper>(loop_.ptr(), &chip_);
    for (uint16_t v : {10, 20, 30}) vlans_->vlanIs(v, true);
    sm_ = Kor::switchIntfSmFactory(acsd_, config_, vlans_, sh_);
    sm_->initializedIs(true);
  }
  ~SwitchIntfSmTest() override {
    sm_ = nullptr;
    acsd_->vlanHelperIs(nullptr);
    vh_ = nullptr;
  }
  static Bridging::SwitchportConfig access(uint16_t v) {
    Bridging::SwitchportConfig c;
    c.accessVlan = v;
    return c;
  }
  static Bridging::SwitchportConfig trunk(std::set<uint16_t> allowed, uint16_t native) {
    Bridging::SwitchportConfig c;
    c.mode = Mode::trunk;
    c.allowedAll = false;
    c.allowedVlans = std::move(allowed);
    c.nativeVlan = native;
    return c;
  }
  // "10u 20t": the port's VLANs as the chip's vlan table holds them.
  std::string chipVlans(char const* port) {
    loop_->runFor(0.1);
    std::string s;
    for (auto const& [vlan, row] : chip_.vlanTable().entries()) {
      auto it = row.members.find(IntfId(port));
      if (it == row.members.end()) continue;
      if (!s.empty()) s += ' ';
      s += std::to_string(vlan.value());
      s += it->second ? 't' : 'u';
    }
    return s;
  }
  void join(char const* port, char const* lag) {
    acsd_->portToLagIs(IntfId(port), IntfId(lag));
    Kor::KorPortList members = acsd_->lagToPort(IntfId(lag));
    members.portAdd(IntfId(port));
    acsd_->lagToPortIs(IntfId(lag), members);
  }
  void leave(char const* port, char const* lag) {
    acsd_->portToLagDel(IntfId(port));
    acsd_->lagToPortDel(IntfId(lag));
  }

  Vix::Ptr<Bridging::SwitchIntfConfig> config_;
  Vix::Ptr<Bridging::VlanConfig> vlans_;
  Vix::Ptr<SoftChip::SoftVlanHelper> vh_;
  Vix::Ptr<SoftChip::SoftSwitchIntfSmHelper> sh_;
  Vix::Ptr<Kor::SwitchIntfSm> sm_;
};

TEST_F(SwitchIntfSmTest, ModesGiveTheirMembershipWithinTheConfiguredVlans) {
  acsd_->intfIs(IntfId("Ethernet1"), true);
  config_->switchIntfConfigIs(IntfId("Ethernet1"), trunk({10, 20, 40}, 20));
  EXPECT_EQ(chipVlans("Ethernet1"), "10t 20u") << "40 is not configured; the native VLAN untagged";
  vlans_->vlanIs(40, true);
  EXPECT_EQ(chipVlans("Ethernet1"), "10t 20u 40t");
  vlans_->vlanDel(10);
  EXPECT_EQ(chipVlans("Ethernet1"), "20u 40t");
  auto tunnel = access(30);
  tunnel.mode = Mode::dot1qTunnel;
  tunnel.vlanTpid = 0x88a8;
  config_->switchIntfConfigIs(IntfId("Ethernet1"), tunnel);
  EXPECT_EQ(chipVlans("Ethernet1"), "30u");
  auto const* port = chip_.portVlanTable().find(IntfId("Ethernet1"));
  ASSERT_TRUE(port);
  EXPECT_EQ(port->defaultVlan, 30);
  EXPECT_EQ(port->tagging, Mode::dot1qTunnel);
  EXPECT_EQ(port->tpid.hwVlanTpid(), 0x88a8);
  EXPECT_TRUE(acsd_->portVlanTpidData(IntfId("Ethernet1")).dot1QTunnel());
  config_->switchIntfConfigDel(IntfId("Ethernet1"));
  EXPECT_EQ(chipVlans("Ethernet1"), "");
  EXPECT_FALSE(chip_.portVlanTable().has(IntfId("Ethernet1")));
}

TEST_F(SwitchIntfSmTest, ALagMemberFollowsItsLagAndGetsItsOwnBackWhenItLeaves) {
  acsd_->intfIs(IntfId("Ethernet1"), true);
  config_->switchIntfConfigIs(IntfId("Ethernet1"), access(10));
  config_->switchIntfConfigIs(IntfId("Port-Channel1"), trunk({20, 30}, 20));
  EXPECT_EQ(chipVlans("Ethernet1"), "10u");
  join("Ethernet1", "Port-Channel1");
  EXPECT_EQ(chipVlans("Ethernet1"), "20u 30t");
  EXPECT_EQ(chip_.portVlanTable().find(IntfId("Ethernet1"))->tagging, Mode::trunk);
  // The LAG's configuration changes: so does the member's.
  config_->switchIntfConfigIs(IntfId("Port-Channel1"), access(30));
  EXPECT_EQ(chipVlans("Ethernet1"), "30u");
  leave("Ethernet1", "Port-Channel1");
  EXPECT_EQ(chipVlans("Ethernet1"), "10u");
  EXPECT_EQ(chip_.portVlanTable().find(IntfId("Ethernet1"))->defaultVlan, 10);
}

TEST_F(SwitchIntfSmTest, AnInterfaceTheCommonDataDoesNotKnowIsLeftAlone) {
  config_->switchIntfConfigIs(IntfId("Ethernet2"), access(10));
  EXPECT_EQ(chipVlans("Ethernet2"), "");
  EXPECT_FALSE(sm_->applied().count(IntfId("Ethernet2")));
  acsd_->intfIs(IntfId("Ethernet2"), true);
  EXPECT_EQ(chipVlans("Ethernet2"), "10u");
  acsd_->intfDel(IntfId("Ethernet2"));
  EXPECT_EQ(chipVlans("Ethernet2"), "") << "a port that goes is taken out";
}

TEST_F(SwitchIntfSmTest, ABadTpidOrVlanInTheInputChangesNothing) {
  acsd_->intfIs(IntfId("Ethernet1"), true);
  config_->switchIntfConfigIs(IntfId("Ethernet1"), access(10));
  auto bad = access(20);
  bad.vlanTpid = 0;
  EXPECT_THROW(
      try { config_->switchIntfConfigIs(IntfId("Ethernet1"), bad); } catch (Vix::RangeError const& e) {
        EXPECT_STREQ(e.what(), "KorPortVlanTpidData::vlanTpid < 1 not allowed");
        throw;
      },
      Vix::RangeError);
  EXPECT_THROW(config_->switchIntfConfigIs(IntfId("Ethernet1"), access(4095)), Vix::RangeError);
  EXPECT_EQ(chipVlans("Ethernet1"), "10u");
}

}  // namespace KorTest
