#pragma once
// The translation machines of one library run over the software chip, on a
// manual clock, with their inputs in the open: the translation and fid
// configuration and the common data's LAG maps. The chip outlives
// stop() / start(), which is how a restart case states what a new run
// rewrites. Logs go to a memory sink.
#include <gtest/gtest.h>

#include "kor/common/KorCommonSmData.h"
#include "kor/l2/VlanMappingSm.h"
#include "kor/l2/VlanPhyIntfSm.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class XlateChipFixture : public ::testing::Test {
 protected:
  using IntfId = Nollo::IntfId;
  using Key = Bridging::VlanXlateKey;
  using State = Bridging::VlanXlateIntfStatus::State;

  void SetUp() override {
    logs_ = Vix::makePtr<Vix::MemoryLogSink>();
    Vix::logSinkIs(logs_);
    ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(ts_);
    acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
    config_ = Vix::makePtr<Bridging::VlanXlateConfigDir>("config");
    status_ = Vix::makePtr<Bridging::VlanXlateStatusDir>("status");
    fids_ = Vix::makePtr<Bridging::VlanFidConfigDir>("fids");
    chip_ = Vix::makePtr<SoftChip::SoftChip>();
  }
  void TearDown() override {
    stop();
    Vix::logSinkIs(nullptr);
  }

  void start() {
    sm_ = Kor::vlanMappingSmFactory(acsd_, config_, status_, chip_->xlate().vlanMappingSmHelper());
    fidSm_ = Kor::vlanPhyIntfSmFactory(acsd_, fids_, chip_->xlate().vlanPhyIntfSmHelper());
    sm_->initializedIs(true);
    fidSm_->initializedIs(true);
  }
  void stop() {
    fidSm_ = nullptr;
    sm_ = nullptr;
  }

  void ingressIs(IntfId const& intf, Key k, uint16_t mapped) {
    auto c = config_->intfConfig(intf);
    c.ingress[k] = mapped;
    config_->intfConfigIs(intf, c);
  }
  void egressIs(IntfId const& intf, Key k, uint16_t mapped) {
    auto c = config_->intfConfig(intf);
    c.egress[k] = mapped;
    config_->intfConfigIs(intf, c);
  }
  void lagIs(IntfId const& lag, Kor::KorPortList const& members) {
    acsd_->lagToPortIs(lag, members);
    for (auto const& p : members) acsd_->portToLagIs(p, lag);
  }
  void lagLeave(IntfId const& lag, IntfId const& port) {
    auto members = acsd_->lagToPort(lag);
    members.portDel(port);
    acsd_->portToLagDel(port);
    acsd_->lagToPortIs(lag, members);
  }
  // What the chip maps the port's tag to (0: nothing).
  uint16_t chipIngress(IntfId const& port, Key k, bool native = false) const {
    auto const* v = chip_->xlate().ingressTable().find(SoftChip::XlateEntryKey{port, native, k});
    return v ? *v : 0;
  }
  uint16_t chipEgress(IntfId const& port, Key k) const {
    auto const* v = chip_->xlate().egressTable().find(SoftChip::XlateEntryKey{port, false, k});
    return v ? *v : 0;
  }

  IntfId const eth1_{"Ethernet1"};
  IntfId const eth2_{"Ethernet2"};
  IntfId const lag1_{"Port-Channel1"};
  Vix::Ptr<Vix::MemoryLogSink> logs_;
  Vix::Ptr<Vix::ManualTimeSource> ts_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Bridging::VlanXlateConfigDir> config_;
  Vix::Ptr<Bridging::VlanXlateStatusDir> status_;
  Vix::Ptr<Bridging::VlanFidConfigDir> fids_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<Kor::VlanMappingSm> sm_;
  Vix::Ptr<Kor::VlanPhyIntfSm> fidSm_;
};

}  // namespace KorTest
