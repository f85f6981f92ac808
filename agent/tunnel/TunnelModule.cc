#include "agent/tunnel/TunnelModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/fib/FibModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/tunnel/TunnelSection.h"
#include "agent/vrf/VrfModule.h"
#include "quill/FecId.h"
#include "kor/adj/TunnelResolverSm.h"
#include "softchip/SoftChip.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
// 'name' (built by appending: g++ 12 at -O3 warns falsely on a literal plus a temporary).
std::string quoted(std::string const& name) {
  std::string q(1, '\'');
  q += name;
  q += '\'';
  return q;
}
}  // namespace

TunnelModule::TunnelModule(Agent* agent)
    : AgentModule(agent), tunnelConfig_(Vix::makePtr<Tunnel::KorTunnelConfig>("tunnel/config")),
      tunnelStatus_(Vix::makePtr<Tunnel::KorTunnelStatus>("tunnel/status")) {}

TunnelModule::~TunnelModule() = default;

Kor::TunnelResolverSm* TunnelModule::tunnelResolverSm() const { return resolver_.ptr(); }

void TunnelModule::doCreateRoots() {
  resolver_ = Kor::tunnelResolverSmFactory(
      agent_->commonDataPtr(), agent_->l3StatusPtr(), agent_->module<NeighbourModule>().l2AdjHelperPtr(),
      agent_->module<FibModule>().entityManager(), tunnelConfig_, tunnelStatus_);
}

void TunnelModule::doStartLibrary() { resolver_->initializedIs(true); }

void TunnelModule::doDestroyLibrary() {
  resolver_ = nullptr;
  // The status is the library's: a new run publishes it afresh.
  tunnelStatus_->tunnelDelAll();
}

std::string TunnelModule::tunnelError(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg) {
  if (!intf.isTunnel()) return quoted(intf.str()) + " is not a tunnel interface";
  if (cfg.src.isV4() != cfg.dst.isV4()) return "source and destination of different address families";
  if (cfg.dst.isZero()) return "destination address is zero";
  if (cfg.hasGreKey && cfg.type != Tunnel::TunnelType::gre) return "a key is for gre tunnels only";
  return {};
}

void TunnelModule::tunnelAdd(Nollo::IntfId const& intf, Tunnel::TunnelIntfConfig const& cfg) {
  if (auto e = tunnelError(intf, cfg); !e.empty()) fail(e);
  agent_->module<VrfModule>().checkAnnounced(Kor::VrfName(cfg.underlayVrf));
  tunnelConfig_->tunnelIs(intf, cfg);
}

void TunnelModule::tunnelDel(Nollo::IntfId const& intf) {
  if (!tunnelConfig_->tunnelHas(intf)) fail("no tunnel " + intf.str());
  tunnelConfig_->tunnelDel(intf);
}

void TunnelModule::lagHwIdIs(Nollo::IntfId const& lag, uint32_t id) {
  if (!lag.isPortChannel()) fail(quoted(lag.str()) + " is not a port channel");
  agent_->chip()->adj().softAdjSmHelper().hwLagIdIs(lag, id);
}

void TunnelModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"tunnel", "add"}, "INTF type ipip|gre src A dst B [underlay VRF] [key N]",
                  "a tunnel interface resolving B through the routes of VRF (default: default)", true,
                  [this](A& a) -> Apply {
                    Nollo::IntfId intf(a.next("tunnel interface"));
                    a.keyword("type");
                    std::string const& type = a.next("tunnel type");
                    Tunnel::TunnelIntfConfig cfg;
                    if (type == "gre") cfg.type = Tunnel::TunnelType::gre;
                    else if (type != "ipip") fail("expected ipip or gre, got '" + type + "'");
                    a.keyword("src");
                    cfg.src = Nollo::IpGenAddr(a.next("source address"));
                    a.keyword("dst");
                    cfg.dst = Nollo::IpGenAddr(a.next("destination address"));
                    if (a.accept("underlay")) cfg.underlayVrf = a.next("VRF name");
                    if (a.accept("key")) {
                      cfg.hasGreKey = true;
                      cfg.greKey = uint32_t(A::parseUnsigned(a.next("GRE key"), "GRE key", UINT32_MAX));
                    }
                    a.end();
                    if (auto e = tunnelError(intf, cfg); !e.empty()) fail(e);
                    return [=, this](std::ostream&) { tunnelAdd(intf, cfg); };
                  }});
  t.statementAdd({{"tunnel", "del"}, "INTF", "remove the tunnel interface", true, [this](A& a) -> Apply {
                    Nollo::IntfId intf(a.next("tunnel interface"));
                    a.end();
                    return [=, this](std::ostream&) { tunnelDel(intf); };
                  }});
  t.statementAdd({{"chip", "lag"}, "INTF hwid N",
                  "the chip gives the port channel hardware id N (0: its number)", false, [this](A& a) -> Apply {
                    Nollo::IntfId lag(a.next("port channel"));
                    a.keyword("hwid");
                    uint32_t id = uint32_t(A::parseUnsigned(a.next("hardware id"), "hardware id", UINT32_MAX));
                    a.end();
                    if (!lag.isPortChannel()) fail(quoted(lag.str()) + " is not a port channel");
                    return [=, this](std::ostream&) { lagHwIdIs(lag, id); };
                  }});
}

std::vector<AgentModule::InputGroup> TunnelModule::inputGroups() const {
  InputGroup g{45, "tunnels", {}};
  for (auto const& [intf, c] : tunnelConfig_->tunnelMap()) {
    std::string line = intf.str() + " " + Tunnel::toString(c.type) + " " + c.src.str() + " -> " + c.dst.str() +
                       " underlay " + c.underlayVrf;
    if (c.hasGreKey) line += " key " + std::to_string(c.greKey);
    g.lines.push_back(line);
  }
  return {g};
}

void TunnelModule::showsAdd() {
  agent_->showAdd("tunnels", [this](bool json) { return ShowRenderer::render(tunnelsShow(), json); });
}

ShowModel TunnelModule::tunnelsShow() const {
  using M = ShowModel;
  M m;
  m.lineAdd("tunnels:\n");
  m.tableAdd("tunnels", "  ",
             {M::col("intf", "", 10), M::col("type", " "), M::col("src", " "), M::col("dst", " "),
              M::col("underlay", " "), M::col("route", " "), M::col("fec", " fec "), M::col("l2Adj", " l2adj "),
              M::col("state", " ")});
  for (auto const& [intf, c] : tunnelConfig_->tunnelMap()) {
    auto s = tunnelStatus_->tunnel(intf);
    m.rowAdd({M::str(intf.str()), M::str(Tunnel::toString(c.type)), M::str(c.src.str()), M::str(c.dst.str()),
              M::str(c.underlayVrf), s.underlayPrefix.empty() ? M::raw("null", "-") : M::str(s.underlayPrefix),
              s.underlayPrefix.empty() ? M::raw("null", "-") : M::str(Quill::Fib::FecId(s.underlayFec).str()),
              s.l2AdjIndex ? M::num(s.l2AdjIndex) : M::raw("null", "-"),
              M::str(s.resolved ? "resolved" : "unresolved")});
  }
  return m;
}

void TunnelModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<TunnelSection>());
}

}  // namespace KorAgent
