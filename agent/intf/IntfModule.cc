#include "agent/intf/IntfModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/StatementTable.h"
#include "agent/intf/InterfaceSection.h"
#include "agent/vrf/VrfModule.h"
#include "kor/records/L3Status.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
}  // namespace

IntfModule::IntfModule(Agent* agent)
    : AgentModule(agent),
      intfVlanIdTable_(Vix::makePtr<IntfVlanId::Table>("intfVlanIdTable")),
      ipStatus_(Vix::makePtr<Ip::Status>("ipStatus")),
      ip6Status_(Vix::makePtr<Ip6::Status>("ip6Status")),
      allIntfStatusDir_(Vix::makePtr<Interface::AllIntfStatusDir>("interface/status/all")) {
  // The L3 status resolves an interface's VLAN through this table.
  agent->l3StatusPtr()->intfVlanIdTableIs(intfVlanIdTable_);
}

void IntfModule::checkAdded(Nollo::IntfId const& intf) const {
  if (!intfs_.count(intf)) fail("interface " + intf.str() + " not added");
}

void IntfModule::intfAdd(Nollo::IntfId const& intf, std::optional<Kor::VrfName> const& vrf,
                         std::optional<Kor::VlanId> const& vlan, bool routed, bool up) {
  if (intf.isNone()) fail("empty interface name");
  if (intfs_.count(intf)) fail("interface " + intf.str() + " already added");
  if (vrf) agent_->module<VrfModule>().checkAnnounced(*vrf);
  if (routed && intf.isVlan()) fail("a VLAN interface cannot be a routed port");
  // A sub-interface is numbered by the VLAN it carries (Ethernet1.100 is
  // VLAN 100 on Ethernet1), so its number is a VLAN id.
  if (intf.subIntfId() > Kor::VlanId::max)
    fail("sub-interface number " + std::to_string(intf.subIntfId()) + " of " + intf.str() + " is not a VLAN id (1-" +
         std::to_string(Kor::VlanId::max) + ")");
  std::string v = vrf ? vrf->str() : std::string();
  intfs_[intf] = v;
  allIntfStatusDir_->intfStatusIs(intf, Interface::IntfStatus{up, routed});
  if (vlan) intfVlanIdTable_->vlanIdIs(intf, vlan->value());
  if (vrf) {
    ipStatus_->currentVrfIs(intf, v);
    ip6Status_->currentVrfIs(intf, v);
  }
}

void IntfModule::intfDel(Nollo::IntfId const& intf) {
  checkAdded(intf);
  intfs_.erase(intf);
  intfVlanIdTable_->vlanIdDel(intf);
  ipStatus_->currentVrfDel(intf);
  ip6Status_->currentVrfDel(intf);
  allIntfStatusDir_->intfStatusDel(intf);
}

void IntfModule::intfLinkIs(Nollo::IntfId const& intf, bool up) {
  checkAdded(intf);
  auto& dir = *allIntfStatusDir_;
  auto st = dir.intfStatus(intf);
  st.operUp = up;
  dir.intfStatusIs(intf, st);
}

void IntfModule::intfVlanIs(Nollo::IntfId const& intf, std::optional<Kor::VlanId> const& vlan) {
  checkAdded(intf);
  auto& table = *intfVlanIdTable_;
  if (vlan) table.vlanIdIs(intf, vlan->value());
  else table.vlanIdDel(intf);
}

void IntfModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<InterfaceSection>());
}

void IntfModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  t.statementAdd({{"intf", "add"}, "INTF [vrf NAME] [vlan N] [routed] [down]",
                  "an interface, optionally in a VRF and with a VLAN; routed: a routed port; down: its link down",
                  true, [this](A& a) -> Statement::Apply {
                    Nollo::IntfId intf(a.next("interface name"));
                    std::optional<Kor::VrfName> vrf;
                    std::optional<Kor::VlanId> vlan;
                    bool routed = false, up = true;
                    while (a.more()) {
                      if (a.option("vrf")) vrf = Kor::VrfName(a.next("VRF name"));
                      else if (a.option("vlan")) vlan = A::parseVlan(a.next("VLAN id"));
                      else if (a.option("routed")) routed = true;
                      else if (a.option("down")) up = false;
                      else a.end();
                    }
                    return [=, this](std::ostream&) { intfAdd(intf, vrf, vlan, routed, up); };
                  }});
  t.statementAdd({{"intf", "del"}, "INTF", "remove it", true, [this](A& a) -> Statement::Apply {
                    Nollo::IntfId intf(a.next("interface name"));
                    return [=, this](std::ostream&) { intfDel(intf); };
                  }});
  for (bool up : {true, false})
    t.statementAdd({{"intf", up ? "up" : "down"}, "INTF", up ? "its link comes up" : "its link goes down", true,
                    [this, up](A& a) -> Statement::Apply {
                      Nollo::IntfId intf(a.next("interface name"));
                      return [=, this](std::ostream&) { intfLinkIs(intf, up); };
                    }});
  t.statementAdd({{"intf", "vlan"}, "INTF N|none", "change (or remove) its VLAN", true, [this](A& a) -> Statement::Apply {
                    Nollo::IntfId intf(a.next("interface name"));
                    std::string const& v = a.next("VLAN id or none");
                    std::optional<Kor::VlanId> vlan;
                    if (v != "none") vlan = A::parseVlan(v);
                    return [=, this](std::ostream&) { intfVlanIs(intf, vlan); };
                  }});
}

std::vector<AgentModule::InputGroup> IntfModule::inputGroups() const {
  InputGroup intfs{20, "interfaces", {}};
  for (auto const& [intf, vrf] : intfs_) {
    std::string s = intf.str();
    if (!vrf.empty()) s += " vrf " + vrf;
    if (intfVlanIdTable_->vlanIdHas(intf)) s += " vlan " + std::to_string(intfVlanIdTable_->vlanId(intf));
    auto st = allIntfStatusDir_->intfStatus(intf);
    if (st.routedPort) s += " routed";
    if (!st.operUp) s += " down";
    intfs.lines.push_back(s);
  }
  return {intfs};
}

}  // namespace KorAgent

