#include "agent/routing/RoutingInputsModule.h"

#include <map>
#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/chip/ChipModule.h"
#include "agent/routing/RoutingInputsSection.h"
#include "agent/vrf/VrfModule.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/RedundancyMode.h"
#include "kor/records/L3Status.h"
#include "softchip/SoftChip.h"
#include "softchip/l3/SoftRoutingStatusSmHelper.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

// The route machines' fields of the hardware configuration; flags take
// on/off, deletionDelay a duration, maxNumRoutes a count (0: no limit).
constexpr char const* kHwFields[] = {"maxNumRoutes", "parentDropRoute", "deletionDelay", "icmpUnreachable",
                                     "greKeyForwarding"};

Urpf::UrpfStatus::Mode parseUrpfMode(std::string const& w) {
  if (w == "loose") return Urpf::UrpfStatus::Mode::loose;
  if (w == "strict") return Urpf::UrpfStatus::Mode::strict;
  if (w == "off" || w == "disabled") return Urpf::UrpfStatus::Mode::disabled;
  fail("expected loose, strict or off, got '" + w + "'");
}

}  // namespace

RoutingInputsModule::RoutingInputsModule(Agent* agent)
    : AgentModule(agent),
      bridgingConfig_(Vix::makePtr<Bridging::Config>("bridging/config")),
      urpfConfig_(Vix::makePtr<Urpf::Config>("urpf/config")),
      mlagStatus_(Vix::makePtr<Mlag::Status>("mlag/status")),
      mplsRoutingInfo_(Vix::makePtr<Mpls::RoutingInfo>("mpls/routing/info")) {
  bridgingConfig_->routerMacIs(Nollo::EthAddr(kDefaultRouterMac));
}

void RoutingInputsModule::routerMacIs(Nollo::EthAddr const& mac) {
  if (mac.isZero()) fail("router mac " + mac.str() + " is all zeros");
  if (mac.isMulticast()) fail("router mac " + mac.str() + " is a group address");
  bridgingConfig_->routerMacIs(mac);
}

void RoutingInputsModule::urpfEnabledIs(bool on) { urpfConfig_->enabledIs(on); }

void RoutingInputsModule::intfUrpfIs(Nollo::IntfId const& intf, bool v4, Urpf::UrpfStatus const& status) {
  bool const off = status.mode == Urpf::UrpfStatus::Mode::disabled;
  if (v4) {
    if (off) urpfConfig_->intfUrpfDel(intf);
    else urpfConfig_->intfUrpfIs(intf, status);
  } else {
    if (off) urpfConfig_->intfUrpf6Del(intf);
    else urpfConfig_->intfUrpf6Is(intf, status);
  }
}

void RoutingInputsModule::mlagActiveIs(bool on, Nollo::EthAddr const& peerMac) {
  if (on && (peerMac.isZero() || peerMac.isMulticast())) fail("mlag peer mac " + peerMac.str() + " is not a unicast address");
  peerMac_ = on ? peerMac : Nollo::EthAddr();
  if (auto const& acsd = agent_->commonDataPtr()) acsd->peerRouterMacIs(peerMac_);
  mlagStatus_->activeIs(on);
}

void RoutingInputsModule::doCreateHelpers() {
  auto const& acsd = agent_->commonDataPtr();
  acsd->redundancyModeIs(Redundancy::modeActive);
  acsd->peerRouterMacIs(peerMac_);
}

void RoutingInputsModule::mplsRoutingIs(bool on) { mplsRoutingInfo_->mplsRoutingEnabledIs(on); }

void RoutingInputsModule::mplsIntfIs(Nollo::IntfId const& intf, bool on) {
  if (on) mplsRoutingInfo_->mplsRoutingDisabledIntfDel(intf);
  else mplsRoutingInfo_->mplsRoutingDisabledIntfIs(intf, true);
}

bool RoutingInputsModule::hwFieldKnown(std::string const& name) {
  for (auto const* f : kHwFields)
    if (name == f) return true;
  return false;
}

bool RoutingInputsModule::hwFieldIsFlag(std::string const& name) {
  return name == "parentDropRoute" || name == "icmpUnreachable" || name == "greKeyForwarding";
}

void RoutingInputsModule::hwFieldIs(std::string const& name, double value) {
  auto& c = *agent_->module<ChipModule>().hwConfig();
  if (name == "maxNumRoutes") c.maxNumRoutesIs(uint64_t(value));
  else if (name == "parentDropRoute") c.parentDropRouteIs(value != 0);
  else if (name == "deletionDelay") c.deletionDelayIs(value);
  else if (name == "icmpUnreachable") c.icmpUnreachableIs(value != 0);
  else if (name == "greKeyForwarding") c.greKeyForwardingIs(value != 0);
  else fail("unknown hardware field '" + name + "'");
}

double RoutingInputsModule::hwField(std::string const& name) const {
  auto const& c = *agent_->module<ChipModule>().hwConfig();
  if (name == "maxNumRoutes") return double(c.maxNumRoutes());
  if (name == "parentDropRoute") return c.parentDropRoute();
  if (name == "deletionDelay") return c.deletionDelay();
  if (name == "icmpUnreachable") return c.icmpUnreachable();
  if (name == "greKeyForwarding") return c.greKeyForwarding();
  return 0;
}

bool RoutingInputsModule::deferredRouting() const {
  return agent_->module<VrfModule>().l3Config()->deferredRouting();
}

void RoutingInputsModule::deferredRoutingIs(bool on) { agent_->module<VrfModule>().l3Config()->deferredRoutingIs(on); }

void RoutingInputsModule::vrfRootInputsAdd(Kor::VrfRootSmInputs& v) const {
  v.bridgingConfig = bridgingConfig_;
  v.urpfConfig = urpfConfig_;
  v.mlagStatus = mlagStatus_;
  v.mplsRoutingInfo = mplsRoutingInfo_;
  v.routingHwConfig = agent_->module<ChipModule>().hwConfig();
}

void RoutingInputsModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<RoutingInputsSection>());
}

void RoutingInputsModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  t.statementAdd({{"router", "mac"}, "MAC|default", "the router MAC routed frames are sent to (default " +
                                                        std::string(kDefaultRouterMac) + ")",
                  true, [this](A& a) -> Statement::Apply {
                    std::string w = a.next("Ethernet address or default");
                    a.end();
                    auto mac = Nollo::EthAddr::parse(w == "default" ? kDefaultRouterMac : w);
                    if (!mac) fail("malformed Ethernet address '" + w + "'");
                    if (mac->isZero() || mac->isMulticast()) fail("router mac " + w + " is not a unicast address");
                    return [=, this](std::ostream&) { routerMacIs(*mac); };
                  }});
  t.statementAdd({{"urpf"}, "on|off | INTF loose|strict|off [allowDefault] [ipv4|ipv6]",
                  "uRPF on the switch, or one interface's check (both families unless one is named)", true,
                  [this](A& a) -> Statement::Apply {
                    std::string w = a.next("on, off or interface name");
                    if (w == "on" || w == "off") {
                      a.end();
                      bool on = w == "on";
                      return [=, this](std::ostream&) { urpfEnabledIs(on); };
                    }
                    Nollo::IntfId intf(w);
                    Urpf::UrpfStatus st;
                    st.mode = parseUrpfMode(a.next("uRPF mode"));
                    st.allowDefault = a.option("allowDefault");
                    bool v4 = true, v6 = true;
                    if (a.accept("ipv4")) v6 = false;
                    else if (a.accept("ipv6")) v4 = false;
                    a.end();
                    return [=, this](std::ostream&) {
                      if (v4) intfUrpfIs(intf, true, st);
                      if (v6) intfUrpfIs(intf, false, st);
                    };
                  }});
  t.statementAdd({{"mlag"}, "active PEER-MAC|inactive", "the MLAG status (active: routing on the peer's router MAC too)",
                  true, [this](A& a) -> Statement::Apply {
                    std::string w = a.next("active or inactive");
                    if (w != "active" && w != "inactive") fail("expected active or inactive, got '" + w + "'");
                    bool on = w == "active";
                    Nollo::EthAddr peer;
                    if (on) {
                      std::string m = a.next("peer's router MAC");
                      auto mac = Nollo::EthAddr::parse(m);
                      if (!mac) fail("malformed Ethernet address '" + m + "'");
                      if (mac->isZero() || mac->isMulticast()) fail("mlag peer mac " + m + " is not a unicast address");
                      peer = *mac;
                    }
                    a.end();
                    return [=, this](std::ostream&) { mlagActiveIs(on, peer); };
                  }});
  t.statementAdd({{"mpls"}, "on|off | INTF on|off", "MPLS routing on the switch, or switched off on one interface",
                  true, [this](A& a) -> Statement::Apply {
                    std::string w = a.next("on, off or interface name");
                    if (w == "on" || w == "off") {
                      a.end();
                      bool on = w == "on";
                      return [=, this](std::ostream&) { mplsRoutingIs(on); };
                    }
                    Nollo::IntfId intf(w);
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { mplsIntfIs(intf, on); };
                  }});
  t.statementAdd({{"deferred", "routing"}, "on|off",
                  "hand routes over before a VRF's routing first comes on (and let IPv6 aggregates cover routes)",
                  true, [this](A& a) -> Statement::Apply {
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { deferredRoutingIs(on); };
                  }});
  for (auto const* f : kHwFields) {
    std::string field = f;
    std::string syntax = hwFieldIsFlag(field) ? "on|off" : field == "deletionDelay" ? "DURATION" : "N";
    t.statementAdd({{"set", field}, syntax, "the route machines' " + field + " (hardware configuration)", false,
                    [this, field](A& a) -> Statement::Apply {
                      std::string w = a.next("value");
                      a.end();
                      double v = hwFieldIsFlag(field)        ? double(A::parseOnOff(w))
                                 : field == "deletionDelay" ? A::parseDuration(w)
                                                            : double(A::parseUnsigned(w, "route count"));
                      return [=, this](std::ostream&) { hwFieldIs(field, v); };
                    }});
  }
}

void RoutingInputsModule::showsAdd() {
  agent_->showAdd("routing", [this](bool json) { return ShowRenderer::render(routingShow(), json); });
}

// What the routing layer made of the inputs: the L3 status it wrote and the
// chip's router MACs and uRPF switch, then the inputs themselves.
ShowModel RoutingInputsModule::routingShow() const {
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  auto const& helper =
      static_cast<SoftChip::SoftRoutingStatusSmHelper const&>(*agent_->chip()->l3().routingStatusSmHelper());
  M m;
  m.lineAdd("routing inputs:\n");
  m.fieldAdd("routerMac", "  router mac ", M::str(bridgingConfig_->routerMac().str()));
  m.fieldAdd("routerMacProgrammed", ", programmed ", M::flag(l3.hardwareRouterMacProgrammed(), "yes", "no"));
  m.fieldAdd("chipRouterMac", ", chip ",
             M::str(helper.routerMac().enabled ? helper.routerMac().mac.str() : std::string("none")));
  m.lineAdd("\n");
  m.fieldAdd("mlagActive", "  mlag ", M::flag(mlagStatus_->active(), "active", "inactive"));
  m.fieldAdd("chipPeerRouterMac", ", chip peer mac ",
             M::str(helper.peerRouterMac().enabled ? helper.peerRouterMac().mac.str() : std::string("none")));
  m.lineAdd("\n");
  m.fieldAdd("mplsRouting", "  mpls ", M::flag(l3.mplsRoutingEnabled(), "on", "off"));
  m.fieldAdd("deferredRouting", ", deferred routing ", M::flag(deferredRouting(), "on", "off"));
  m.lineAdd("\n");
  m.fieldAdd("urpf", "  urpf ", M::flag(urpfConfig_->enabled(), "on", "off"));
  m.fieldAdd("urpfEnabled", ", enabled ", M::flag(l3.urpfEnabled(), "yes", "no"));
  m.fieldAdd("chipUrpf", ", chip ", M::flag(helper.urpfEnabled(), "on", "off"));
  m.lineAdd("\n");
  // Interfaces in name order, each family's state as the routing status
  // machines wrote it.
  std::map<std::string, std::pair<std::string, std::string>> intfs;
  auto text = [](auto const& s) {
    std::ostringstream o;
    o << s;
    return o.str();
  };
  for (auto const& [intf, st] : l3.urpf4StatusMap()) intfs[intf.str()].first = text(st);
  for (auto const& [intf, st] : l3.urpf6StatusMap()) intfs[intf.str()].second = text(st);
  m.tableAdd("urpfIntfs", "    ", {M::col("intf", "", 14), M::col("v4", " v4 ", 20), M::col("v6", " v6 ")});
  for (auto const& [name, st] : intfs)
    m.rowAdd({M::str(name), M::str(st.first.empty() ? "disabled" : st.first),
              M::str(st.second.empty() ? "disabled" : st.second)});
  m.lineAdd("  hardware config:");
  for (auto const* f : kHwFields) {
    std::string field = f;
    double v = hwField(field);
    M::Cell c = hwFieldIsFlag(field) ? M::flag(v != 0, "on", "off")
                : field == "deletionDelay" ? M::raw(text(v), text(v) + "s")
                                           : M::num(uint64_t(v));
    m.fieldAdd(field, " " + field + " ", c);
  }
  m.lineAdd("\n");
  m.tableAdd("chipSettings", "    chip ", {M::col("setting", "", 0), M::col("value", " ")});
  for (auto const& [key, value] : agent_->chip()->l3().settingsTable().entries()) m.rowAdd({M::str(key), M::str(value)});
  return m;
}

}  // namespace KorAgent
