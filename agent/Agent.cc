#include "agent/Agent.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "agent/AgentInputs.h"
#include "agent/AgentShows.h"
#include "agent/JsonString.h"
#include "agent/ScenarioRunner.h"
#include "kor/adj/AdjEntry.h"
#include "kor/adj/AdjSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/TractoLevels.h"
#include "kor/l3/L3Status.h"
#include "kor/l3/VrfL3Status.h"
#include "kor/l3/VrfRoot.h"
#include "kor/l3/VrfRootSm.h"
#include "softchip/adj/SoftAdjSmHelper.h"
#include "softchip/l3/RouteResolverSm.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

bool traceToStderr = false;

// The VRF root's settings the scenario may change, with the agent's defaults.
struct Knob {
  char const* name;
  double value;
  bool integer;
};
constexpr Knob kKnobs[] = {
    {"totalTimeForRouteUpdates", 0.2, false},
    {"deleteReviewInterval", 1.0, false},
    {"fbuPriorityProcessingStartDelay", 10.0, false},
    {"fbuPriorityProcessingV4First", 30.0, false},
    {"fbuPriorityProcessingEndInterval", 30.0, false},
    {"fbuRouteProcessQuantaMax", 0.05, false},
    {"fbuRouteProcessQuantaMin", 0.015, false},
    {"fbuAdjProcessQuantaMin", 0.015, false},
    {"reniceValue", 0.0, true},
};

Knob const* knobFind(std::string const& name) {
  for (auto const& k : kKnobs)
    if (name == k.name) return &k;
  return nullptr;
}

char const* kShows[] = {"vrfs", "l3", "chip", "inputs", "adj", "l2adj", "routes", "fpm", "kernel"};

// A FEC id is unique across the VRFs' FEC tables, but a route machine reads
// only its own VRF's table: a route naming another VRF's FEC would stay
// unprogrammed for good, so it is refused.
void checkFec(Ledra::EntityManager* em, std::map<uint64_t, Kor::VrfName> const& fecVrf, Kor::VrfName const& vrf,
              Quill::Fib::FecId const& fecId, bool v6) {
  std::string const fec = std::string(v6 ? "IPv6" : "IPv4") + " FEC " + std::to_string(fecId.index());
  auto it = fecVrf.find(fecId.index());
  bool has = it != fecVrf.end() && (v6 ? em->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecHas(fecId)
                                       : em->forwardingStatus<Nollo::Ipv4>(it->second.str())->fecHas(fecId));
  if (!has) fail("no " + fec);
  if (it->second != vrf) fail(fec + " is in vrf '" + it->second.str() + "', not in '" + vrf.str() + "'");
}

// A daemon's request is answered from inside its loop: running the loop from
// there would answer the same client again and recurse.
constexpr char kRunRefused[] = "run refused: the daemon's time is real and its loop runs by itself (run is for scenario files)";

bool isCommandCode(std::string const& word) {
  static char const* const codes[] = {"FR4", "FR6", "FF4", "FF6", "AR4", "AR6", "AA3", "AA2", "SR4u", "SR6u"};
  return std::any_of(std::begin(codes), std::end(codes), [&](char const* c) { return word == c; });
}

}  // namespace

Agent::Agent(Vix::Ptr<Vix::TimeSource> ts)
    : loop_(Vix::makePtr<Vix::ActivityLoop>(ts)),
      chip_(Vix::makePtr<SoftChip::SoftChip>()),
      in_(new AgentInputs()),
      logs_(Vix::makePtr<Vix::MemoryLogSink>()),
      traces_(Vix::makePtr<TraceTee>()),
      exitFn_([](int status) {
        std::cout.flush();
        std::exit(status);
      }),
      libraryRestart_(loop_.ptr(), [this] { doRestartForLibrary(); }) {
  for (auto const& k : kKnobs) in_->knobs_[k.name] = k.value;
  traces_->toStderrIs(traceToStderr);
  Vix::logSinkIs(logs_);
  Vix::traceSinkIs(traces_);
  doCreateLibrary();
}

Agent::~Agent() {
  doDestroyLibrary();
  if (Vix::traceSink() == traces_.ptr()) Vix::traceSinkIs(nullptr);
  if (Vix::logSink() == logs_) Vix::logSinkIs(Vix::makePtr<Vix::StderrLogSink>());
  delete in_;
}

void Agent::traceToStderrIs(bool on) { traceToStderr = on; }

// ---------------------------------------------------------------------------
// The library's objects.

Kor::L3Status const* Agent::l3Status() const { return in_->l3Status_.ptr(); }

void Agent::doCreateLibrary() {
  // The common data comes first: every other factory takes it.
  acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
  acsd_->fbuFastBootIs(in_->fastBoot_);
  if (in_->tracto_) acsd_->tractoLevelsIs(*in_->tracto_);
  doApplyLags();
  // One L2 adjacency helper for every VRF, before the VRF root hands it on.
  chip_->adj().softAdjSmHelper().l3StatusIs(in_->l3Status_);
  chip_->l3().softVrfHelper().l3StatusIs(in_->l3Status_);
  l2AdjHelper_ = Vix::makePtr<Kor::L2AdjHelper>(acsd_, in_->l3Status_, in_->hwConfig_, in_->allIntfStatusDir_,
                                                chip_->adj().adjSmHelper());
  l2AdjHelper_->exitFnIs([this](int status) { exitFn_(status); });
  // The resolver is in place before any route machine hands a route over.
  chip_->l3().routeResolverIs(Vix::makePtr<SoftChip::RouteResolverSm>(chip_.ptr(), in_->l3Status_, in_->hwStatus_));
  doCreateVrfRoot();
}

void Agent::doDestroyLibrary() {
  // The route resolver first: whatever the dying machines take out of the
  // hand-over lists stays in the chip for the next run to claim. Children
  // before the common data they hold on to; the adjacency helper after the
  // VRF machines that call it.
  chip_->l3().routeResolverIs(nullptr);
  doDestroyVrfRoot();
  l2AdjHelper_ = nullptr;
  if (acsd_) {
    acsd_->doCleanup();
    acsd_ = nullptr;
  }
}

void Agent::init() {
  if (initialized_) fail("already initialized");
  initialized_ = true;
  doStartLibrary();
}

void Agent::doStartLibrary() {
  // The adjacency helper decides the sharing mode and reads what the chip
  // holds before any adjacency machine asks it for an L2 adjacency. The
  // common data then runs its own first pass and tells every root state
  // machine, in creation order, to run its first full pass over the inputs.
  l2AdjHelper_->initializedIs(true);
  // The library ends its own sync: the VRF root deletes the chip's
  // unclaimed L2 adjacencies on its machines' events, whoever runs the loop.
  acsd_->initializedIs(true);
}

void Agent::doDropRunOutputs() {
  // What the old run kept in the L3 status about its own objects (adjacency
  // records, L2 adjacencies and the sharing index) goes with it; the new run
  // rebuilds them from the FEC tables and claims the chip's L2 adjacencies
  // back. VRF ids, next-hop lists and the rest stay, as in the state database.
  auto& l3 = *in_->l3Status_;
  l3.initializedIs(false);
  for (auto const& [name, vs] : l3.vrfL3StatusMap()) {
    vs->adjEntryReviewListDelAll();
    vs->adjEntryListDelAll();
    vs->nextHopToAdjEntryDelAll();
    vs->nextHopToAdj6EntryDelAll();
  }
  l3.nextHopsToL2AdjDelAll();
  l3.l2AdjListDelAll();
  // The route hand-over lists and what the old resolver raised: the new run
  // hands every route over again and walks the chip for the rest.
  l3.adjInfoListDelAll();
  l3.adjInfo6ListDelAll();
  l3.ip6OverflowRouteDelAll();
  l3.routingResourceFullIs(false);
  l3.ip6RoutingResourceFullIs(false);
}

void Agent::restart(std::function<void()> const& whileDown) {
  doDestroyLibrary();
  doDropRunOutputs();
  if (whileDown) whileDown();
  ++restarts_;
  doCreateLibrary();
  // The inputs were all in before: the new objects start as the old ones did.
  if (initialized_) doStartLibrary();
}

void Agent::doCheckHorizon(Vix::Seconds d) const {
  if (daemon_) fail(kRunRefused);
  // Past the horizon a double no longer tells a timer due in a microsecond
  // from one due now, and a retry armed for "now + delay" fires forever.
  if (!(d >= 0) || !(loop_->now() + d <= kClockHorizon))
    fail("the loop's clock would pass its horizon of " + std::to_string(int64_t(kClockHorizon)) + "s");
}

void Agent::daemonIs(bool on) {
  daemon_ = on;
  traces_->limitIs(on ? kDaemonKept : 0);
  logs_->limitIs(on ? kDaemonKept : 0);
  if (on) exitFn_ = [this](int) { libraryRestart_.timeMinEarlierIs(loop_->now()); };
}

void Agent::doRestartForLibrary() {
  // On the loop, never inside the library's own callback: the objects that
  // asked are destroyed here.
  restart();
  std::fprintf(stderr, "kor-agent: the library restarted in process (its adjacency sharing mode changed)\n");
}

void Agent::runFor(Vix::Seconds d) {
  doCheckHorizon(d);
  loop_->runFor(d);
}

bool Agent::runUntilIdle() {
  doCheckHorizon(kIdleLimit);
  return loop_->runUntilIdle(kIdleLimit);
}

// ---------------------------------------------------------------------------
// Inputs.

void Agent::doAnnounce(Kor::VrfName const& name) {
  // A fresh routing information entity per family: announcing it again under
  // the same name is what "replace" means to the VRF root.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  auto info6 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  info4->routingEnabledIs(true);
  info6->routingEnabledIs(true);
  if (name.isDefault()) {
    in_->packedArgs_->routingInfoIs(info4);
    in_->packedArgs_->routing6InfoIs(info6);
  }
  in_->allVrfStatusLocal_->vrfIs(name.str(), true);
  in_->vrfInfoDir_->vrfInfoIs(name.str(), info4);
  in_->vrf6InfoDir_->vrfInfoIs(name.str(), info6);
}

void Agent::vrfAdd(Kor::VrfName const& name) {
  if (name.empty()) fail("empty VRF name");
  if (in_->vrfInfoDir_->vrfInfoHas(name.str())) fail("vrf '" + name.str() + "' already announced");
  doAnnounce(name);
}

void Agent::vrfDel(Kor::VrfName const& name) {
  if (name.isDefault()) fail("vrf 'default' cannot be withdrawn");
  if (!in_->vrfInfoDir_->vrfInfoHas(name.str())) fail("vrf '" + name.str() + "' is not announced");
  in_->vrf6InfoDir_->vrfInfoDel(name.str());
  in_->vrfInfoDir_->vrfInfoDel(name.str());
  in_->allVrfStatusLocal_->vrfDel(name.str());
}

void Agent::vrfReplace(Kor::VrfName const& name) {
  if (!in_->vrfInfoDir_->vrfInfoHas(name.str())) fail("vrf '" + name.str() + "' is not announced");
  // The IPv4 entity is the one the VRF root compares with the one its root
  // was created from; replacing only it gives one delete-and-create.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  info4->routingEnabledIs(true);
  if (name.isDefault()) in_->packedArgs_->routingInfoIs(info4);
  in_->vrfInfoDir_->vrfInfoIs(name.str(), info4);
}

void Agent::routingIs(Kor::VrfName const& name, bool v4, bool v6, bool on) {
  auto info4 = in_->vrfInfoDir_->vrfInfo(name.str());
  auto info6 = in_->vrf6InfoDir_->vrfInfo(name.str());
  if (!info4 || !info6) fail("vrf '" + name.str() + "' is not announced");
  if (v4) info4->routingEnabledIs(on);
  if (v6) info6->routingEnabledIs(on);
}

void Agent::maxVrfsIs(uint32_t n) { in_->vrfCapability_->maxVrfsIs(n); }

bool Agent::knobKnown(std::string const& name) { return knobFind(name) != nullptr; }

bool Agent::knobIsInteger(std::string const& name) {
  auto* k = knobFind(name);
  return k && k->integer;
}

double Agent::knobDefault(std::string const& name) {
  auto* k = knobFind(name);
  return k ? k->value : 0;
}

std::string Agent::reload() {
  if (!reloadFn_) fail("no configuration file to reload (kor-agent --config FILE)");
  return reloadFn_();
}

void Agent::knobIs(std::string const& name, double value) {
  if (!knobKnown(name)) fail("unknown knob '" + name + "'");
  // A nice value is what setpriority() takes.
  if (name == "reniceValue" && (value < -20 || value > 19))
    fail("bad reniceValue " + std::to_string(int64_t(value)) + ": must be -20..19");
  in_->knobs_[name] = value;
  doApplyKnobs();
}

void Agent::fastBootIs(bool on) {
  in_->fastBoot_ = on;
  acsd_->fbuFastBootIs(on);
}

void Agent::traceIs(std::string const& field, std::string const& levels) {
  auto i = Kor::TractoLevels::fieldIndex(field);
  if (!i) fail("unknown trace field '" + field + "'");
  uint32_t mask;
  if (!Vix::TraceFacility::parseLevels(levels, &mask)) fail("bad trace levels '" + levels + "'");
  Kor::TractoLevels t = in_->tracto_ ? *in_->tracto_ : acsd_->tractoLevels();
  t.fieldIs(*i, levels);
  in_->tracto_ = t;
  acsd_->tractoLevelsIs(t);
  traces_->keepIs(Kor::TractoLevels::facilityName(*i));
}

void Agent::intfAdd(Nollo::IntfId const& intf, std::optional<Kor::VrfName> const& vrf,
                    std::optional<Kor::VlanId> const& vlan, bool routed, bool up) {
  if (intf.isNone()) fail("empty interface name");
  if (in_->intfs_.count(intf)) fail("interface " + intf.str() + " already added");
  if (vrf && !in_->vrfInfoDir_->vrfInfoHas(vrf->str())) fail("vrf '" + vrf->str() + "' is not announced");
  if (routed && intf.isVlan()) fail("a VLAN interface cannot be a routed port");
  // A sub-interface is numbered by the VLAN it carries (Ethernet1.100 is
  // VLAN 100 on Ethernet1), so its number is a VLAN id.
  if (intf.subIntfId() > Kor::VlanId::max)
    fail("sub-interface number " + std::to_string(intf.subIntfId()) + " of " + intf.str() + " is not a VLAN id (1-" +
         std::to_string(Kor::VlanId::max) + ")");
  std::string v = vrf ? vrf->str() : std::string();
  in_->intfs_[intf] = v;
  in_->allIntfStatusDir_->intfStatusIs(intf, Interface::IntfStatus{up, routed});
  if (vlan) in_->intfVlanIdTable_->vlanIdIs(intf, vlan->value());
  if (vrf) {
    in_->ipStatus_->currentVrfIs(intf, v);
    in_->ip6Status_->currentVrfIs(intf, v);
  }
}

void Agent::intfDel(Nollo::IntfId const& intf) {
  if (!in_->intfs_.count(intf)) fail("interface " + intf.str() + " not added");
  in_->intfs_.erase(intf);
  in_->intfVlanIdTable_->vlanIdDel(intf);
  in_->ipStatus_->currentVrfDel(intf);
  in_->ip6Status_->currentVrfDel(intf);
  in_->allIntfStatusDir_->intfStatusDel(intf);
}

void Agent::intfLinkIs(Nollo::IntfId const& intf, bool up) {
  if (!in_->intfs_.count(intf)) fail("interface " + intf.str() + " not added");
  auto st = in_->allIntfStatusDir_->intfStatus(intf);
  st.operUp = up;
  in_->allIntfStatusDir_->intfStatusIs(intf, st);
}

void Agent::intfVlanIs(Nollo::IntfId const& intf, std::optional<Kor::VlanId> const& vlan) {
  if (!in_->intfs_.count(intf)) fail("interface " + intf.str() + " not added");
  if (vlan) in_->intfVlanIdTable_->vlanIdIs(intf, vlan->value());
  else in_->intfVlanIdTable_->vlanIdDel(intf);
}

void Agent::doApplyLags() {
  for (auto const& [lag, ports] : in_->lags_) {
    acsd_->lagToPortIs(lag, ports);
    for (auto const& p : ports) acsd_->portToLagIs(p, lag);
  }
}

void Agent::lagAdd(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports) {
  if (!lag.isPortChannel()) fail(lag.str() + " is not a port channel");
  for (auto const& p : ports) {
    if (!p.isEthernet()) fail(p.str() + " is not an Ethernet port");
    for (auto const& [other, members] : in_->lags_)
      if (members.has(p)) fail(p.str() + " is already a member of " + other.str());
  }
  auto& members = in_->lags_[lag];
  for (auto const& p : ports) members.portAdd(p);
  acsd_->lagToPortIs(lag, members);
  for (auto const& p : ports) acsd_->portToLagIs(p, lag);
}

void Agent::lagDel(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports) {
  auto it = in_->lags_.find(lag);
  if (it == in_->lags_.end()) fail("no port channel " + lag.str());
  for (auto const& p : ports)
    if (!it->second.has(p)) fail(p.str() + " is not a member of " + lag.str());
  for (auto const& p : ports) {
    it->second.portDel(p);
    acsd_->portToLagDel(p);
  }
  if (it->second.empty()) {
    in_->lags_.erase(it);
    acsd_->lagToPortDel(lag);
  } else {
    acsd_->lagToPortIs(lag, it->second);
  }
}

void Agent::macAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf) {
  if (intf.isNone()) fail("empty interface name");
  auto fdb = in_->bridgingStatus_->fdbStatus(vlan.value());
  if (fdb && fdb->learnedHostHas(mac)) fail("MAC " + mac.str() + " already in vlan " + std::to_string(vlan.value()));
  if (!fdb) fdb = in_->bridgingStatus_->newFdbStatus(vlan.value());
  fdb->learnedHostIs(mac, Bridging::LearnedHost{intf, Bridging::EntryType::learnedDynamicMac});
}

void Agent::macMove(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf) {
  if (intf.isNone()) fail("empty interface name");
  auto fdb = in_->bridgingStatus_->fdbStatus(vlan.value());
  if (!fdb || !fdb->learnedHostHas(mac)) fail("no MAC " + mac.str() + " in vlan " + std::to_string(vlan.value()));
  fdb->learnedHostIs(mac, Bridging::LearnedHost{intf, Bridging::EntryType::learnedDynamicMac});
}

void Agent::macDel(Kor::VlanId vlan, Nollo::EthAddr const& mac) {
  auto fdb = in_->bridgingStatus_->fdbStatus(vlan.value());
  if (!fdb || !fdb->learnedHostHas(mac)) fail("no MAC " + mac.str() + " in vlan " + std::to_string(vlan.value()));
  fdb->learnedHostDel(mac);
}

void Agent::maxEcmpIs(uint32_t n) { in_->hwStatus_->maxEcmpIs(n); }

void Agent::adjSharingIs(Routing::Hardware::AdjSharing mode) { in_->hwConfig_->adjSharingIs(mode); }

void Agent::exactMatchLengthsIs(std::vector<uint32_t> const& bits) {
  std::vector<Routing::RoutesInExactMatch> lengths;
  for (uint32_t b : bits) {
    Routing::RoutesInExactMatch len;
    if (!Routing::RoutesInExactMatch::fromBits(b, len))
      fail("bad exact-match prefix length " + std::to_string(b) + ": must be a multiple of 4 in 48..112");
    lengths.push_back(len);
  }
  auto& st = *in_->hwStatus_;
  std::vector<Routing::RoutesInExactMatch> gone;
  for (auto const& [len, on] : st.prefixLenInExactMatchMap())
    if (std::find(lengths.begin(), lengths.end(), len) == lengths.end()) gone.push_back(len);
  for (auto const& len : gone) st.prefixLenInExactMatchDel(len);
  for (auto const& len : lengths) st.prefixLenInExactMatchIs(len, true);
}

void Agent::envIs(std::string const& name, std::optional<std::string> const& value) {
  if (name.empty() || name.find('=') != std::string::npos) fail("bad environment variable name '" + name + "'");
  if (value) ::setenv(name.c_str(), value->c_str(), 1);
  else ::unsetenv(name.c_str());
}

void Agent::chipRulesChanged() {
  chip_->adj().softAdjSmHelper().recheckResourceFull();
  chip_->l3().softVrfHelper().recheckResourceFull();
  if (auto const& resolver = chip_->l3().routeResolver()) resolver->doRecheckResourceFull();
}

uint32_t Agent::arpVrfId(Kor::VrfName const& name) {
  auto it = in_->arpVrfIds_.find(name);
  if (it != in_->arpVrfIds_.end()) return it->second;
  // Like the ARP agent: ids in order of first use, default is 0.
  uint32_t id = static_cast<uint32_t>(in_->arpVrfIds_.size());
  in_->arpVrfIds_[name] = id;
  in_->arpVrfIdMap_->vrfNameIs(id, name.str());
  return id;
}

void Agent::arpAdd(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::EthAddr const& mac,
                   Nollo::IntfId const& intf) {
  if (intf.isNone()) fail("empty interface name");
  if (!in_->vrfInfoDir_->vrfInfoHas(vrf.str())) fail("vrf '" + vrf.str() + "' is not announced");
  uint32_t id = arpVrfId(vrf);
  Quill::Arp::ArpEntry e(mac, Quill::Arp::ArpState::reachable);
  if (ip.isV4()) in_->arpTable_->arpEntryIs(Quill::Arp::ArpKey(id, ip.v4(), intf), e);
  else in_->neighTable_->arpEntryIs(Quill::Arp::NeighKey(id, ip.v6(), intf), e);
}

void Agent::arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip) {
  auto it = in_->arpVrfIds_.find(vrf);
  bool found = false;
  if (it != in_->arpVrfIds_.end()) {
    // Every entry of that address, whatever interface it was learned on.
    if (ip.isV4()) {
      std::vector<Quill::Arp::ArpKey> gone;
      for (auto const& kv : in_->arpTable_->arpEntryMap())
        if (kv.first.vrfId() == it->second && kv.first.addr() == ip.v4()) gone.push_back(kv.first);
      for (auto const& k : gone) in_->arpTable_->arpEntryDel(k);
      found = !gone.empty();
    } else {
      std::vector<Quill::Arp::NeighKey> gone;
      for (auto const& kv : in_->neighTable_->arpEntryMap())
        if (kv.first.vrfId() == it->second && kv.first.addr() == ip.v6()) gone.push_back(kv.first);
      for (auto const& k : gone) in_->neighTable_->arpEntryDel(k);
      found = !gone.empty();
    }
  }
  if (!found) fail("no ARP entry " + ip.str() + " in vrf '" + vrf.str() + "'");
}

void Agent::arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::IntfId const& intf) {
  auto it = in_->arpVrfIds_.find(vrf);
  bool found = false;
  if (it != in_->arpVrfIds_.end()) {
    if (ip.isV4()) {
      Quill::Arp::ArpKey k(it->second, ip.v4(), intf);
      found = in_->arpTable_->arpEntryHas(k);
      if (found) in_->arpTable_->arpEntryDel(k);
    } else {
      Quill::Arp::NeighKey k(it->second, ip.v6(), intf);
      found = in_->neighTable_->arpEntryHas(k);
      if (found) in_->neighTable_->arpEntryDel(k);
    }
  }
  if (!found) fail("no ARP entry " + ip.str() + " on " + intf.str() + " in vrf '" + vrf.str() + "'");
}

void Agent::doCheckVias(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) {
  using Quill::Fib::FecType;
  std::string const fec = "FEC " + std::to_string(id);
  if (type != FecType::forward && type != FecType::attached && type != FecType::drop)
    fail(fec + ": type " + Quill::Fib::str(type) + " not supported");
  if (type == FecType::drop) {
    if (!vias.empty()) fail(fec + ": a drop FEC has no via");
    return;
  }
  if (vias.empty()) fail(fec + " has no via");
  if (type == FecType::attached && (vias.size() != 1 || !vias[0].hop.isZero()))
    fail(fec + ": an attached FEC has one via, an interface without address");
  bool v6 = vias.at(0).hop.isV6();
  uint64_t paths = 0;
  for (auto const& v : vias) {
    if (v.hop.isV6() != v6) fail(fec + " mixes IPv4 and IPv6 next hops");
    if (v.intf.isNone()) fail("empty interface name");
    if (v.weight == 0) fail(fec + ": weight 0");
    for (uint32_t l : v.labels)
      if (l > kMaxMplsLabel) fail("bad MPLS label " + std::to_string(l));
    paths += v.weight;
  }
  // The library holds at most kMaxPaths paths per FEC (a via of weight w is
  // w paths): more is refused here, whole, rather than cut where nobody sees.
  if (paths > Kor::AdjSm::kMaxPaths)
    fail(fec + " has " + std::to_string(paths) + " paths, more than the " + std::to_string(Kor::AdjSm::kMaxPaths) +
         " one FEC can hold");
}

template <class AF>
void Agent::doWriteFec(Kor::VrfName const& vrf, uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) {
  Quill::Fib::FecT<AF> f(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), id), type);
  for (auto const& v : vias) {
    Quill::Fib::ViaT<AF> via;
    if constexpr (std::is_same_v<AF, Nollo::Ipv4>) via.nextHopIs(v.hop.v4());
    else via.nextHopIs(v.hop.v6());
    via.intfIs(v.intf);
    via.vlanIs(v.vlan);
    via.mplsLabelsIs(v.labels);
    via.backupIs(v.backup);
    via.weightIs(v.weight);
    f.viaAdd(via);
  }
  in_->entityManager_->forwardingStatus<AF>(vrf.str())->fecIs(f);
}

void Agent::fecAdd(uint64_t id, std::vector<Via> const& vias, Kor::VrfName const& vrf, Quill::Fib::FecType type,
                   bool v6) {
  doCheckVias(id, vias, type);
  if (!in_->vrfInfoDir_->vrfInfoHas(vrf.str())) fail("vrf '" + vrf.str() + "' is not announced");
  if (in_->fecVrf_.count(id)) fail("FEC " + std::to_string(id) + " already added");
  in_->fecVrf_[id] = vrf;
  if (vias.empty() ? v6 : vias[0].hop.isV6()) doWriteFec<Nollo::Ipv6>(vrf, id, vias, type);
  else doWriteFec<Nollo::Ipv4>(vrf, id, vias, type);
}

void Agent::fecUpdate(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type) {
  doCheckVias(id, vias, type);
  auto it = in_->fecVrf_.find(id);
  if (it == in_->fecVrf_.end()) fail("no FEC " + std::to_string(id));
  auto fecId = Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), id);
  bool wasV6 = in_->entityManager_->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecHas(fecId);
  if (!vias.empty() && wasV6 != vias[0].hop.isV6())
    fail("FEC " + std::to_string(id) + " cannot change its address family");
  if (wasV6) doWriteFec<Nollo::Ipv6>(it->second, id, vias, type);
  else doWriteFec<Nollo::Ipv4>(it->second, id, vias, type);
}

void Agent::fecDel(uint64_t id) {
  auto it = in_->fecVrf_.find(id);
  if (it == in_->fecVrf_.end()) fail("no FEC " + std::to_string(id));
  auto fecId = Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), id);
  auto* em = in_->entityManager_.ptr();
  em->forwardingStatus<Nollo::Ipv4>(it->second.str())->fecDel(fecId);
  em->forwardingStatus<Nollo::Ipv6>(it->second.str())->fecDel(fecId);
  in_->fecVrf_.erase(it);
}

void Agent::routeAdd(Kor::VrfName const& vrf, Prefix const& prefix, uint64_t fecIndex) {
  if (!in_->vrfInfoDir_->vrfInfoHas(vrf.str())) fail("vrf '" + vrf.str() + "' is not announced");
  auto fecId = Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), fecIndex);
  auto* em = in_->entityManager_.ptr();
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) {
    checkFec(em, in_->fecVrf_, vrf, fecId, false);
    auto& t = in_->routes4_[vrf];
    // The VRF's table of the shared-memory FIB: the one its route machine reads.
    if (!t) t = em->routeStatus<Nollo::Ipv4>(vrf.str());
    t->routeIs(Quill::Fib::Route(*p4, fecId));
  } else {
    auto const& p6 = std::get<Nollo::Ip6Prefix>(prefix);
    checkFec(em, in_->fecVrf_, vrf, fecId, true);
    auto& t = in_->routes6_[vrf];
    if (!t) t = em->routeStatus<Nollo::Ipv6>(vrf.str());
    t->routeIs(Quill::Fib6::Route(p6, fecId));
  }
}

Vix::Ptr<Quill::Fib::RouteStatus> Agent::fibRoutes4(Kor::VrfName const& vrf) {
  auto& t = in_->routes4_[vrf];
  if (!t) t = in_->entityManager_->routeStatus<Nollo::Ipv4>(vrf.str());
  return t;
}

Vix::Ptr<Quill::Fib6::RouteStatus> Agent::fibRoutes6(Kor::VrfName const& vrf) {
  auto& t = in_->routes6_[vrf];
  if (!t) t = in_->entityManager_->routeStatus<Nollo::Ipv6>(vrf.str());
  return t;
}

void Agent::routeDel(Kor::VrfName const& vrf, Prefix const& prefix) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) {
    auto it = in_->routes4_.find(vrf);
    if (it == in_->routes4_.end() || !it->second->routeHas(*p4)) fail("no route " + p4->str() + " in vrf '" + vrf.str() + "'");
    it->second->routeDel(*p4);
  } else {
    auto const& p6 = std::get<Nollo::Ip6Prefix>(prefix);
    auto it = in_->routes6_.find(vrf);
    if (it == in_->routes6_.end() || !it->second->routeHas(p6)) fail("no route " + p6.str() + " in vrf '" + vrf.str() + "'");
    it->second->routeDel(p6);
  }
}

// ---------------------------------------------------------------------------
// Output.

bool Agent::showKnown(std::string const& what) {
  return std::any_of(std::begin(kShows), std::end(kShows), [&](char const* s) { return what == s; });
}

std::string Agent::show(std::string const& what, bool json) const {
  AgentShows const shows(*this);
  if (what == "vrfs") return shows.showVrfs(json);
  if (what == "l3") return shows.showL3(json);
  if (what == "chip") return shows.showChip(json);
  if (what == "inputs") return shows.showInputs(json);
  if (what == "adj") return shows.showAdj(json);
  if (what == "l2adj") return shows.showL2Adj(json);
  if (what == "routes") return shows.showRoutes(json);
  if (auto it = showSources_.find(what); it != showSources_.end()) return it->second(json);
  if (what == "fpm") return json ? "{\"fpm\": null}\n" : "fpm: not serving\n";
  if (what == "kernel") return json ? "{\"kernel\": null}\n" : "kernel: not running\n";
  fail("unknown show '" + what + "'");
}

std::string Agent::showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const {
  return AgentShows(*this).showRouteLookup(vrf, addr, json);
}

void Agent::showSourceIs(std::string const& what, std::function<std::string(bool json)> fn) {
  if (fn) showSources_[what] = std::move(fn);
  else showSources_.erase(what);
}

std::string Agent::channel(int fd, std::string const& line, size_t lineNo) {
  bool const restartOwed = libraryRestart_.armed();
  std::ostringstream out;
  auto w = ScenarioRunner::words(line);
  if (!w.empty() && isCommandCode(w[0])) {
    try {
      out << command(fd, line);
    } catch (std::exception const& e) {
      out << "line " << lineNo << ": " << e.what() << "\n";
    }
  } else {
    ScenarioRunner runner(this, &out);
    runner.runLine(line, lineNo);
  }
  if (!restartOwed && libraryRestart_.armed())
    out << "the library asked to exit (its adjacency sharing mode changed): the daemon restarts it in process, "
           "before the next line runs\n";
  return out.str();
}

void Agent::drainEvents(std::ostream& out) {
  auto const& recs = logs_->records();
  for (; logsShown_ < recs.size(); ++logsShown_) out << "log: " << recs[logsShown_].name << ": " << recs[logsShown_].text << "\n";
  if (size_t dropped = logs_->dropped())
    out << "log: " << dropped << " more log events dropped: at most " << logs_->limit() << " are kept between answers\n";
  // The daemon keeps only what the next answer has not shown yet.
  if (recs.size() > 10000 || daemon_) {
    logs_->clear();
    logsShown_ = 0;
  }
  for (auto const& l : traces_->linesTaken()) out << "trace: " << l << "\n";
  if (size_t dropped = traces_->droppedTaken())
    out << "trace: " << dropped << " more trace lines dropped: at most " << traces_->limit()
        << " are kept between answers\n";
}

}  // namespace KorAgent

namespace KorAgent {

// ---------------------------------------------------------------------------
// The VRF root.

void Agent::doCreateVrfRoot() {
  Kor::VrfRootSmInputs v;
  v.allocateVrfId = true;
  v.allVrfStatusLocal = in_->allVrfStatusLocal_;
  v.vrfHelper = chip_->l3().vrfHelper();
  v.vrfCapability = in_->vrfCapability_;
  v.acsd = acsd_;
  v.l3Config = in_->l3Config_;
  v.l3Status = in_->l3Status_;
  v.intfVlanIdTable = in_->intfVlanIdTable_;
  v.bridgingStatus = in_->bridgingStatus_;
  v.allIntfStatusDir = in_->allIntfStatusDir_;
  v.routingHwStatus = in_->hwStatus_;
  v.l2AdjHelper = l2AdjHelper_;
  v.ipStatus = in_->ipStatus_;
  v.ip6Status = in_->ip6Status_;
  v.packedArgs = in_->packedArgs_;
  v.routingHwRouteStatus = in_->hwRouteStatus_;
  v.routing6HwRouteStatus = in_->hwRoute6Status_;
  v.routingVrfInfoDir = in_->vrfInfoDir_;
  v.routing6VrfInfoDir = in_->vrf6InfoDir_;
  v.routingStatusSmHelper = chip_->l3().routingStatusSmHelper();
  v.routeSmHelper = chip_->l3().routeSmHelper();
  v.route6SmHelper = chip_->l3().route6SmHelper();
  v.entityManager = in_->entityManager_;
  v.arpTableStatus = in_->arpTable_;
  v.neighTableStatus = in_->neighTable_;
  v.arpVrfIdMap = in_->arpVrfIdMap_;
  vrfRootSm_ = Kor::vrfRootSmFactory(v);
  doApplyKnobs();
}

void Agent::doDestroyVrfRoot() { vrfRootSm_ = nullptr; }

void Agent::doApplyKnobs() {
  if (!vrfRootSm_) return;
  auto& k = in_->knobs_;
  vrfRootSm_->totalTimeForRouteUpdatesIs(k["totalTimeForRouteUpdates"]);
  vrfRootSm_->deleteReviewIntervalIs(k["deleteReviewInterval"]);
  vrfRootSm_->fbuPriorityProcessingStartDelayIs(k["fbuPriorityProcessingStartDelay"]);
  vrfRootSm_->fbuPriorityProcessingV4FirstIs(k["fbuPriorityProcessingV4First"]);
  vrfRootSm_->fbuPriorityProcessingEndIntervalIs(k["fbuPriorityProcessingEndInterval"]);
  vrfRootSm_->fbuRouteProcessQuantaMaxIs(k["fbuRouteProcessQuantaMax"]);
  vrfRootSm_->fbuRouteProcessQuantaMinIs(k["fbuRouteProcessQuantaMin"]);
  vrfRootSm_->fbuAdjProcessQuantaMinIs(k["fbuAdjProcessQuantaMin"]);
  vrfRootSm_->reniceValueIs(static_cast<int>(k["reniceValue"]));
}

std::string Agent::command(int fd, std::string const& text) {
  auto w = ScenarioRunner::words(text);
  if (w.empty() || !isCommandCode(w[0])) fail("unknown command '" + (w.empty() ? std::string() : w[0]) + "'");
  if (!initialized_) fail("command channel not started: run init first");
  return vrfRootSm_->doCommand(fd, text);
}

}  // namespace KorAgent
