#include "kor/adj/NexthopRequestSm.h"

#include "kor/adj/FibLongestMatch.h"
#include "kor/records/VrfL3Status.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"

namespace Kor {

class NexthopRequestSm::VixRequestConfig
    : public Vix::NestedReactor<NexthopRequestSm, Nexthop::NexthopRequestConfig::Notifiee> {
 public:
  void handleRequest(uint64_t const& id) override { sm_->handleRequest(id); }
};

NexthopRequestSm::NexthopRequestSm(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                                   Vix::Ptr<Ledra::EntityManager> const& entityManager,
                                   Vix::Ptr<Nexthop::NexthopRequestConfig const> const& requestConfig,
                                   Vix::Ptr<Nexthop::NexthopRequestStatus> const& requestStatus)
    : KorBaseSm(acsd, "KorNexthopRequestSm"), l3Status_(Vix::ValidPtr<L3Status>(l3Status)),
      l2AdjHelper_(Vix::ValidPtr<L2AdjHelper>(l2AdjHelper)),
      entityManager_(Vix::ValidPtr<Ledra::EntityManager>(entityManager)),
      requestConfig_(Vix::ValidPtr<Nexthop::NexthopRequestConfig const>(requestConfig)),
      requestStatus_(Vix::ValidPtr<Nexthop::NexthopRequestStatus>(requestStatus)),
      review_(acsd->activityLoop().ptr(), [this] {
        review_.runPass();
        review_.scheduleRetry();
      }),
      vrfWatch_(this, this, l3Status_, entityManager_) {
  review_.laneAdd([this](uint64_t const& id, bool&) {
    // Refused by the chip: retried on the retry lane until installed.
    if (!doReview(id)) review_.enqueue(kRetryLane, id);
    return Vix::ReviewAction::done;
  });
  review_.laneAdd([this](uint64_t const& id, bool&) { return doReview(id) ? Vix::ReviewAction::done : Vix::ReviewAction::keep; },
                  Vix::LaneKind::retry);
  review_.retryPeriodIs(0.2);
  vixReactors_.watch<VixRequestConfig>(requestConfig_);
}

NexthopRequestSm::~NexthopRequestSm() = default;

Vix::Ptr<NexthopRequestSm> nexthopRequestSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                   Vix::Ptr<L3Status> const& l3Status,
                                                   Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                                                   Vix::Ptr<Ledra::EntityManager> const& entityManager,
                                                   Vix::Ptr<Nexthop::NexthopRequestConfig const> const& requestConfig,
                                                   Vix::Ptr<Nexthop::NexthopRequestStatus> const& requestStatus) {
  return Vix::makePtr<NexthopRequestSm>(acsd, l3Status, l2AdjHelper, entityManager, requestConfig, requestStatus);
}

Vix::Ptr<AdjEntry> NexthopRequestSm::requestAdj(uint64_t requestId) const {
  auto r = requestOf_.find(requestId);
  if (r == requestOf_.end()) return nullptr;
  auto s = shared_.find(r->second);
  return s == shared_.end() ? nullptr : s->second.adj;
}

void NexthopRequestSm::handleInitialized() {
  for (auto const& [id, req] : requestConfig_->requestMap()) handleRequest(id);
}

void NexthopRequestSm::handleVerify() {
  size_t missing = 0;
  for (auto const& [id, req] : requestConfig_->requestMap()) missing += !requestStatus_->resolutionHas(id);
  if (missing)
    KOR_VERIFY_REPORT(KorTypes::verifyFail,
                      "Nexthop requests (" + std::to_string(missing) + ") without an answer");
  else KOR_VERIFY_REPORT(KorTypes::verifySuccess, "Nexthop requests answered");
}

void NexthopRequestSm::handleRequest(uint64_t requestId) {
  if (!initialized()) return;
  KOR_TRACE(8, "handleRequest " << requestId);
  review_.erase(kRetryLane, requestId);
  review_.enqueue(kWorkLane, requestId);
  review_.schedule();
}

void NexthopRequestSm::enqueueAll(std::string const& vrf,
                                  std::function<bool(Nexthop::NexthopRequest const&)> const& match) {
  // One request per record: resolving it answers every request of the record.
  for (auto const& [req, s] : shared_)
    if (req.vrf == vrf && !s.requestIds.empty() && match(req)) handleRequest(*s.requestIds.begin());
}

void NexthopRequestSm::handleNextHop(std::string const& vrf, Nollo::IpGenAddr const& nextHop) {
  enqueueAll(vrf, [&](Nexthop::NexthopRequest const& req) { return req.nexthops.count(nextHop) != 0; });
}

void NexthopRequestSm::handleRoute(std::string const& vrf, Nollo::IpGenAddr const& addr, int len) {
  enqueueAll(vrf, [&](Nexthop::NexthopRequest const& req) {
    for (auto const& nh : req.nexthops) {
      if (nh.isV4() != addr.isV4()) continue;
      if (nh.isV4() ? Nollo::IpPrefix(addr.v4(), len).contains(nh.v4()) : Nollo::Ip6Prefix(addr.v6(), len).contains(nh.v6()))
        return true;
    }
    return false;
  });
}

void NexthopRequestSm::handleVrf(std::string const& vrf) {
  enqueueAll(vrf, [](Nexthop::NexthopRequest const&) { return true; });
}

bool NexthopRequestSm::doReview(uint64_t requestId) {
  if (!requestConfig_->requestHas(requestId)) {
    doRelease(requestId);
    doWatchVrfs();
    return true;
  }
  Nexthop::NexthopRequest const req = requestConfig_->request(requestId);
  auto old = requestOf_.find(requestId);
  if (old != requestOf_.end() && !(old->second == req)) doRelease(requestId);
  Shared& s = shared_[req];
  if (!s.adj) {
    s.adj = Vix::makePtr<AdjEntry>(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), nextAdjIndex_++));
    s.adj->routeTypeIs(RouteType::forwardRoute);
    KOR_TRACE(5, "Request adj " << s.adj->adjIndex() << " for request " << requestId);
  }
  s.requestIds.insert(requestId);
  s.adj->pbrIs(uint32_t(s.requestIds.size()));
  requestOf_[requestId] = req;
  doWatchVrfs();
  return doResolve(req, s);
}

template <class AF>
void NexthopRequestSm::doBuildVias(Nexthop::NexthopRequest const& req, AdjEntry& adj) {
  auto vias = Vix::makePtr<AdjViaT<AF>>();
  auto routes = entityManager_->routeStatus<AF>(req.vrf);
  auto fecs = entityManager_->forwardingStatus<AF>(req.vrf);
  auto const vs = l3Status_->vrfL3Status(VrfName(req.vrf));
  for (auto const& nh : req.nexthops) {
    if ((AF::version == 6) != !nh.isV4()) continue;
    typename AF::Addr addr;
    if constexpr (AF::version == 6) addr = nh.v6();
    else addr = nh.v4();
    auto route = fibLongestMatch<AF>(*routes, addr);
    auto fec = route ? fecs->fec(route->fecId()) : nullptr;
    Nollo::IntfId intf;
    if (fec && fec->type() == Quill::Fib::FecType::attached && !fec->vias().empty()) intf = fec->vias().front().intf();
    for (auto const& v : fec ? fec->vias() : std::vector<Quill::Fib::ViaT<AF>>())
      if (intf.isNone() && v.nextHop() == addr) intf = v.intf();
    if (intf.isNone()) {
      KOR_TRACE(5, "Next hop " << nh << " in vrf " << req.vrf << " is not a neighbour");
      continue;
    }
    vias->viaAdd(ViaT<AF>(addr, intf));
    bool known;
    if constexpr (AF::version == 6) known = vs && vs->nextHop6ListHas(addr);
    else known = vs && vs->nextHopListHas(addr);
    if (!known && resolutionRequestHandler_) {
      KOR_TRACE(5, "Next hop " << nh << " in vrf " << req.vrf << " is not resolved: requesting its resolution");
      resolutionRequestHandler_(VrfName(req.vrf), nh);
    }
  }
  if constexpr (AF::version == 6) adj.adjVia6Is(vias);
  else adj.adjViaIs(vias);
}

bool NexthopRequestSm::doResolve(Nexthop::NexthopRequest const& req, Shared& s) {
  VrfName const vrf(req.vrf);
  bool const vrfKnown = l3Status_->vrfL3Status(vrf) && l3Status_->vrfIdHas(vrf);
  s.adj->vrfIdIs(vrfKnown ? l3Status_->vrfId(vrf) : VrfId(0));
  bool const v6 = !req.nexthops.empty() && !req.nexthops.begin()->isV4();
  if (!vrfKnown) {
    // No VRF: no vias, the record drops.
    if (v6) s.adj->adjVia6Is(Vix::makePtr<AdjVia6>());
    else s.adj->adjViaIs(Vix::makePtr<AdjVia>());
  } else if (v6) {
    doBuildVias<Nollo::Ipv6>(req, *s.adj);
  } else {
    doBuildVias<Nollo::Ipv4>(req, *s.adj);
  }
  l2AdjHelper_->updateL2AdjForAdj(*s.adj, AdjUpdateType::regularAdjUpdate);
  auto const& l2Adj = s.adj->l2Adj();
  bool installed = l2Adj && l2Adj->state() == L2AdjState::installed;
  Nexthop::NexthopResolution answer;
  if (installed && l2Adj->via().hasType(NextHopEntryType::nextHopArpResolved)) {
    answer.nexthopIndex = l2AdjHelper_->adjSmHelper()->getNexthopIndexForAdj(*l2Adj);
    answer.l2AdjKey = l2Adj->index();
  }
  KOR_TRACE(5, "Request adj " << s.adj->adjIndex() << ": l2 adj " << (l2Adj ? l2Adj->index() : 0) << ", nexthop index "
                              << answer.nexthopIndex);
  for (uint64_t id : s.requestIds) requestStatus_->resolutionIs(id, answer);
  return !l2Adj || installed;
}

void NexthopRequestSm::doRelease(uint64_t requestId) {
  review_.erase(kRetryLane, requestId);
  requestStatus_->resolutionDel(requestId);
  auto r = requestOf_.find(requestId);
  if (r == requestOf_.end()) return;
  auto s = shared_.find(r->second);
  requestOf_.erase(r);
  if (s == shared_.end()) return;
  s->second.requestIds.erase(requestId);
  s->second.adj->pbrIs(uint32_t(s->second.requestIds.size()));
  if (!s->second.requestIds.empty()) return;
  KOR_TRACE(5, "Last request released, deleting request adj " << s->second.adj->adjIndex());
  l2AdjHelper_->doRemoveAdjEntryFromL2Adj(s->second.adj->l2Adj(), *s->second.adj);
  shared_.erase(s);
}

void NexthopRequestSm::doWatchVrfs() {
  std::set<std::string> vrfs;
  for (auto const& [req, s] : shared_) vrfs.insert(req.vrf);
  vrfWatch_.vrfsIs(vrfs);
}

}  // namespace Kor
