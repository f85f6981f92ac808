#pragma once
// The adjacency machine of the default VRF over the software chip, on a
// manual clock, with the inputs it reads held by the fixture: the L3 status
// (default VRF, id 0, routing on for both versions), Vlan10 up on VLAN 10,
// the IP versions' FEC tables and the hardware status. The machine is built
// by startAdj() and dropped by stopAdj(); the chip and every input outlive
// it, so stopAdj() + startAdj() is a restart over the kept chip.
// Next-hop groups are wired in when the test sets groups_ and watched_
// before startAdj(); anything else the machine needs before it initializes
// (a resilient machine, a review hook, trace levels) goes in adjSmBuilt().
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kor/adj/AdjSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/adj/NexthopGroupRouteSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/L2Adjacency.h"
#include "softchip/SoftChip.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "vix/ActivityLoop.h"

namespace KorTest {

class AdjChipFixture : public ::testing::Test {
 protected:
  using FecId = Quill::Fib::FecId;
  using IntfId = Nollo::IntfId;

  void SetUp() override {
    unsetenv("KOR_ADJ_REVIEW_INTERVAL");
    ts_ = Vix::makePtr<Vix::ManualTimeSource>(0.0);
    loop_ = Vix::makePtr<Vix::ActivityLoop>(newTimeSource());
    acsd_ = Kor::korCommonSmDataFactory("acsd", loop_);
    l3Status_ = Vix::makePtr<Kor::L3Status>("l3Status");
    intfVlan_ = Vix::makePtr<IntfVlanId::Table>("intfVlanIdTable");
    l3Status_->intfVlanIdTableIs(intfVlan_);
    intfs_ = Vix::makePtr<Interface::AllIntfStatusDir>("intfs");
    link(IntfId::vlan(10), true);
    intfVlan_->vlanIdIs(IntfId::vlan(10), 10);
    vrf_ = vrfIs("default", 0);
    fwd_ = Vix::makePtr<Quill::Fib::ForwardingStatus>("default");
    fwd6_ = Vix::makePtr<Quill::Fib6::ForwardingStatus>("default");
    hw_ = Vix::makePtr<Routing::Hardware::Status>("hw");
    event_ = Vix::makePtr<Routing::AdjReviewEvent>("adjReviewEvent");
    chip_ = Vix::makePtr<SoftChip::SoftChip>();
  }
  void TearDown() override { stopAdj(); }

  // The loop's clock; a test of time slices hands a stepping one.
  virtual Vix::Ptr<Vix::TimeSource> newTimeSource() { return ts_; }
  // Runs between the machine's construction and its initialization.
  virtual void adjSmBuilt() {}

  void startAdj() {
    chip_->adj().softAdjSmHelper().l3StatusIs(l3Status_);
    helper_ = Vix::makePtr<Kor::L2AdjHelper>(acsd_, l3Status_, Vix::makePtr<Routing::Hardware::Config>("hwConfig"),
                                             intfs_, chip_->adj().adjSmHelper());
    helper_->initializedIs(true);
    if (groups_) {
      nhgSm_ = Vix::makePtr<Kor::NexthopGroupRouteSm>(acsd_, Kor::VrfName("default"), watched_, groups_);
      nhgSm_->initializedIs(true);
    }
    sm_ = Vix::makePtr<Kor::AdjSm>(Kor::VrfId(0), Kor::VrfName("default"), acsd_, nullptr, l3Status_, fwd_, fwd6_,
                                   hw_, helper_, intfVlan_, event_, nhgSm_, groups_, watched_);
    adjSmBuilt();
    sm_->initializedIs(true);
  }
  // Drops the machines, keeping the chip and the inputs. A test that holds
  // machines of its own over sm_ drops them first.
  void stopAdj() {
    sm_ = nullptr;
    nhgSm_ = nullptr;
    helper_ = nullptr;
  }

  // A VRF's L3 status with routing on for both versions.
  Vix::Ptr<Kor::VrfL3Status> vrfIs(char const* name, uint32_t id) {
    l3Status_->vrfIdPairIs(Kor::VrfName(name), Kor::VrfId(id));
    auto vs = l3Status_->newVrfL3Status(Kor::VrfName(name));
    vs->routingEnabledIs(true);
    vs->routing6EnabledIs(true);
    return vs;
  }
  void link(IntfId i, bool up) { intfs_->intfStatusIs(i, Interface::IntfStatus{up, false}); }

  static FecId fecId(uint64_t i) { return FecId::make(Quill::Fib::nexthopAdj(), i); }
  static Nollo::EthAddr mac(uint64_t n) { return Nollo::EthAddr::fromUint64(0x001c73000000ull + n); }
  void fec(uint64_t i, std::vector<std::pair<Nollo::IpAddr4, IntfId>> const& vias,
           Quill::Fib::FecType type = Quill::Fib::FecType::forward) {
    std::vector<Quill::Fib::Via> v;
    for (auto const& [nh, intf] : vias) v.emplace_back(nh, intf);
    fwd_->fecIs(Quill::Fib::Fec(fecId(i), type, v));
  }
  void fec6(uint64_t i, Nollo::IpAddr6 const& nh, IntfId intf) {
    fwd6_->fecIs(Quill::Fib6::Fec(fecId(i), Quill::Fib::FecType::forward, {Quill::Fib6::Via(nh, intf)}));
  }
  // The neighbour machines' output: nh resolved on VLAN 10 behind `port`
  // with MAC mac(m).
  template <class Addr>
  void resolve(Addr const& nh, IntfId port, uint64_t m = 1) {
    auto type = port.isPortChannel() ? Kor::NextHopType::portChannel : Kor::NextHopType::physicalPort;
    auto list = Vix::makePtr<Kor::NextHopList>(
        Kor::NextHopList::InfoMap{{Kor::VlanId(10), Kor::NextHopInfo(type, port, mac(m))}});
    if constexpr (std::is_same_v<Addr, Nollo::IpAddr6>) vrf_->nextHop6ListIs(nh, list);
    else vrf_->nextHopListIs(nh, list);
  }

  uint64_t reviewCnt(uint64_t i) const { return vrf_->adjEntryReviewCnt(fecId(i)); }
  // The chip's L2 adjacency of FEC i's adjacency, or null.
  Kor::NextHopL2InfoCollection const* chipL2Adj(uint64_t i) const {
    auto e = vrf_->adjEntryList(fecId(i));
    return e && e->l2Adj() ? chip_->adj().l2AdjTable().find(e->l2Adj()->index()) : nullptr;
  }

  Vix::Ptr<Vix::ManualTimeSource> ts_;
  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<IntfVlanId::Table> intfVlan_;
  Vix::Ptr<Interface::AllIntfStatusDir> intfs_;
  Vix::Ptr<Kor::VrfL3Status> vrf_;
  Vix::Ptr<Quill::Fib::ForwardingStatus> fwd_;
  Vix::Ptr<Quill::Fib6::ForwardingStatus> fwd6_;
  Vix::Ptr<Routing::Hardware::Status> hw_;
  Vix::Ptr<Routing::AdjReviewEvent> event_;
  Vix::Ptr<NexthopGroup::Status> groups_;
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> watched_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<Kor::L2AdjHelper> helper_;
  Vix::Ptr<Kor::NexthopGroupRouteSm> nhgSm_;
  Vix::Ptr<Kor::AdjSm> sm_;
};

}  // namespace KorTest
