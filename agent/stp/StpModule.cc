#include "agent/stp/StpModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/VlanList.h"
#include "agent/stp/StpSection.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/l2/StpSm.h"
#include "kor/l2/VlanTopoHelper.h"
#include "softchip/SoftChip.h"

namespace KorAgent {

using Bridging::Topology::PortState;

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
// The VLAN list of a topology; "none" for a topology holding none.
std::string noneIfEmpty(std::set<uint16_t> const& vlans) {
  return vlans.empty() ? "none" : VlanList::text(vlans);
}
}  // namespace

StpModule::StpModule(Agent* agent)
    : AgentModule(agent), topoConfig_(Vix::makePtr<Bridging::Topology::Config>("bridging/topology/config")),
      topoStatus_(Vix::makePtr<Bridging::Topology::Status>("bridging/topology/status")) {}

StpModule::~StpModule() = default;

Kor::StpSm* StpModule::stpSm() const { return stp_.ptr(); }

void StpModule::topologyAdd(std::string const& name, std::set<uint16_t> const& vlans) {
  if (name.empty()) fail("empty topology name");
  if (name == Kor::StpSm::kTapAggTopo) fail("topology name TapAggTopo is the tap-aggregation mode's own");
  topoConfig_->topologyIs(name, true);
  for (uint16_t v : vlans) topoConfig_->vidToTopoIs(v, name);
}

void StpModule::topologyDel(std::string const& name) {
  if (!topoConfig_->topologyHas(name)) fail("no topology " + name);
  std::vector<uint16_t> mapped;
  for (auto const& [vid, topo] : topoConfig_->vidToTopoMap())
    if (topo == name) mapped.push_back(vid);
  for (uint16_t v : mapped) topoConfig_->vidToTopoDel(v);
  topoConfig_->topologyDel(name);
}

void StpModule::portStateIs(Nollo::IntfId const& intf, std::string const& topo, std::optional<PortState> state) {
  if (intf.isNone()) fail("empty interface name");
  auto inst = topoStatus_->instStatus(topo);
  if (!state) {
    if (!inst || !inst->portStateHas(intf)) fail(intf.str() + " has no state in topology " + topo);
    inst->portStateDel(intf);
    inst->flushRequestDel(intf);
    if (inst->portStateMap().empty()) topoStatus_->instStatusDel(topo);
    return;
  }
  if (!inst) {
    inst = Vix::makePtr<Bridging::Topology::InstStatus>(topo);
    topoStatus_->instStatusIs(topo, inst);
  }
  inst->portStateIs(intf, *state);
}

void StpModule::flushRequest(Nollo::IntfId const& intf, std::string const& topo) {
  auto inst = topoStatus_->instStatus(topo);
  if (!inst || !inst->portStateHas(intf)) fail(intf.str() + " has no state in topology " + topo);
  inst->flushRequestIs(intf, inst->flushRequest(intf) + 1);
}

void StpModule::operationalModeIs(Kor::HwOperationalMode mode) {
  mode_ = mode;
  if (auto const& acsd = agent_->commonDataPtr()) acsd->operationalModeIs(mode);
}

void StpModule::doCreateRoots() {
  // The mode is the switch's, not the library's: each new common data starts in it.
  agent_->commonDataPtr()->operationalModeIs(mode_);
  auto const& acsd = agent_->commonDataPtr();
  Vix::Ptr<Kor::TopoHelper> helper = agent_->chip()->stp().topoHelper();
  if (vlanTopoHelper_)
    helper = Vix::makePtr<Kor::VlanTopoHelper>(Vix::ptrCast<Kor::VlanHelper>(acsd->vlanHelper()));
  stp_ = Kor::stpSmFactory(acsd, topoConfig_, topoStatus_, helper);
  stp_->defaultTopoIs(defaultTopo_);
}

void StpModule::defaultTopoIs(std::string const& name) {
  if (name == Kor::StpSm::kTapAggTopo) fail("topology name TapAggTopo is the tap-aggregation mode's own");
  defaultTopo_ = name;
  if (stp_) stp_->defaultTopoIs(name);
}

void StpModule::vlanTopoHelperIs(bool on) {
  if (on == vlanTopoHelper_) return;
  agent_->restart([&] {
    vlanTopoHelper_ = on;
    // What the chip's topologies held would still block frames.
    if (on) agent_->chip()->stp().topologiesClear();
  });
}

void StpModule::doStartLibrary() { stp_->initializedIs(true); }

void StpModule::doDestroyLibrary() { stp_ = nullptr; }

void StpModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"stp", "topology"}, "add NAME [vlan LIST] | del NAME",
                  "a spanning-tree topology and the VLANs (e.g. 10-20,30) it holds, or its removal", true,
                  [this](A& a) -> Apply {
                    bool const add = a.accept("add");
                    if (!add) a.keyword("del");
                    std::string name = a.next("topology name");
                    std::set<uint16_t> vlans;
                    if (add && a.accept("vlan")) vlans = VlanList::parsed(a.next("VLAN list"));
                    a.end();
                    if (add) return [=, this](std::ostream&) { topologyAdd(name, vlans); };
                    return [=, this](std::ostream&) { topologyDel(name); };
                  }});
  t.statementAdd({{"stp", "port"}, "INTF topology NAME state discarding|learning|forwarding|trapping|none",
                  "the protocol reports the port's state in the topology (none: no longer in it)", true,
                  [this](A& a) -> Apply {
                    Nollo::IntfId intf(a.next("interface"));
                    a.keyword("topology");
                    std::string topo = a.next("topology name");
                    a.keyword("state");
                    std::string const& word = a.next("port state");
                    std::optional<PortState> state = Bridging::Topology::portStateParsed(word);
                    if (!state && word != "none")
                      fail("expected discarding, learning, forwarding, trapping or none, got '" + word + "'");
                    a.end();
                    return [=, this](std::ostream&) { portStateIs(intf, topo, state); };
                  }});
  t.statementAdd({{"stp", "flush"}, "INTF topology NAME",
                  "the protocol asks to flush the MACs learned on the port in the topology", true,
                  [this](A& a) -> Apply {
                    Nollo::IntfId intf(a.next("interface"));
                    a.keyword("topology");
                    std::string topo = a.next("topology name");
                    a.end();
                    return [=, this](std::ostream&) { flushRequest(intf, topo); };
                  }});
  t.statementAdd({{"stp", "bpdu-trap"}, "on|off", "BPDUs to the CPU", true, [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { bpduTrappingIs(on); };
                  }});
  t.statementAdd({{"stp", "pvst"}, "on|off", "per-VLAN spanning tree in use", true, [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { pvstIs(on); };
                  }});
  t.statementAdd({{"mode"}, "regular|tap-aggregation",
                  "the switch's operational mode (tap aggregation sets spanning tree aside)", true,
                  [this](A& a) -> Apply {
                    std::string const& word = a.next("mode");
                    if (word != "regular" && word != "tap-aggregation")
                      fail("expected regular or tap-aggregation, got '" + word + "'");
                    Kor::HwOperationalMode mode = word == "regular" ? Kor::modeNormal : Kor::modeTapAgg;
                    a.end();
                    return [=, this](std::ostream&) { operationalModeIs(mode); };
                  }});
  t.statementAdd({{"stp", "default-topology"}, "NAME|none",
                  "the topology of every VLAN no topology names (none: such VLANs are under no spanning tree)",
                  true, [this](A& a) -> Apply {
                    std::string name = a.next("topology name");
                    if (name == "none") name.clear();
                    a.end();
                    return [=, this](std::ostream&) { defaultTopoIs(name); };
                  }});
  t.statementAdd({{"stp", "helper"}, "vlan|chip",
                  "spanning tree by VLAN membership or by the chip's topologies (restarts the library)", false,
                  [this](A& a) -> Apply {
                    std::string const& word = a.next("helper");
                    if (word != "vlan" && word != "chip") fail("expected vlan or chip, got '" + word + "'");
                    bool on = word == "vlan";
                    a.end();
                    return [=, this](std::ostream&) { vlanTopoHelperIs(on); };
                  }});
  t.statementAdd({{"chip", "stp-flush"}, "per-vlan|per-topology",
                  "the chip flushes a port's MACs per VLAN of the topology or per topology", false,
                  [this](A& a) -> Apply {
                    std::string const& word = a.next("flush kind");
                    if (word != "per-vlan" && word != "per-topology")
                      fail("expected per-vlan or per-topology, got '" + word + "'");
                    bool byVlan = word == "per-vlan";
                    a.end();
                    return [=, this](std::ostream&) { agent_->chip()->stp().softTopoHelper().flushByVlanIs(byVlan); };
                  }});
}

std::vector<AgentModule::InputGroup> StpModule::inputGroups() const {
  InputGroup g{60, "spanning tree", {}};
  std::map<std::string, std::set<uint16_t>> vlans;
  for (auto const& [vid, topo] : topoConfig_->vidToTopoMap()) vlans[topo].insert(vid);
  for (auto const& [name, on] : topoConfig_->topologyMap()) g.lines.push_back(name + " vlan " + noneIfEmpty(vlans[name]));
  return {g};
}

void StpModule::showsAdd() {
  agent_->showAdd("stp", [this](bool json) { return ShowRenderer::render(stpShow(), json); });
}

ShowModel StpModule::stpShow() const {
  using M = ShowModel;
  M m;
  Kor::StpSm const* sm = stp_.ptr();
  bool const tap = sm && sm->tapAggMode();
  m.fieldAdd("mode", "mode ", M::str(tap ? "tap-aggregation" : "regular"));
  m.fieldAdd("bpduTrapping", ", bpdu trapping ", M::flag(topoConfig_->bpduTrapping(), "on", "off"));
  m.fieldAdd("pvst", ", pvst ", M::flag(topoConfig_->pvst(), "on", "off"));
  // Shown only off the start, so the chip's usual show stays as it is.
  if (vlanTopoHelper_) m.fieldAdd("helper", ", helper ", M::str("vlan"));
  if (!defaultTopo_.empty()) m.fieldAdd("defaultTopology", ", default topology ", M::str(defaultTopo_));
  m.lineAdd("\ntopologies:\n");
  m.tableAdd("topologies", "  ", {M::col("name", "", 10), M::col("hwId", " hwid "), M::col("vlans", " vlans ")});
  if (tap) {
    m.rowAdd({M::str(Kor::StpSm::kTapAggTopo), M::num(uint64_t(sm->tapAggTopoId())),
              M::str(sm->tapAggVlanCount() == Kor::VlanId::max ? "1-4094"
                                                                 : std::to_string(sm->tapAggVlanCount()) + " vlans")});
  } else if (sm) {
    for (auto const& [name, topo] : sm->topoSmMap()) {
      std::set<uint16_t> vlans;
      auto it = sm->topoToVlanMap().find(name);
      if (it != sm->topoToVlanMap().end())
        for (auto const& [vlan, mapped] : it->second.mappedVlan()) vlans.insert(vlan.value());
      m.rowAdd({M::str(name), topo->topoId() ? M::num(uint64_t(topo->topoId())) : M::raw("null", "waiting"),
                M::str(noneIfEmpty(vlans))});
    }
  }
  m.lineAdd("ports:\n");
  m.tableAdd("ports", "  ",
             {M::col("topology", "", 10), M::col("intf", " ", 14), M::col("reported", " reported ", 10),
              M::col("state", " state ", 10), M::col("hw", " hw ")});
  auto stateCell = [](std::optional<PortState> s) {
    return s ? M::str(Bridging::Topology::toString(*s)) : M::raw("null", "-");
  };
  if (tap) {
    for (auto const& [intf, inHw] : sm->tapAggPorts()) {
      m.rowAdd({M::str(Kor::StpSm::kTapAggTopo), M::str(intf.str()), M::raw("null", "-"),
                M::str("forwarding"), inHw ? M::str("forwarding") : M::raw("null", "-")});
    }
  } else if (sm) {
    for (auto const& [name, topo] : sm->topoSmMap()) {
      std::set<Nollo::IntfId> ports;
      for (auto const& [intf, p] : topo->topoPortSmMap()) ports.insert(intf);
      for (auto const& [intf, s] : topo->wantState()) ports.insert(intf);
      for (auto const& intf : ports) {
        Kor::TopoPortSm const* p = topo->topoPortSm(intf);
        auto want = topo->wantState().find(intf);
        auto hw = topo->hwState().find(intf);
        m.rowAdd({M::str(name), M::str(intf.str()), stateCell(p ? p->lastReported() : std::nullopt),
                  stateCell(want == topo->wantState().end() ? std::nullopt : std::optional(want->second)),
                  stateCell(hw == topo->hwState().end() ? std::nullopt : std::optional(hw->second))});
      }
    }
  }
  // The chip's flush counters: the MAC table of this round keeps no entries to flush.
  m.lineAdd("flushes:\n");
  m.tableAdd("flushes", "  ", {M::col("per", "", 9), M::col("id", " "), M::col("intf", " ", 14), M::col("count", " ")});
  auto const& chip = agent_->chip()->stp();
  for (auto const& [k, n] : chip.topoFlushes())
    m.rowAdd({M::str("topology"), M::num(uint64_t(k.first)), M::str(k.second.str()), M::num(n)});
  for (auto const& [k, n] : chip.vlanFlushes())
    m.rowAdd({M::str("vlan"), M::num(k.first), M::str(k.second.str()), M::num(n)});
  return m;
}

void StpModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<StpSection>());
}

}  // namespace KorAgent
