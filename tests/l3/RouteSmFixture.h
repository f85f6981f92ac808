#pragma once
// A route machine (one template, both families) of the default VRF over the
// adjacency machine of AdjChipFixture, with a scripted platform route hook
// that keeps what it was handed: the fixture the route-machine tests share.
// start() builds the machine over the inputs the fixture holds; fec(i)
// publishes FEC i, route() / unroute() write the FIB.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kor/l3/RouteSmT.h"
#include "tests/adj/AdjChipFixture.h"
#include "vix/Trace.h"

namespace KorTest {

// A platform whose route table holds what it was handed, bounded by a
// capacity, refusing the prefixes it is told to.
template <class AF>
class ScriptedRouteHelper : public KorHelper::RouteSmHelperT<AF> {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;
  ScriptedRouteHelper(Vix::Ptr<Kor::L3Status> l3) : l3Status_(std::move(l3)) {}

  KorHelper::RouteUpdateAnswer handleRouteUpdate(Kor::VrfId vrfId, Prefix const& p, uint64_t) override {
    ++calls;
    Vix::Ptr<Kor::AdjInfo> info;
    if constexpr (AF::version == 4) info = l3Status_->adjInfoList({vrfId, p});
    else info = l3Status_->adjInfo6List({vrfId, p});
    if (!info) {
      if (refuseDeletes) return KorHelper::RouteUpdateAnswer::failed;
      if (chip.erase(p)) ++deletes;
      return KorHelper::RouteUpdateAnswer::programmed;
    }
    if (failing.count(p)) return KorHelper::RouteUpdateAnswer::failed;
    if (!chip.count(p) && chip.size() >= capacity) {
      if constexpr (AF::version == 4) l3Status_->routingResourceFullIs(true);
      else {
        l3Status_->ip6RoutingResourceFullIs(true);
        if (overflow) l3Status_->ip6OverflowRouteIs(p, true);
      }
      return KorHelper::RouteUpdateAnswer::resourceFull;
    }
    auto [it, fresh] = chip.try_emplace(p, info->l2AdjIndex());
    if (fresh) ++creates;
    else if (it->second != info->l2AdjIndex()) ++updates, it->second = info->l2AdjIndex();
    return KorHelper::RouteUpdateAnswer::programmed;
  }
  void forEachHardwareRoute(Kor::VrfId,
                            typename KorHelper::RouteSmHelperT<AF>::HardwareRouteVisitor const& v) const override {
    for (auto const& [p, l2] : chip) v(p, l2);
  }
  void deleteHardwareRoute(Kor::VrfId, Prefix const& p) override {
    if (chip.erase(p)) ++deletes;
  }
  void handleEndOfSync(Kor::VrfName const&) override { ++endOfSyncs; }
  void icmpUnreachableIs(Kor::VrfId, bool) override {}
  void greKeyForwardingIs(Kor::VrfId, bool) override {}

  Vix::Ptr<Kor::L3Status> l3Status_;
  std::map<Prefix, uint64_t> chip;  // prefix -> L2 adjacency index
  std::set<Prefix> failing;
  size_t capacity = ~size_t(0);
  bool overflow = false;
  bool refuseDeletes = false;
  int calls = 0, creates = 0, updates = 0, deletes = 0, endOfSyncs = 0;
};

// The machine and its inputs; trace lines go to trace_, every review to
// reviewed_ (a review costs reviewCost_ on the manual clock).
template <class AF>
class RouteSmFixture : public AdjChipFixture {
 protected:
  using Prefix = Nollo::IpPrefixT<AF>;
  using Sm = Kor::RouteSmT<AF>;
  static constexpr bool v4 = AF::version == 4;

  void SetUp() override {
    unsetenv("KOR_YIELD_REVIEW_AFTER_EACH_ROUTE");
    unsetenv("KOR_ROUTES_REVIEW_INTERVAL");
    trace_ = Vix::makePtr<Vix::MemoryTraceSink>();
    Vix::traceSinkIs(trace_);
    AdjChipFixture::SetUp();
    routes_ = Vix::makePtr<Quill::Fib::RouteStatusT<AF>>("default");
    l3Config_ = Vix::makePtr<Routing::L3Config>("l3Config");
    startAdj();
    rh_ = Vix::makePtr<ScriptedRouteHelper<AF>>(l3Status_);
  }
  void TearDown() override {
    rsm_ = nullptr;
    AdjChipFixture::TearDown();
    Vix::traceSinkIs(nullptr);
    acsd_->doCleanup();
  }
  void start() {
    Vix::Ptr<Quill::Fib::ForwardingStatusT<AF> const> fwd;
    if constexpr (v4) fwd = fwd_;
    else fwd = fwd6_;
    rsm_ = Vix::makePtr<Sm>(acsd_, nullptr, Kor::VrfId(0),
                            typename Sm::Inputs{l3Config_, l3Status_, vrf_, routes_, fwd, hw_, nullptr, sm_, rh_});
    rsm_->tf().levelsIs("*");
    rsm_->reviewHookIs([this](Prefix const& p) {
      reviewed_.push_back(p);
      if (ts_) ts_->advance(reviewCost_);
    });
    rsm_->initializedIs(true);
  }
  void run() { loop_->runUntilIdle(100); }

  // FEC i: `vias` next hops on Ethernet1.. (resolved or not, the adjacency
  // exists and has an L2 adjacency).
  // `like`: take the next hops of FEC `like` instead of its own.
  void fec(uint64_t i, int vias = 1, Quill::Fib::FecType type = Quill::Fib::FecType::forward, FecId id = FecId(),
           int like = -1) {
    if (!id.isValid()) id = fecId(i);
    int base = like < 0 ? int(i) : like;
    using Via = typename Quill::Fib::FecT<AF>::Via;
    std::vector<Via> v;
    for (int n = 0; n < vias; ++n) v.emplace_back(addr(base * 16 + n + 1), IntfId::ethernet(1 + n));
    if constexpr (v4) fwd_->fecIs(Quill::Fib::Fec(id, type, v));
    else fwd6_->fecIs(Quill::Fib6::Fec(id, type, v));
  }
  static typename AF::Addr addr(int n) {
    if constexpr (v4) return Nollo::IpAddr4(0x0a000000u + uint32_t(n));
    else return Nollo::IpAddr6("2001:db8::" + std::to_string(n));
  }
  // Prefix number n (distinct /24s or /48s); n = 0 is the default route.
  static Prefix pfx(int n) {
    if (n == 0) return Prefix{};
    if constexpr (v4) return Prefix(Nollo::IpAddr4(0x0b000000u + (uint32_t(n) << 8)), 24);
    else return Prefix("2001:db8:" + std::to_string(n) + "::/48");
  }
  void route(Prefix const& p, FecId f) { routes_->routeIs(Quill::Fib::RouteT<AF>(p, f)); }
  void unroute(Prefix const& p) { routes_->routeDel(p); }
  Vix::Ptr<Kor::AdjInfo> handed(Prefix const& p) const {
    if constexpr (v4) return l3Status_->adjInfoList({Kor::VrfId(0), p});
    else return l3Status_->adjInfo6List({Kor::VrfId(0), p});
  }
  uint32_t unprogrammedCount() const {
    return v4 ? vrf_->numUnprogrammedRoutes() : vrf_->numUnprogrammedV6Routes();
  }
  void suspend(bool on) {
    if constexpr (v4) l3Status_->suspendRouteUpdatesIs(on);
    else l3Status_->suspendIp6RouteUpdatesIs(on);
  }
  void resourceFullIs(bool on) {
    if constexpr (v4) l3Status_->routingResourceFullIs(on);
    else l3Status_->ip6RoutingResourceFullIs(on);
  }
  bool endOfSync() const { return v4 ? vrf_->endOfV4SyncDone() : vrf_->endOfV6SyncDone(); }

  Vix::Ptr<Vix::MemoryTraceSink> trace_;
  Vix::Ptr<Quill::Fib::RouteStatusT<AF>> routes_;
  Vix::Ptr<Routing::L3Config> l3Config_;
  Vix::Ptr<ScriptedRouteHelper<AF>> rh_;
  Vix::Ptr<Sm> rsm_;
  std::vector<Prefix> reviewed_;
  Vix::Seconds reviewCost_ = 0;
};

}  // namespace KorTest
