#include "kor/adj/TunnelResolverSm.h"

#include "kor/adj/FibLongestMatch.h"
#include "kor/records/AdjReviewType.h"
#include "kor/records/VrfL3Status.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/RouteStatus.h"

namespace Kor {

class TunnelResolverSm::VixTunnelConfig
    : public Vix::NestedReactor<TunnelResolverSm, Tunnel::KorTunnelConfig::Notifiee> {
 public:
  void handleTunnel(Nollo::IntfId const& intf) override { sm_->handleTunnelConfig(intf); }
};

TunnelResolverSm::TunnelResolverSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                                   Vix::Ptr<Ledra::EntityManager> const& entityManager,
                                   Vix::Ptr<Tunnel::KorTunnelConfig const> const& tunnelConfig,
                                   Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus)
    : KorBaseSm(acsd, "KorTunnelResolverSm"), l3Status_(Vix::ValidPtr<L3Status>(l3Status)),
      l2AdjHelper_(Vix::ValidPtr<L2AdjHelper>(l2AdjHelper)),
      entityManager_(Vix::ValidPtr<Ledra::EntityManager>(entityManager)),
      tunnelConfig_(Vix::ValidPtr<Tunnel::KorTunnelConfig const>(tunnelConfig)),
      tunnelStatus_(Vix::ValidPtr<Tunnel::KorTunnelStatus>(tunnelStatus)),
      review_(acsd->activityLoop().ptr(), [this] {
        review_.runPass();
        review_.scheduleRetry();
      }),
      vrfWatch_(this, this, l3Status_, entityManager_) {
  review_.laneAdd([this](Nollo::IntfId const& intf, bool&) {
    doResolve(intf);
    if (auto it = resolved_.find(intf); it != resolved_.end() && it->second.refused) review_.enqueue(1, intf);
    return Vix::ReviewAction::done;
  });
  review_.laneAdd(
      [this](Nollo::IntfId const& intf, bool&) {
        doResolve(intf);
        auto it = resolved_.find(intf);
        return it != resolved_.end() && it->second.refused ? Vix::ReviewAction::keep : Vix::ReviewAction::done;
      },
      Vix::LaneKind::retry);
  review_.retryPeriodIs(0.2);
  vixReactors_.watch<VixTunnelConfig>(tunnelConfig_);
}

TunnelResolverSm::~TunnelResolverSm() = default;

Vix::Ptr<TunnelResolverSm> tunnelResolverSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                   Vix::Ptr<L3Status> const& l3Status,
                                                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                                                   Vix::Ptr<Ledra::EntityManager> const& entityManager,
                                                   Vix::Ptr<Tunnel::KorTunnelConfig const> const& tunnelConfig,
                                                   Vix::Ptr<Tunnel::KorTunnelStatus> const& tunnelStatus) {
  return Vix::makePtr<TunnelResolverSm>(acsd, l3Status, l2AdjHelper, entityManager, tunnelConfig, tunnelStatus);
}

void TunnelResolverSm::handleInitialized() {
  for (auto const& [intf, cfg] : tunnelConfig_->tunnelMap()) enqueue(intf);
}

void TunnelResolverSm::handleVerify() {
  size_t missing = 0;
  for (auto const& [intf, cfg] : tunnelConfig_->tunnelMap()) missing += !tunnelStatus_->tunnelHas(intf);
  if (missing || tunnelsForReview())
    KOR_VERIFY_REPORT(KorTypes::verifyFail,
                      "Tunnels (" + std::to_string(missing + tunnelsForReview()) + ") not resolved yet");
  else KOR_VERIFY_REPORT(KorTypes::verifySuccess, "Tunnels resolved");
}

void TunnelResolverSm::enqueue(Nollo::IntfId const& intf) {
  if (!initialized()) return;
  review_.enqueue(0, intf);
  review_.schedule();
}

void TunnelResolverSm::handleTunnelConfig(Nollo::IntfId const& intf) {
  KOR_TRACE(8, "handleTunnelConfig " << intf);
  enqueue(intf);
}

void TunnelResolverSm::handleRoute(std::string const& vrf, Nollo::IpGenAddr const& addr, int len) {
  for (auto const& [intf, r] : resolved_) {
    if (r.vrf != vrf || r.key.dstIpAddr.isV4() != addr.isV4()) continue;
    bool covers = addr.isV4() ? Nollo::IpPrefix(addr.v4(), len).contains(r.key.dstIpAddr.v4())
                              : Nollo::Ip6Prefix(addr.v6(), len).contains(r.key.dstIpAddr.v6());
    if (covers) enqueue(intf);
  }
}

void TunnelResolverSm::handleAdjEntryReviewCnt(std::string const& vrf, Quill::Fib::FecId const& fecId) {
  for (auto const& [intf, r] : resolved_)
    if (r.vrf == vrf && r.fecId == fecId) enqueue(intf);
}

void TunnelResolverSm::handleVrf(std::string const& vrf) {
  for (auto const& [intf, r] : resolved_)
    if (r.vrf == vrf) enqueue(intf);
}

// The watches follow the underlay VRFs named by the resolved tunnels; they
// are rebuilt in a pass (never inside one of their own notifications).
void TunnelResolverSm::doWatchVrfs() {
  std::set<std::string> vrfs;
  for (auto const& [intf, r] : resolved_) vrfs.insert(r.vrf);
  vrfWatch_.vrfsIs(vrfs);
}

void TunnelResolverSm::doResolve(Nollo::IntfId const& intf) {
  auto it = resolved_.find(intf);
  if (!tunnelConfig_->tunnelHas(intf)) {
    if (it != resolved_.end()) {
      KOR_TRACE(5, "Tunnel removed: " << intf);
      doUnregister(intf, it->second);
      resolved_.erase(it);
      tunnelStatus_->tunnelDel(intf);
      doReviewUsers(intf);
      doWatchVrfs();
    }
    return;
  }
  Tunnel::TunnelIntfConfig const cfg = tunnelConfig_->tunnel(intf);
  if (cfg.src.isV4() != cfg.dst.isV4()) {
    // The configuration's writer checks this; a mixed pair never resolves.
    KOR_TRACE(1, "Tunnel " << intf << ": source and destination of different families");
    return;
  }
  TunnelKeyGen key(cfg.src, cfg.dst);
  // What the adjacencies over the tunnel were last shown, read before any
  // unregistration below: they name that L2 adjacency until reviewed.
  bool const wasResolved = it != resolved_.end() && it->second.resolved;
  uint64_t const wasIndex = it != resolved_.end() ? it->second.l2AdjIndex : 0;
  if (it != resolved_.end() && it->second.key != key) {
    // Other end points: another tunnel for the helper.
    doUnregister(intf, it->second);
    resolved_.erase(it);
  }
  Resolved& r = resolved_[intf];
  r.key = key;
  r.vrf = cfg.underlayVrf;
  if (key.isV6()) doResolveT<Nollo::Ipv6>(intf, cfg, r);
  else doResolveT<Nollo::Ipv4>(intf, cfg, r);
  doWatchVrfs();
  // The adjacencies over the tunnel see only whether it is resolved and the
  // index of its L2 adjacency (whose data the helper rewrites in place): a
  // change of either re-reviews them. Reviewing them on every change of the
  // underlay's data would rebuild equal collections, and an unused tunnel's
  // L2 adjacency, deleted and built again, would chase its own tail.
  if (wasResolved != r.resolved || (r.resolved && wasIndex != r.l2AdjIndex)) doReviewUsers(intf);
}

template <class AF>
void TunnelResolverSm::doResolveT(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg, Resolved& r) {
  using Addr = typename AF::Addr;
  Addr dst;
  if constexpr (AF::version == 6) dst = r.key.dstIpAddr.v6();
  else dst = r.key.dstIpAddr.v4();
  Tunnel::TunnelIntfStatus status;
  // Longest match of the destination in the underlay VRF's FIB.
  auto match = fibLongestMatch<AF>(*entityManager_->routeStatus<AF>(r.vrf), dst);
  r.fecId = match ? match->fecId() : Quill::Fib::FecId();
  if (match) {
    status.underlayPrefix = match->prefix().str();
    status.underlayFec = r.fecId.value();
  }
  // That FEC's adjacency, once the underlay VRF's adjacency machine built it.
  auto vs = l3Status_->vrfL3Status(VrfName(r.vrf));
  bool vrfKnown = vs && l3Status_->vrfIdHas(VrfName(r.vrf));
  Vix::Ptr<AdjEntry> adj = vrfKnown && r.fecId.isValid() ? vs->adjEntryList(r.fecId) : nullptr;
  AdjViaT<AF> underlay;
  bool found = false;
  if (adj) {
    if constexpr (AF::version == 6) found = adj->adjVia6() != nullptr;
    else found = adj->adjVia() != nullptr;
    if (found) {
      // A tunnel is never carried by a tunnel: underlay vias that leave by
      // a tunnel interface are left out.
      AdjViaT<AF> const* all;
      if constexpr (AF::version == 6) all = adj->adjVia6().ptr();
      else all = adj->adjVia().ptr();
      uint8_t backups = 0;
      for (auto const& v : all->viaList()) {
        if (v.intfId().isTunnel()) continue;
        underlay.viaAdd(v);
        backups = uint8_t(backups + v.isBackupVia());
      }
      underlay.numBackupViasIs(backups);
      underlay.ttlIs(all->ttl());
    }
  }
  // The encapsulation is part of the tunnel's L2 data: 0 IP-in-IP, 1 GRE,
  // 2 GRE with a key.
  underlay.greKeyTypeIs(cfg.type == Tunnel::TunnelType::gre ? (cfg.hasGreKey ? 2 : 1) : 0);
  KOR_TRACE(5, "Tunnel " << intf << " " << r.key << " underlay vrf " << r.vrf << ": route "
                         << (match ? status.underlayPrefix : std::string("none")) << ", adj " << (found ? "found" : "none"));
  if (found || r.registered) {
    if (!found) KOR_TRACE(5, "Tunnel prefix: " << r.key << " No resolved next hops found");
    VrfId vrfId = vrfKnown ? l3Status_->vrfId(VrfName(r.vrf)) : VrfId(0);
    if constexpr (AF::version == 6) l2AdjHelper_->doCreateOrUpdateTunnel6L2Info(r.key, intf, vrfId, underlay);
    else l2AdjHelper_->doCreateOrUpdateTunnelL2Info(TunnelKey{r.key.srcIpAddr.v4(), dst}, intf, vrfId, underlay);
    r.registered = true;
    auto info = l2AdjHelper_->getTunnel6L2Info(r.key, false, true);
    if (info.updateL2Info) KOR_TRACE(5, "Tunnel " << intf << " L2 data changed");
    bool forwards = info.l2Adj && info.l2Adj->via().hasType(NextHopEntryType::nextHopArpResolved);
    r.resolved = forwards && info.l2Adj->state() == L2AdjState::installed;
    // Refused by the chip: retried after the retry period.
    r.refused = forwards && !r.resolved;
    status.l2AdjIndex = r.resolved ? info.l2Adj->index() : 0;
    r.l2AdjIndex = status.l2AdjIndex;
  }
  status.resolved = r.resolved;
  tunnelStatus_->tunnelIs(intf, status);
}

void TunnelResolverSm::doUnregister(Nollo::IntfId const& intf, Resolved& r) {
  if (!r.registered) return;
  KOR_TRACE(5, "Unregistering tunnel " << intf << " " << r.key);
  if (r.key.isV6()) l2AdjHelper_->doRemoveTunnel6L2Info(r.key);
  else l2AdjHelper_->doRemoveTunnelL2Info(TunnelKey{r.key.srcIpAddr.v4(), r.key.dstIpAddr.v4()});
  r.registered = false;
  r.resolved = false;
  r.l2AdjIndex = 0;
  // Another tunnel interface with the same end points shared that
  // registration and lost its L2 adjacency with it: resolved again, it
  // registers anew and has its own adjacencies reviewed.
  for (auto const& [other, o] : resolved_)
    if (other != intf && o.registered && o.key == r.key) enqueue(other);
}

// Every adjacency of any VRF whose vias leave by the tunnel interface.
void TunnelResolverSm::doReviewUsers(Nollo::IntfId const& intf) {
  auto users = l3Status_->intfToAdjEntry(intf);
  if (!users) return;
  size_t n = 0;
  for (auto const& [e, present] : users->adjEntryMap()) {
    if (!e || !l3Status_->vrfNameHas(e->vrfId())) continue;
    auto vs = l3Status_->vrfL3Status(l3Status_->vrfName(e->vrfId()));
    if (!vs || vs->adjEntryList(e->fecId()) != e) continue;
    vs->adjEntryReviewListIs(e->fecId(), AdjReviewType::adjReviewUpdate);
    ++n;
  }
  KOR_TRACE(5, "Tunnel " << intf << ": review of " << n << " adjs");
}

}  // namespace Kor
