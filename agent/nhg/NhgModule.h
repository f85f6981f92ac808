#pragma once
// Next-hop groups: the published groups (NexthopGroup::Status, by name: id
// and members) that the VRFs' next-hop-group machines read, the group FECs
// routes over a group use, and the hardware's nexthopGroupSupported input.
// A route over a group is a route over the group's FEC: FEC id of adjacency
// type nextHopGroupAdj whose index is the group id, written into the FEC
// table of the route's VRF and family when the first such route is added and
// removed with the group. Shows `nhg` (the groups and their adjacencies).
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "agent/AgentModule.h"
#include "agent/ShowModel.h"
#include "agent/fib/FibModule.h"
#include "kor/common/VrfName.h"
#include "models/nexthopgroup/Status.h"
#include "quill/FecId.h"
#include "vix/Ptr.h"

namespace KorAgent {

class NhgModule : public AgentModule {
 public:
  explicit NhgModule(Agent* agent)
      : AgentModule(agent), status_(Vix::makePtr<NexthopGroup::Status>("nexthopGroupStatus")) {}

  Vix::Ptr<NexthopGroup::Status> const& status() const { return status_; }
  // The largest group id: a FEC id's index field.
  static constexpr uint64_t kMaxGroupId = Quill::Fib::FecIdConstants::indexMask_ - 1;

  // Publishes a group (new, or new members for an existing name). Vias as
  // for a FEC, one family; an id taken by another name is refused.
  void groupAdd(std::string const& name, uint64_t id, std::vector<FibModule::Via> const& vias);
  // Unpublishes it; its FECs and their routes stay, deferred.
  void groupDel(std::string const& name);
  // A route over the group (FEC written on first use in the VRF and family).
  void routeAdd(Kor::VrfName const& vrf, FibModule::Prefix const& prefix, std::string const& name);
  void nexthopGroupSupportedIs(bool on);
  // The group a route over `fecId` in `vrf` forwards by, for `show route`:
  // name, id and each member with whether its next hop resolved in the
  // group's L2 adjacency; JSON null and no text when the FEC is no group's.
  ShowModel::Cell routeGroupCell(Kor::VrfName const& vrf, Quill::Fib::FecId fecId) const;

  void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const override;
  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;

 private:
  ShowModel groupsShow() const;

  Vix::Ptr<NexthopGroup::Status> status_;
  // The published groups' names by id (status_ is by name): a publish
  // checks its id against the others without a walk over every group.
  std::map<uint64_t, std::string> groupNames_;
  // The group FECs written: (VRF, IPv6) per group id.
  std::map<uint64_t, std::set<std::pair<Kor::VrfName, bool>>> fecs_;
};

}  // namespace KorAgent
