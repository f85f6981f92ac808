#pragma once
// FIB routes and FECs: the VRFs' FEC tables and route tables of the
// shared-memory FIB, as the routing agent writes them. Keeps which VRF holds
// each FEC id (ids are unique across VRFs) and the route tables it opened.
// No factory of its own: the VRF root's route machines read these tables.
// Shows `routes` (the chip's routes) and `show route VRF ADDRESS`.
#include <cstdint>
#include <map>
#include <variant>
#include <vector>

#include "agent/AgentModule.h"
#include "kor/common/VrfName.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "nollo/IpPrefix.h"
#include "models/ledra/EntityManager.h"
#include "quill/FecType.h"
#include "quill/RouteStatus.h"
#include "vix/Ptr.h"

namespace KorAgent {

class StatementArgs;

class FibModule : public AgentModule {
 public:
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;
  struct Via {
    Nollo::IpGenAddr hop;
    Nollo::IntfId intf;
    uint16_t vlan = 0;  // 0: none
    std::vector<uint32_t> labels;
    bool backup = false;
    uint32_t weight = 1;  // ECMP weight, at least 1
    bool operator==(Via const&) const = default;
  };
  static constexpr uint32_t kMaxMplsLabel = 1048575;
  // "via IP INTF [vlan N] [label L[,L]...] [backup]", once or more, to the end.
  static std::vector<Via> parseVias(StatementArgs& a);
  // FEC ids the route sources (FPM) hand out start here; scenario FEC ids
  // stay below it, so the two never collide.
  static constexpr uint64_t kRouteSourceFecBase = uint64_t(1) << 48;

  explicit FibModule(Agent* agent)
      : AgentModule(agent), entityManager_(Vix::makePtr<Ledra::EntityManager>("ledra")) {}
  // The state database's mounts, the shared-memory FIB among them.
  Vix::Ptr<Ledra::EntityManager> const& entityManager() const { return entityManager_; }

  // A FEC in the FIB FEC table of a VRF (IPv4 or IPv6 by its next hops).
  // forward: one via or more; attached (a connected subnet): one via, the
  // interface, with a zero address; drop: no via, the family from `v6`.
  void fecAdd(uint64_t id, std::vector<Via> const& vias, Kor::VrfName const& vrf = Kor::VrfName("default"),
              Quill::Fib::FecType type = Quill::Fib::FecType::forward, bool v6 = false);
  // New vias (and type) for an existing FEC (same VRF and address family).
  void fecUpdate(uint64_t id, std::vector<Via> const& vias,
                 Quill::Fib::FecType type = Quill::Fib::FecType::forward);
  void fecDel(uint64_t id);
  void routeAdd(Kor::VrfName const& vrf, Prefix const& prefix, uint64_t fecId);
  void routeDel(Kor::VrfName const& vrf, Prefix const& prefix);
  // The VRF's route table of the shared-memory FIB, for a routing agent that
  // writes it directly (benchmarks): no checks, as the routing agent's own
  // writes have none.
  Vix::Ptr<Quill::Fib::RouteStatus> fibRoutes4(Kor::VrfName const& vrf);
  Vix::Ptr<Quill::Fib6::RouteStatus> fibRoutes6(Kor::VrfName const& vrf);
  // The chip route a packet to `addr` in the VRF takes.
  std::string showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const;

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;

 private:
  template <class AF>
  void doWriteFec(Kor::VrfName const& vrf, uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type);
  void checkVias(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) const;
  void checkFec(Kor::VrfName const& vrf, uint64_t fecIndex, bool v6) const;
  ShowModel routesShow() const;
  ShowModel routeLookupShow(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr) const;

  Vix::Ptr<Ledra::EntityManager> entityManager_;
  // The VRF whose FIB FEC tables hold each FEC id.
  std::map<uint64_t, Kor::VrfName> fecVrf_;
  std::map<Kor::VrfName, Vix::Ptr<Quill::Fib::RouteStatus>> routes4_;
  std::map<Kor::VrfName, Vix::Ptr<Quill::Fib6::RouteStatus>> routes6_;
};

}  // namespace KorAgent
