#include "agent/neigh/NeighbourModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/mac/MacModule.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/intf/IntfModule.h"
#include "agent/chip/ChipModule.h"
#include "agent/vrf/VrfModule.h"
#include "quill/FecId.h"
#include "kor/records/AdjEntry.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/l3/VrfMachineFactories.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
}  // namespace

NeighbourModule::NeighbourModule(Agent* agent)
    : AgentModule(agent),
      arpVrfIdMap_(Vix::makePtr<Quill::Arp::VrfIdMap>("vrfIdMap")),
      arpTable_(Vix::makePtr<Quill::Arp::ArpTable>("arp")),
      neighTable_(Vix::makePtr<Quill::Arp::NeighTable>("neighbor")),
      bridgingStatus_(Vix::makePtr<Bridging::Status>("bridging/status")) {
  arpVrfIds_[Kor::VrfName("default")] = 0;
  arpVrfIdMap_->vrfNameIs(0, "default");
}

void NeighbourModule::doCreateHelpers() {
  l2AdjHelper_ = Kor::l2AdjHelperFactory(agent_->commonDataPtr(), agent_->l3StatusPtr(),
                                         agent_->module<ChipModule>().hwConfig(),
                                         agent_->module<IntfModule>().allIntfStatusDir(), agent_->chip()->adj().adjSmHelper());
  l2AdjHelper_->exitFnIs([this](int status) { agent_->doExit(status); });
}

void NeighbourModule::doStartLibrary() { l2AdjHelper_->initializedIs(true); }

void NeighbourModule::doDestroyLibrary() { l2AdjHelper_ = nullptr; }

uint32_t NeighbourModule::arpVrfId(Kor::VrfName const& name) {
  auto it = arpVrfIds_.find(name);
  if (it != arpVrfIds_.end()) return it->second;
  // Like the ARP agent: ids in order of first use, default is 0.
  uint32_t id = static_cast<uint32_t>(arpVrfIds_.size());
  arpVrfIds_[name] = id;
  arpVrfIdMap_->vrfNameIs(id, name.str());
  return id;
}

void NeighbourModule::arpAdd(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::EthAddr const& mac,
                             Nollo::IntfId const& intf) {
  if (intf.isNone()) fail("empty interface name");
  agent_->module<VrfModule>().checkAnnounced(vrf);
  uint32_t id = arpVrfId(vrf);
  Quill::Arp::ArpEntry e(mac, Quill::Arp::ArpState::reachable);
  if (ip.isV4()) arpTable_->arpEntryIs(Quill::Arp::ArpKey(id, ip.v4(), intf), e);
  else neighTable_->arpEntryIs(Quill::Arp::NeighKey(id, ip.v6(), intf), e);
}

void NeighbourModule::arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip) {
  auto it = arpVrfIds_.find(vrf);
  bool found = false;
  if (it != arpVrfIds_.end()) {
    if (ip.isV4()) {
      std::vector<Quill::Arp::ArpKey> gone;
      for (auto const& kv : arpTable_->arpEntryMap())
        if (kv.first.vrfId() == it->second && kv.first.addr() == ip.v4()) gone.push_back(kv.first);
      for (auto const& k : gone) arpTable_->arpEntryDel(k);
      found = !gone.empty();
    } else {
      std::vector<Quill::Arp::NeighKey> gone;
      for (auto const& kv : neighTable_->arpEntryMap())
        if (kv.first.vrfId() == it->second && kv.first.addr() == ip.v6()) gone.push_back(kv.first);
      for (auto const& k : gone) neighTable_->arpEntryDel(k);
      found = !gone.empty();
    }
  }
  if (!found) fail("no ARP entry " + ip.str() + " in vrf '" + vrf.str() + "'");
}

void NeighbourModule::arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::IntfId const& intf) {
  auto it = arpVrfIds_.find(vrf);
  bool found = false;
  if (it != arpVrfIds_.end()) {
    if (ip.isV4()) {
      Quill::Arp::ArpKey k(it->second, ip.v4(), intf);
      found = arpTable_->arpEntryHas(k);
      if (found) arpTable_->arpEntryDel(k);
    } else {
      Quill::Arp::NeighKey k(it->second, ip.v6(), intf);
      found = neighTable_->arpEntryHas(k);
      if (found) neighTable_->arpEntryDel(k);
    }
  }
  if (!found) fail("no ARP entry " + ip.str() + " on " + intf.str() + " in vrf '" + vrf.str() + "'");
}

// The chip learns, moves and ages: the MAC module's learned table, from
// which the MAC table machine writes the bridging status.
void NeighbourModule::macAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf) {
  agent_->module<MacModule>().learn(vlan, mac, intf, true);
}

void NeighbourModule::macMove(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf) {
  agent_->module<MacModule>().learn(vlan, mac, intf, false);
}

void NeighbourModule::macDel(Kor::VlanId vlan, Nollo::EthAddr const& mac) { agent_->module<MacModule>().age(vlan, mac); }

void NeighbourModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  // add and move read the same words: a MAC on an interface of a VLAN.
  auto macOp = [this](char const* op, char const* help,
                      void (NeighbourModule::*fn)(Kor::VlanId, Nollo::EthAddr const&, Nollo::IntfId const&)) {
    return Statement{{"mac", op}, "VLAN MAC INTF", help, true, [this, fn](A& a) -> Statement::Apply {
                       Kor::VlanId vlan = A::parseVlan(a.next("VLAN id"));
                       Nollo::EthAddr mac(a.next("MAC address"));
                       Nollo::IntfId intf(a.next("interface name"));
                       return [=, this](std::ostream&) { (this->*fn)(vlan, mac, intf); };
                     }};
  };
  t.statementAdd(macOp("add", "a MAC table entry: MAC learned in VLAN on INTF", &NeighbourModule::macAdd));
  t.statementAdd(macOp("move", "the MAC moves to another interface", &NeighbourModule::macMove));
  t.statementAdd({{"mac", "del"}, "VLAN MAC", "it leaves the MAC table", true, [this](A& a) -> Statement::Apply {
                    Kor::VlanId vlan = A::parseVlan(a.next("VLAN id"));
                    Nollo::EthAddr mac(a.next("MAC address"));
                    return [=, this](std::ostream&) { macDel(vlan, mac); };
                  }});
  t.statementAdd({{"arp", "add"}, "VRF IP MAC INTF", "an ARP entry (IPv4 address) or a neighbour entry (IPv6 address)",
                  true, [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Nollo::IpGenAddr ip(a.next("IP address"));
                    Nollo::EthAddr mac(a.next("MAC address"));
                    Nollo::IntfId intf(a.next("interface name"));
                    return [=, this](std::ostream&) { arpAdd(vrf, ip, mac, intf); };
                  }});
  t.statementAdd({{"arp", "del"}, "VRF IP", "remove it", true, [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Nollo::IpGenAddr ip(a.next("IP address"));
                    return [=, this](std::ostream&) { arpDel(vrf, ip); };
                  }});
}

std::vector<AgentModule::InputGroup> NeighbourModule::inputGroups() const {
  InputGroup arps{30, "arp", {}}, macs{40, "macs", {}};
  std::map<uint32_t, std::string> arpVrfName;
  for (auto const& [n, id] : arpVrfIds_) arpVrfName[id] = n.str();
  std::map<std::string, std::string> sorted;
  for (auto const& [k, e] : arpTable_->arpEntryMap())
    sorted[arpVrfName[k.vrfId()] + " " + k.addr().str() + " " + k.intf().str()] = e.ethAddr().str();
  for (auto const& [k, e] : neighTable_->arpEntryMap())
    sorted[arpVrfName[k.vrfId()] + " " + k.addr().str() + " " + k.intf().str()] = e.ethAddr().str();
  for (auto const& [k, m] : sorted) arps.lines.push_back(k + " " + m);
  for (auto const& [vlan, fdb] : bridgingStatus_->fdbStatusMap()) {
    std::map<std::string, std::string> byMac;
    for (auto const& [mac, host] : fdb->learnedHostMap()) byMac[mac.str()] = host.intf.str();
    for (auto const& [mac, intf] : byMac) macs.lines.push_back("vlan " + std::to_string(vlan) + " " + mac + " " + intf);
  }
  return {arps, macs};
}

void NeighbourModule::showsAdd() {
  agent_->showAdd("adj", [this](bool json) { return ShowRenderer::render(adjShow(), json); });
  agent_->showAdd("l2adj", [this](bool json) { return ShowRenderer::render(l2AdjShow(), json); });
}

ShowModel NeighbourModule::adjShow() const {
  // Every VRF's adjacency records with the L2 adjacency each is bound to.
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  M m;
  m.lineAdd("adjacencies:\n");
  m.tableAdd("adjs", "  ",
             {M::col("vrf", "", 10), M::col("fec", " fec "), M::col("ipv", " ipv"), M::col("routeType", " "),
              M::col("vias", " vias "), M::col("l2Adj", " l2adj "), M::col("state", " ")});
  for (auto const& [name, vs] : l3.vrfL3StatusMap()) {
    std::map<Quill::Fib::FecId, Vix::Ptr<Kor::AdjEntry>> sorted;
    for (auto const& [fecId, e] : vs->adjEntryListMap()) sorted[fecId] = e;
    for (auto const& [fecId, e] : sorted) {
      auto const& l2 = e->l2Adj();
      size_t vias = e->adjVia() ? e->adjVia()->viaList().size() : e->adjVia6() ? e->adjVia6()->viaList().size() : 0;
      m.rowAdd({M::str(name.str()), M::str(fecId.str()), M::num(uint64_t(e->ipVersion())), M::str(Kor::toString(e->routeType())),
                M::num(vias), l2 ? M::num(l2->index()) : M::raw("null", "-"),
                M::str(l2 ? Kor::toString(l2->state()) : "none")});
    }
  }
  return m;
}

ShowModel NeighbourModule::l2AdjShow() const {
  // The L2 adjacencies of the library (shared by every VRF) with their users.
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  std::map<uint64_t, Vix::Ptr<Kor::L2Adjacency>> sorted;
  for (auto const& [key, l2] : l3.l2AdjListMap()) sorted[key.index()] = l2;
  bool sharing = l2AdjHelper_ && l2AdjHelper_->adjSharing();
  bool pending = l2AdjHelper_ && l2AdjHelper_->pendingReset();
  M m;
  m.fieldAdd("adjSharing", "l2 adjacencies: sharing ", M::flag(sharing, "on", "off"));
  m.fieldAdd("pendingReset", "", M::flag(pending, ", reset pending", ""));
  m.fieldAdd("adjResourceFull", "", M::flag(l3.adjResourceFull(), ", resource full", ""));
  m.fieldAdd("sharedKeys", ", shared keys ", M::num(l3.nextHopsToL2AdjSize()));
  m.lineAdd("\n");
  m.tableAdd("l2adjs", "  ",
             {M::col("index"), M::col("state", " "), M::jsonOnly("shared"), M::col("users", " fecs"), M::col("via", ": ")});
  for (auto const& [index, l2] : sorted) {
    std::string usersJson, usersText;
    for (uint64_t u : l2->adjEntry()) {
      auto fec = Quill::Fib::FecId(u).str();
      usersJson += (usersJson.empty() ? "\"" : ", \"") + fec + "\"";
      usersText += " " + fec;
    }
    m.rowAdd({M::num(index), M::str(Kor::toString(l2->state())), M::flag(l2->shared(), "", ""),
              M::raw("[" + usersJson + "]", usersText), M::str(l2->via().str())});
  }
  return m;
}

}  // namespace KorAgent
