#include "kor/adj/VrfRouteWatch.h"

#include "kor/common/KorBaseSm.h"
#include "kor/records/VrfL3Status.h"
#include "nollo/IpPrefix.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/RouteStatus.h"

namespace Kor {

class VrfRouteWatch::VixL3Status : public Vix::NestedReactor<VrfRouteWatch, L3Status::Notifiee> {
 public:
  void handleVrfL3Status(VrfName const& name) override {
    sm_->client_->handleVrf(name.str());
  }
};

// One watched VRF's route table of either family.
class VrfRouteWatch::VixRouteStatus4 : public Vix::NestedReactor<VrfRouteWatch, Quill::Fib::RouteStatus::Notifiee> {
 public:
  void handleRoute(Nollo::IpPrefix const& p) override {
    sm_->client_->handleRoute(vrf_, Nollo::IpGenAddr(p.addr()), p.len());
  }
  std::string vrf_;
};

class VrfRouteWatch::VixRouteStatus6 : public Vix::NestedReactor<VrfRouteWatch, Quill::Fib6::RouteStatus::Notifiee> {
 public:
  void handleRoute(Nollo::Ip6Prefix const& p) override {
    sm_->client_->handleRoute(vrf_, Nollo::IpGenAddr(p.addr()), p.len());
  }
  std::string vrf_;
};

class VrfRouteWatch::VixVrfL3Status : public Vix::NestedReactor<VrfRouteWatch, VrfL3Status::Notifiee> {
 public:
  void handleNextHopList(Nollo::IpAddr4 const& a) override {
    sm_->client_->handleNextHop(vrf_, Nollo::IpGenAddr(a));
  }
  void handleNextHop6List(Nollo::IpAddr6 const& a) override {
    sm_->client_->handleNextHop(vrf_, Nollo::IpGenAddr(a));
  }
  void handleAdjEntryReviewCnt(Quill::Fib::FecId const& f) override {
    sm_->client_->handleAdjEntryReviewCnt(vrf_, f);
  }
  std::string vrf_;
};

VrfRouteWatch::VrfRouteWatch(KorBaseSm* owner, Client* client, Vix::Ptr<L3Status> const& l3Status,
                             Vix::Ptr<Ledra::EntityManager> const& entityManager)
    : owner_(owner), l3Status_(l3Status), entityManager_(entityManager), client_(client) {
  reactors_.watch<VixL3Status>(l3Status_);
}

VrfRouteWatch::~VrfRouteWatch() {
  vrfReactors_.clear();
  reactors_.clear();
}

void VrfRouteWatch::reactorAdd(Vix::NotifieeBase* r) { owner_->reactorAdd(r); }

void VrfRouteWatch::reactorDel(Vix::NotifieeBase* r) { owner_->reactorDel(r); }

void VrfRouteWatch::vrfsIs(std::set<std::string> const& vrfs) {
  std::map<std::string, Vix::Ptr<VrfL3Status>> want;
  for (auto const& vrf : vrfs) want[vrf] = l3Status_->vrfL3Status(VrfName(vrf));
  if (want == watchedVrfs_) return;
  vrfReactors_.clear();
  watchedVrfs_ = want;
  for (auto const& [vrf, vs] : watchedVrfs_) {
    vrfReactors_.watch<VixRouteStatus4>(entityManager_->routeStatus<Nollo::Ipv4>(vrf))->vrf_ = vrf;
    vrfReactors_.watch<VixRouteStatus6>(entityManager_->routeStatus<Nollo::Ipv6>(vrf))->vrf_ = vrf;
    if (vs) vrfReactors_.watch<VixVrfL3Status>(vs)->vrf_ = vrf;
  }
}

}  // namespace Kor
