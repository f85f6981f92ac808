#pragma once
// The spanning-tree machine over the software chip's StpChip, with its
// inputs in the open: the topology configuration, the protocol's status
// (report() writes one port state) and the common data (LAG membership,
// operational mode). startStp() builds and initializes the machine;
// stopStp() drops it and keeps the chip, so the two make a restart.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kor/common/KorCommonSmData.h"
#include "kor/l2/StpSm.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

class StpChipFixture : public ::testing::Test {
 protected:
  using IntfId = Nollo::IntfId;
  using PortState = Bridging::Topology::PortState;

  void SetUp() override {
    loop_ = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>(0.0));
    acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
    config_ = Vix::makePtr<Bridging::Topology::Config>("config");
    status_ = Vix::makePtr<Bridging::Topology::Status>("status");
    chip_ = Vix::makePtr<SoftChip::SoftChip>();
  }
  void TearDown() override { stopStp(); }

  void startStp() {
    stp_ = Kor::stpSmFactory(acsd_, config_, status_, chip_->stp().topoHelper());
    stp_->initializedIs(true);
  }
  void stopStp() { stp_ = nullptr; }

  void topology(std::string const& name, std::vector<uint16_t> const& vlans) {
    config_->topologyIs(name, true);
    for (uint16_t v : vlans) config_->vidToTopoIs(v, name);
  }
  void report(std::string const& topo, char const* intf, PortState s) {
    auto inst = status_->instStatus(topo);
    if (!inst) {
      inst = Vix::makePtr<Bridging::Topology::InstStatus>(topo);
      status_->instStatusIs(topo, inst);
    }
    inst->portStateIs(IntfId(intf), s);
  }
  void joinLag(char const* port, char const* lag) { acsd_->portToLagIs(IntfId(port), IntfId(lag)); }

  SoftChip::StpChip& chip() { return chip_->stp(); }
  // The chip's state of the port in the topology's hardware id; none when absent.
  std::optional<PortState> hwState(std::string const& topo, char const* intf) {
    Kor::TopoSm const* sm = stp_->topoSm(topo);
    if (!sm) return std::nullopt;
    auto const* s = chip().stpStateTable().find(SoftChip::StpStateKey{sm->topoId(), IntfId(intf)});
    return s ? std::optional(*s) : std::nullopt;
  }
  // Every entry of both tables, as `show chip` prints them.
  std::vector<std::pair<std::string, std::string>> chipTexts() {
    auto a = chip().topoTable().entryTexts();
    auto b = chip().stpStateTable().entryTexts();
    a.insert(a.end(), b.begin(), b.end());
    return a;
  }

  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Bridging::Topology::Config> config_;
  Vix::Ptr<Bridging::Topology::Status> status_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<Kor::StpSm> stp_;
};

}  // namespace KorTest
