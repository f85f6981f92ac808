#pragma once
// The per-VRF watches of a machine that resolves addresses through the FIB
// of the VRFs it names (NexthopRequestSm, TunnelResolverSm): L3Status's
// VRFs (a VrfL3Status created, replaced or removed) always, and for each VRF
// the machine names, both FIB route tables and the VRF's VrfL3Status.
//
// Owned by that machine, whose reactor list its watches join (so the
// machine's notification switch covers them too). The machine tells it its
// VRFs after each change of them (vrfsIs); the per-VRF watches are rebuilt
// only when that set, or the VrfL3Status a VRF has, changed - in a pass of
// the machine, never inside one of their own notifications. An event
// the machine does not need is left at the Client's empty default.
#include <map>
#include <set>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/records/L3Status.h"
#include "models/ledra/EntityManager.h"
#include "nollo/IpGenAddr.h"
#include "quill/FecId.h"
#include "vix/ReactorSet.h"

namespace Kor {

class KorBaseSm;

class KOR_EXPORT VrfRouteWatch {
 public:
  // What the watching machine is told; an event it does not need keeps the
  // empty default.
  class Client {
   public:
    // A VRF's VrfL3Status came, changed or went.
    virtual void handleVrf(std::string const& vrf) = 0;
    // A route of the VRF (either family) changed: its address and length.
    virtual void handleRoute(std::string const& vrf, Nollo::IpGenAddr const& addr, int len) = 0;
    // A next hop's layer-2 data (VrfL3Status::nextHopList / nextHop6List).
    virtual void handleNextHop(std::string const&, Nollo::IpGenAddr const&) {}
    // An adjacency of the VRF was reviewed (VrfL3Status::adjEntryReviewCnt).
    virtual void handleAdjEntryReviewCnt(std::string const&, Quill::Fib::FecId const&) {}

   protected:
    ~Client() = default;
  };

  // `owner` is the machine whose reactor list the watches join, `client`
  // the one told (normally both the same machine).
  VrfRouteWatch(KorBaseSm* owner, Client* client, Vix::Ptr<L3Status> const& l3Status,
                Vix::Ptr<Ledra::EntityManager> const& entityManager);
  VrfRouteWatch(VrfRouteWatch const&) = delete;
  VrfRouteWatch& operator=(VrfRouteWatch const&) = delete;
  ~VrfRouteWatch();

  // The VRFs whose routes and VrfL3Status are watched.
  void vrfsIs(std::set<std::string> const& vrfs);
  size_t vrfs() const { return watchedVrfs_.size(); }

 private:
  class VixL3Status;
  class VixRouteStatus4;
  class VixRouteStatus6;
  class VixVrfL3Status;
  // The watches join the owner's reactor list (Vix::ReactorSet).
  template <class>
  friend class Vix::ReactorSet;
  void reactorAdd(Vix::NotifieeBase* r);
  void reactorDel(Vix::NotifieeBase* r);

  KorBaseSm* owner_;
  Vix::Ptr<L3Status> l3Status_;
  Vix::Ptr<Ledra::EntityManager> entityManager_;
  Client* client_;
  // The watched VRFs and the VrfL3Status each watch is bound to.
  std::map<std::string, Vix::Ptr<VrfL3Status>> watchedVrfs_;
  Vix::ReactorSet<VrfRouteWatch> reactors_{this};
  Vix::ReactorSet<VrfRouteWatch> vrfReactors_{this};
};

}  // namespace Kor
