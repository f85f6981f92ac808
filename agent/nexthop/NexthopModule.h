#pragma once
// Next-hop requests: the requests by id (a next-hop set and a VRF) as their
// users write them, and the answers the library's next-hop request machine
// publishes (next-hop index, L2 adjacency key). Its part of the library is
// the one NexthopRequestSm, created after the VRF root. Shows `nexthops`.
#include <cstdint>

#include "agent/AgentModule.h"
#include "models/nexthop/NexthopRequestConfig.h"
#include "models/nexthop/NexthopRequestStatus.h"
#include "vix/Ptr.h"

namespace Kor {
class NexthopRequestSm;
}

namespace KorAgent {

class NexthopModule : public AgentModule {
 public:
  explicit NexthopModule(Agent* agent);
  ~NexthopModule() override;

  // Adds or replaces request `id`: one next hop or more, of one address
  // family, none zero, in an announced VRF.
  void requestAdd(uint64_t id, Nexthop::NexthopRequest const& req);
  void requestDel(uint64_t id);

  Vix::Ptr<Nexthop::NexthopRequestConfig> const& requestConfig() const { return requestConfig_; }
  Vix::Ptr<Nexthop::NexthopRequestStatus> const& requestStatus() const { return requestStatus_; }
  Kor::NexthopRequestSm* nexthopRequestSm() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;
  std::vector<InputGroup> inputGroups() const override;
  void doCreateRoots() override;
  void doStartLibrary() override;
  void doDestroyLibrary() override;

 private:
  ShowModel requestsShow() const;

  Vix::Ptr<Nexthop::NexthopRequestConfig> requestConfig_;
  Vix::Ptr<Nexthop::NexthopRequestStatus> requestStatus_;
  Vix::Ptr<Kor::NexthopRequestSm> sm_;
};

}  // namespace KorAgent
