#include "agent/mac/MacModule.h"

#include <map>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/mac/MacSection.h"
#include "agent/neigh/NeighbourModule.h"
#include "kor/mac/MacAddrSm.h"
#include "kor/records/MacTable.h"
#include "softchip/mac/SoftMacAddrSmHelper.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

using Key = KorTypes::MacAddressTableEntry::Key;

// "<before><mac> in vlan <vlan><after>", built by appending (g++ 12 at -O3
// warns falsely, -Wrestrict, on "literal" + std::string).
std::string where(char const* before, Kor::VlanId vlan, Nollo::EthAddr const& mac, char const* after = "") {
  std::string s = before;
  s += mac.str();
  s += " in vlan ";
  s += std::to_string(vlan.value());
  s += after;
  return s;
}

std::string notUnicast(Nollo::EthAddr const& mac) {
  std::string s = "static MAC ";
  s += mac.str();
  s += " is not a unicast address";
  return s;
}
}  // namespace

MacModule::MacModule(Agent* agent)
    : AgentModule(agent), helper_(Vix::makePtr<SoftChip::SoftMacAddrSmHelper>()),
      routerMacTable_(Vix::makePtr<KorTypes::MacTable>("mac/router")),
      bridgingConfig_(Vix::makePtr<Bridging::Config>("bridging/config/mac")),
      mlagStatus_(Vix::makePtr<Mlag::Status>("mlag/status/mac")),
      flushRequestDir_(Vix::makePtr<Bridging::HostTableFlushRequestDir>("bridging/hostTableFlushRequest")) {
  bridgingConfig_->hostAgingTimeIs(kDefaultAgingTime);
}

MacModule::~MacModule() = default;

void MacModule::doCreateRoots() {
  macAddrSm_ = Kor::macAddrSmFactory(agent_->commonDataPtr(), helper_->learnedTable(), routerMacTable_,
                                     bridgingConfig_, mlagStatus_, flushRequestDir_,
                                     agent_->module<NeighbourModule>().bridgingStatus(), helper_);
}

void MacModule::doStartLibrary() { macAddrSm_->initializedIs(true); }

void MacModule::doDestroyLibrary() { macAddrSm_ = nullptr; }

void MacModule::learn(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf, bool fresh) {
  if (intf.isNone()) fail("empty interface name");
  Key const key(mac, vlan);
  bool const had = helper_->learnedTable()->macEntryHas(key);
  if (fresh && had) fail(where("MAC ", vlan, mac, " already learned"));
  if (!fresh && !had) fail(where("no MAC ", vlan, mac));
  if (!helper_->learningOn(intf)) fail(intf.str() + " does not learn");
  uint32_t moves = 0;
  if (auto e = helper_->learnedTable()->macEntry(key)) moves = e->moves() + (e->intf() == intf ? 0 : 1);
  if (!helper_->learn(key, intf, moves)) fail(where("the chip refused MAC ", vlan, mac, ": table full or static"));
}

void MacModule::age(Kor::VlanId vlan, Nollo::EthAddr const& mac) {
  if (!helper_->age(Key(mac, vlan))) fail(where("no MAC ", vlan, mac));
}

void MacModule::staticAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf) {
  if (intf.isNone()) fail("empty interface name");
  if (mac.isMulticast()) fail(notUnicast(mac));
  auto cfg = bridgingConfig_->fdbConfig(vlan.value());
  if (!cfg) cfg = bridgingConfig_->newFdbConfig(vlan.value());
  cfg->configuredHostIs(mac, Bridging::ConfiguredHost{intf, Bridging::EntryType::configuredStaticMac});
}

void MacModule::staticDel(Kor::VlanId vlan, Nollo::EthAddr const& mac) {
  auto cfg = bridgingConfig_->fdbConfig(vlan.value());
  if (!cfg || !cfg->configuredHostHas(mac)) fail(where("no static MAC ", vlan, mac));
  cfg->configuredHostDel(mac);
  if (cfg->configuredHostSize() == 0) bridgingConfig_->fdbConfigDel(vlan.value());
}

void MacModule::agingTimeIs(uint32_t seconds) { bridgingConfig_->hostAgingTimeIs(seconds); }

void MacModule::learningIs(Nollo::IntfId const& intf, bool on) {
  if (!intf.isEthernet() && !intf.isPortChannel()) fail(intf.str() + " is not an Ethernet port or port channel");
  // On is the default: the entry goes rather than saying so.
  if (on) bridgingConfig_->macLearningDel(intf);
  else bridgingConfig_->macLearningIs(intf, false);
}

void MacModule::flush(uint16_t vlan, Nollo::IntfId const& intf) {
  std::string name = "flush";
  name += std::to_string(++flushRequests_);
  flushRequestDir_->hostTableFlushRequestIs(name, Bridging::HostTableFlushRequest{vlan, intf});
}

void MacModule::peerLinkIs(Nollo::IntfId const& intf) {
  if (!intf.isNone() && !intf.isEthernet() && !intf.isPortChannel())
    fail(intf.str() + " is not an Ethernet port or port channel");
  mlagStatus_->peerLinkIs(intf);
  mlagStatus_->activeIs(!intf.isNone());
}

void MacModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<MacSection>());
}

void MacModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  t.statementAdd({{"mac", "static"}, "add VLAN MAC INTF | del VLAN MAC",
                  "a static MAC entry: never replaced by a learned one, never aged", true,
                  [this](A& a) -> Statement::Apply {
                    bool add = a.accept("add");
                    if (!add) a.keyword("del");
                    Kor::VlanId vlan = A::parseVlan(a.next("VLAN id"));
                    Nollo::EthAddr mac(a.next("MAC address"));
                    Nollo::IntfId intf;
                    if (add) intf = Nollo::IntfId(a.next("interface name"));
                    a.end();
                    return [=, this](std::ostream&) {
                      if (add) staticAdd(vlan, mac, intf);
                      else staticDel(vlan, mac);
                    };
                  }});
  t.statementAdd({{"mac", "aging"}, "SECONDS", "the host aging time (300 at start)", false,
                  [this](A& a) -> Statement::Apply {
                    auto s = static_cast<uint32_t>(A::parseUnsigned(a.next("seconds"), "aging time", 1000000));
                    a.end();
                    return [=, this](std::ostream&) { agingTimeIs(s); };
                  }});
  t.statementAdd({{"mac", "learning"}, "INTF on|off", "hardware learning on the interface (on at start)", true,
                  [this](A& a) -> Statement::Apply {
                    Nollo::IntfId intf(a.next("interface name"));
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { learningIs(intf, on); };
                  }});
  t.statementAdd({{"mac", "flush"}, "[vlan VLAN] [intf INTF]",
                  "flush learned entries (of the VLAN, on the interface; all without either)", true,
                  [this](A& a) -> Statement::Apply {
                    uint16_t vlan = 0;
                    Nollo::IntfId intf;
                    while (a.more()) {
                      if (a.option("vlan")) vlan = A::parseVlan(a.next("VLAN id")).value();
                      else if (a.option("intf")) intf = Nollo::IntfId(a.next("interface name"));
                      else a.keyword("vlan or intf");
                    }
                    return [=, this](std::ostream&) { flush(vlan, intf); };
                  }});
  t.statementAdd({{"mac", "peer-link"}, "INTF|none", "the MLAG peer link: it does not learn", true,
                  [this](A& a) -> Statement::Apply {
                    std::string w = a.next("interface name or none");
                    a.end();
                    Nollo::IntfId intf = w == "none" ? Nollo::IntfId() : Nollo::IntfId(w);
                    return [=, this](std::ostream&) { peerLinkIs(intf); };
                  }});
}

void MacModule::showsAdd() {
  agent_->showAdd("mac", [this](bool json) { return ShowRenderer::render(macShow(), json); });
}

ShowModel MacModule::macShow() const {
  using M = ShowModel;
  M m;
  std::string head = "mac table (aging ";
  head += std::to_string(bridgingConfig_->hostAgingTime());
  head += " s):\n";
  m.lineAdd(head);
  auto const* sm = macAddrSm_.ptr();
  m.fieldAdd("flushes", "  flushes ", M::num(sm ? sm->execFlushCount() : 0));
  m.fieldAdd("unprogrammed", " unprogrammed ", M::num(sm ? sm->unprogrammedCount() : 0));
  m.lineAdd("\n");
  m.tableAdd("macs", "  ",
             {M::col("vlan", "", 5), M::col("mac", " ", 18), M::col("intf", " ", 14), M::col("source", " ", 8),
              M::col("moves", " moves "), M::col("chip", " chip ")});
  auto const& status = *agent_->module<NeighbourModule>().bridgingStatus();
  for (auto const& [fid, fdb] : status.fdbStatusMap()) {
    std::map<std::string, Bridging::LearnedHost> sorted;
    for (auto const& [mac, host] : fdb->learnedHostMap()) sorted[mac.str()] = host;
    for (auto const& [mac, host] : sorted) {
      char const* source = "learned";
      switch (host.entryType) {
        case Bridging::EntryType::configuredStaticMac: source = "static"; break;
        case Bridging::EntryType::learnedRemoteMac:
        case Bridging::EntryType::configuredRemoteMac:
        case Bridging::EntryType::peerLearnedRemoteMac: source = "remote"; break;
        case Bridging::EntryType::learnedDynamicMac: break;
      }
      Key const key(Nollo::EthAddr(mac), static_cast<int64_t>(fid));
      auto const& hosts = helper_->hosts();
      auto h = hosts.find(key);
      bool const inChip = h != hosts.end() && h->second.intf == host.intf;
      m.rowAdd({M::num(fid), M::str(mac), M::str(host.intf.str()), M::str(source), M::num(host.moves),
                M::flag(inChip, "yes", "no")});
    }
  }
  return m;
}

}  // namespace KorAgent
