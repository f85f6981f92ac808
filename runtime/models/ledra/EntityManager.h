#pragma once
// The state database and the shared-memory tables as seen from the agent.
// `entity` lists the paths of the status entities that exist (path ->
// present): the VRF root creates a VRF's "forwarding/vrf/status/<vrf>" and
// the like there and deletes them with the VRF. The FIB tables of a VRF
// (IPv4 and IPv6 routes and FECs) are mounted on first use under the VRF's
// name, so the routing agent that writes them and the route and adjacency
// machines that read them share one table per VRF; a mounted table lives
// as long as the manager.
#include <map>
#include <string>
#include <utility>

#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"
#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"
#include "vix/Entity.h"

namespace Ledra {

class EntityManager : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<EntityManager> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Entity)
  };

  EntityManager() = default;
  explicit EntityManager(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, bool, entity, Entity)

 public:
  template <class AF>
  Vix::Ptr<Quill::Fib::RouteStatusT<AF>> routeStatus(std::string const& vrfName) {
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) return mount(routeStatus4_, vrfName);
    else return mount(routeStatus6_, vrfName);
  }
  template <class AF>
  Vix::Ptr<Quill::Fib::ForwardingStatusT<AF>> forwardingStatus(std::string const& vrfName) {
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) return mount(forwardingStatus4_, vrfName);
    else return mount(forwardingStatus6_, vrfName);
  }

 private:
  template <class T>
  static Vix::Ptr<T> mount(std::map<std::string, Vix::Ptr<T>>& tables, std::string const& vrfName) {
    auto& t = tables[vrfName];
    if (!t) t = Vix::makePtr<T>(vrfName);
    return t;
  }

  std::map<std::string, Vix::Ptr<Quill::Fib::RouteStatusT<Nollo::Ipv4>>> routeStatus4_;
  std::map<std::string, Vix::Ptr<Quill::Fib::RouteStatusT<Nollo::Ipv6>>> routeStatus6_;
  std::map<std::string, Vix::Ptr<Quill::Fib::ForwardingStatusT<Nollo::Ipv4>>> forwardingStatus4_;
  std::map<std::string, Vix::Ptr<Quill::Fib::ForwardingStatusT<Nollo::Ipv6>>> forwardingStatus6_;
};

}  // namespace Ledra
