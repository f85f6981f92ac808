#include "agent/nexthop/NexthopModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/fib/FibModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/adj/NexthopRequestSm.h"
#include "kor/l3/VrfRootSm.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

void checkRequest(Nexthop::NexthopRequest const& req) {
  if (req.nexthops.empty()) fail("a request needs a next hop");
  for (auto const& nh : req.nexthops) {
    if (nh.isZero()) fail("next hop " + nh.str() + " is zero");
    if (nh.isV4() != req.nexthops.begin()->isV4()) fail("next hops of different address families");
  }
}

}  // namespace

NexthopModule::NexthopModule(Agent* agent)
    : AgentModule(agent), requestConfig_(Vix::makePtr<Nexthop::NexthopRequestConfig>("nexthop/request/config")),
      requestStatus_(Vix::makePtr<Nexthop::NexthopRequestStatus>("nexthop/request/status")) {}

NexthopModule::~NexthopModule() = default;

Kor::NexthopRequestSm* NexthopModule::nexthopRequestSm() const { return sm_.ptr(); }

void NexthopModule::doCreateRoots() {
  sm_ = Kor::nexthopRequestSmFactory(agent_->commonDataPtr(), agent_->l3StatusPtr(),
                                     agent_->module<NeighbourModule>().l2AdjHelperPtr(),
                                     agent_->module<FibModule>().entityManager(), requestConfig_, requestStatus_);
  // A requested neighbour without layer-2 data is to be resolved: the VRF
  // root serves the request or keeps it until the VRF can take it.
  sm_->resolutionRequestHandlerIs([this](Kor::VrfName const& vrf, Nollo::IpGenAddr const& nextHop) {
    if (auto* root = agent_->vrfRootSm()) root->doRequestResolution(vrf, nextHop);
  });
}

void NexthopModule::doStartLibrary() { sm_->initializedIs(true); }

void NexthopModule::doDestroyLibrary() {
  sm_ = nullptr;
  // The answers are the library's: a new run publishes them afresh.
  requestStatus_->resolutionDelAll();
}

void NexthopModule::requestAdd(uint64_t id, Nexthop::NexthopRequest const& req) {
  checkRequest(req);
  agent_->module<VrfModule>().checkAnnounced(Kor::VrfName(req.vrf));
  requestConfig_->requestIs(id, req);
}

void NexthopModule::requestDel(uint64_t id) {
  if (!requestConfig_->requestHas(id)) fail("no nexthop request " + std::to_string(id));
  requestConfig_->requestDel(id);
}

void NexthopModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"nexthop", "request", "add"}, "ID VRF NEXTHOP...",
                  "request ID: forward to the next hops (ECMP) in VRF", true, [this](A& a) -> Apply {
                    uint64_t id = A::parseUnsigned(a.next("request id"), "request id");
                    Nexthop::NexthopRequest req;
                    req.vrf = Kor::VrfName(a.next("VRF name")).str();
                    do req.nexthops.insert(Nollo::IpGenAddr(a.next("next-hop address")));
                    while (a.more());
                    checkRequest(req);
                    return [=, this](std::ostream&) { requestAdd(id, req); };
                  }});
  t.statementAdd({{"nexthop", "request", "del"}, "ID", "its user releases request ID", true, [this](A& a) -> Apply {
                    uint64_t id = A::parseUnsigned(a.next("request id"), "request id");
                    a.end();
                    return [=, this](std::ostream&) { requestDel(id); };
                  }});
}

std::vector<AgentModule::InputGroup> NexthopModule::inputGroups() const {
  InputGroup g{46, "nexthop requests", {}};
  for (auto const& [id, req] : requestConfig_->requestMap()) {
    std::string line = std::to_string(id) + " " + req.vrf;
    for (auto const& nh : req.nexthops) {
      line += ' ';
      line += nh.str();
    }
    g.lines.push_back(line);
  }
  return {g};
}

void NexthopModule::showsAdd() {
  agent_->showAdd("nexthops", [this](bool json) { return ShowRenderer::render(requestsShow(), json); });
}

ShowModel NexthopModule::requestsShow() const {
  using M = ShowModel;
  M m;
  m.lineAdd("nexthop requests:\n");
  m.tableAdd("requests", "  ",
             {M::col("id", "", 6), M::col("vrf", " "), M::col("nexthops", " "), M::col("adj", " adj "),
              M::col("nexthopIndex", " index "), M::col("l2AdjKey", " l2adj ")});
  for (auto const& [id, req] : requestConfig_->requestMap()) {
    std::string hops;
    for (auto const& nh : req.nexthops) {
      if (!hops.empty()) hops += ',';
      hops += nh.str();
    }
    auto adj = sm_ ? sm_->requestAdj(id) : nullptr;
    auto r = requestStatus_->resolution(id);
    m.rowAdd({M::num(id), M::str(req.vrf), M::str(hops), adj ? M::str(adj->fecId().str()) : M::raw("null", "-"),
              r.nexthopIndex ? M::num(r.nexthopIndex) : M::raw("null", "-"),
              r.l2AdjKey ? M::num(r.l2AdjKey) : M::raw("null", "-")});
  }
  return m;
}

}  // namespace KorAgent
