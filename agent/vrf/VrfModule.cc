#include "agent/vrf/VrfModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/intf/IntfModule.h"
#include "agent/fib/FibModule.h"
#include "agent/chip/ChipModule.h"
#include "agent/resil/ResilientModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/nhg/NhgModule.h"
#include "agent/routing/RoutingInputsModule.h"
#include "agent/vrf/VrfSection.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "kor/l3/VrfRoot.h"
#include "kor/l3/VrfRootSm.h"
#include "softchip/SoftChip.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

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

}  // namespace

VrfModule::VrfModule(Agent* agent)
    : AgentModule(agent),
      allVrfStatusLocal_(Vix::makePtr<Ip::AllVrfStatusLocal>("allVrfStatusLocal")),
      vrfCapability_(Vix::makePtr<Ip::VrfCapability>("vrfCapability")),
      l3Config_(Vix::makePtr<Routing::L3Config>("l3Config")),
      packedArgs_(Vix::makePtr<Routing::PackedArgs>("packedArgs")),
      vrfInfoDir_(Vix::makePtr<Routing::VrfInfoDir>("routing/vrf/info")),
      vrf6InfoDir_(Vix::makePtr<Routing6::VrfInfoDir>("routing6/vrf/info")) {
  // The VRF every switch has: announced from the start, routing off.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>("default");
  auto info6 = Vix::makePtr<Routing::RoutingInfo>("default");
  packedArgs_->routingInfoIs(info4);
  packedArgs_->routing6InfoIs(info6);
  vrfInfoDir_->vrfInfoIs("default", info4);
  vrf6InfoDir_->vrfInfoIs("default", info6);
  allVrfStatusLocal_->vrfIs("default", true);
  vrfCapability_->maxVrfsIs(1023);
  for (auto const& k : kKnobs) knobs_[k.name] = k.value;
}

bool VrfModule::announced(Kor::VrfName const& name) const {
  return vrfInfoDir_->vrfInfoHas(name.str());
}

void VrfModule::checkAnnounced(Kor::VrfName const& name) const {
  if (!announced(name)) fail("vrf '" + name.str() + "' is not announced");
}

void VrfModule::doAnnounce(Kor::VrfName const& name) {
  // A fresh routing information entity per family: announcing it again under
  // the same name is what "replace" means to the VRF root.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  auto info6 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  info4->routingEnabledIs(true);
  info6->routingEnabledIs(true);
  if (name.isDefault()) {
    packedArgs_->routingInfoIs(info4);
    packedArgs_->routing6InfoIs(info6);
  }
  allVrfStatusLocal_->vrfIs(name.str(), true);
  vrfInfoDir_->vrfInfoIs(name.str(), info4);
  vrf6InfoDir_->vrfInfoIs(name.str(), info6);
}

void VrfModule::vrfAdd(Kor::VrfName const& name) {
  if (name.empty()) fail("empty VRF name");
  if (announced(name)) fail("vrf '" + name.str() + "' already announced");
  doAnnounce(name);
}

void VrfModule::vrfDel(Kor::VrfName const& name) {
  if (name.isDefault()) fail("vrf 'default' cannot be withdrawn");
  checkAnnounced(name);
  vrf6InfoDir_->vrfInfoDel(name.str());
  vrfInfoDir_->vrfInfoDel(name.str());
  allVrfStatusLocal_->vrfDel(name.str());
}

void VrfModule::vrfReplace(Kor::VrfName const& name) {
  checkAnnounced(name);
  // The IPv4 entity is the one the VRF root compares with the one its root
  // was created from; replacing only it gives one delete-and-create.
  auto info4 = Vix::makePtr<Routing::RoutingInfo>(name.str());
  info4->routingEnabledIs(true);
  if (name.isDefault()) packedArgs_->routingInfoIs(info4);
  vrfInfoDir_->vrfInfoIs(name.str(), info4);
}

void VrfModule::routingIs(Kor::VrfName const& name, bool v4, bool v6, bool on) {
  auto info4 = vrfInfoDir_->vrfInfo(name.str());
  auto info6 = vrf6InfoDir_->vrfInfo(name.str());
  if (!info4 || !info6) fail("vrf '" + name.str() + "' is not announced");
  if (v4) info4->routingEnabledIs(on);
  if (v6) info6->routingEnabledIs(on);
}

void VrfModule::maxVrfsIs(uint32_t n) { vrfCapability_->maxVrfsIs(n); }

bool VrfModule::knobKnown(std::string const& name) { return knobFind(name) != nullptr; }

bool VrfModule::knobIsInteger(std::string const& name) {
  auto* k = knobFind(name);
  return k && k->integer;
}

double VrfModule::knobDefault(std::string const& name) {
  auto* k = knobFind(name);
  return k ? k->value : 0;
}

void VrfModule::knobIs(std::string const& name, double value) {
  if (!knobKnown(name)) fail("unknown knob '" + name + "'");
  // A nice value is what setpriority() takes.
  if (name == "reniceValue" && (value < -20 || value > 19))
    fail("bad reniceValue " + std::to_string(int64_t(value)) + ": must be -20..19");
  knobs_[name] = value;
  doApplyKnobs();
}

// ---------------------------------------------------------------------------
// The VRF root.

void VrfModule::doCreateRoots() {
  auto* chip = agent_->chip();
  Kor::VrfRootSmInputs v;
  v.allocateVrfId = true;
  v.allVrfStatusLocal = allVrfStatusLocal_;
  v.vrfHelper = chip->l3().vrfHelper();
  v.vrfCapability = vrfCapability_;
  v.acsd = agent_->commonDataPtr();
  v.l3Config = l3Config_;
  v.l3Status = agent_->l3StatusPtr();
  v.intfVlanIdTable = agent_->module<IntfModule>().intfVlanIdTable();
  v.bridgingStatus = agent_->module<NeighbourModule>().bridgingStatus();
  v.allIntfStatusDir = agent_->module<IntfModule>().allIntfStatusDir();
  v.routingHwStatus = agent_->module<ChipModule>().hwStatus();
  v.nexthopGroupStatus = agent_->module<NhgModule>().status();
  v.resilientEcmpConfig = agent_->module<ResilientModule>().config();
  v.l2AdjHelper = agent_->module<NeighbourModule>().l2AdjHelperPtr();
  v.ipStatus = agent_->module<IntfModule>().ipStatus();
  v.ip6Status = agent_->module<IntfModule>().ip6Status();
  v.packedArgs = packedArgs_;
  v.routingHwRouteStatus = agent_->module<ChipModule>().hwRouteStatus();
  v.routing6HwRouteStatus = agent_->module<ChipModule>().hwRoute6Status();
  v.routingVrfInfoDir = vrfInfoDir_;
  v.routing6VrfInfoDir = vrf6InfoDir_;
  v.routingStatusSmHelper = chip->l3().routingStatusSmHelper();
  v.routeSmHelper = chip->l3().routeSmHelper();
  v.route6SmHelper = chip->l3().route6SmHelper();
  v.entityManager = agent_->module<FibModule>().entityManager();
  v.arpTableStatus = agent_->module<NeighbourModule>().arpTable();
  v.neighTableStatus = agent_->module<NeighbourModule>().neighTable();
  v.arpVrfIdMap = agent_->module<NeighbourModule>().arpVrfIdMap();
  agent_->module<RoutingInputsModule>().vrfRootInputsAdd(v);
  vrfRootSm_ = Kor::vrfRootSmFactory(v);
  doApplyKnobs();
}

void VrfModule::doDestroyLibrary() { vrfRootSm_ = nullptr; }

void VrfModule::doApplyKnobs() {
  if (!vrfRootSm_) return;
  auto& k = knobs_;
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

// ---------------------------------------------------------------------------
// Statements and shows.

void VrfModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<VrfSection>());
}

void VrfModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  auto vrfOp = [this](char const* op, char const* help, void (VrfModule::*fn)(Kor::VrfName const&)) {
    return Statement{{"vrf", op}, "NAME", help, true, [this, fn](A& a) -> Statement::Apply {
                       Kor::VrfName name(a.next("VRF name"));
                       return [this, fn, name](std::ostream&) { (this->*fn)(name); };
                     }};
  };
  t.statementAdd(vrfOp("add", "announce a VRF (its routing information appears)", &VrfModule::vrfAdd));
  t.statementAdd(vrfOp("del", "withdraw it", &VrfModule::vrfDel));
  t.statementAdd(vrfOp("replace", "give the VRF a new IPv4 routing information entity (the library deletes and creates it)",
                       &VrfModule::vrfReplace));
  t.statementAdd({{"routing"}, "VRF on|off [ipv4|ipv6]", "switch routing of a VRF on or off (both families unless one is named)",
                  true, [this](A& a) -> Statement::Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    bool on = A::parseOnOff(a.next("on or off"));
                    bool v4 = true, v6 = true;
                    if (a.accept("ipv4")) v6 = false;
                    else if (a.accept("ipv6")) v4 = false;
                    return [=, this](std::ostream&) { routingIs(vrf, v4, v6, on); };
                  }});
  t.statementAdd({{"maxvrfs"}, "N", "the hardware's VRF capacity (ids 1..N besides default), from the next init or restart",
                  false, [this](A& a) -> Statement::Apply {
                    auto n = uint32_t(A::parseUnsigned(a.next("VRF count"), "VRF count", 65535));
                    return [=, this](std::ostream&) { maxVrfsIs(n); };
                  }});
  t.statementAdd({{"set"}, "KNOB VALUE", "a setting of the VRF root (a duration; reniceValue an integer)", false,
                  [this](A& a) -> Statement::Apply {
                    std::string knob = a.next("knob name");
                    std::string value = a.next("value");
                    a.end();
                    if (!knobKnown(knob)) fail("unknown knob '" + knob + "'");
                    double v = knobIsInteger(knob) ? double(A::parseSigned(value, "value")) : A::parseDuration(value);
                    return [=, this](std::ostream&) { knobIs(knob, v); };
                  }});
}

void VrfModule::showsAdd() {
  agent_->showAdd("vrfs", [this](bool json) { return ShowRenderer::render(vrfsShow(), json); });
  agent_->showAdd("l3", [this](bool json) { return ShowRenderer::render(l3Show(), json); });
}

Kor::VrfRoot const* VrfModule::vrfRootOf(std::string const& name) const {
  if (!vrfRootSm_ || name.size() > Kor::VrfName::maxBytes) return nullptr;
  return vrfRootSm_->vrfRoot(Kor::VrfName(name)).ptr();
}

ShowModel VrfModule::vrfsShow() const {
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  M m;
  m.lineAdd("vrfs:\n");
  m.tableAdd("vrfs", "  ", {M::col("name", "", 12), M::col("id", " id "), M::jsonOnly("chip"), M::textOnly("")});
  for (auto const& [name, info] : vrfInfoDir_->vrfInfoMap()) {
    M::Cell id = l3.vrfIdHas(name) ? M::num(l3.vrfId(name).value()) : M::raw("null", "-");
    // A VRF the chip has not taken says so (and how often it was retried).
    auto root = vrfRootOf(name);
    M::Cell chip = root ? M::str(Kor::toString(root->hwState())) : M::raw("null", "");
    std::string chipText;
    if (root && root->hwState() != Kor::VrfHwState::vrfHwInstalled)
      chipText = std::string(" chip ") + Kor::toString(root->hwState()) + ", retries " + std::to_string(root->hwRetries());
    m.rowAdd({M::str(name), id, chip, M::raw("", chipText)});
  }
  return m;
}

ShowModel VrfModule::l3Show() const {
  using M = ShowModel;
  auto const& l3 = *agent_->l3StatusPtr();
  M m;
  m.lineAdd("l3 status:\n");
  m.tableAdd("vrfs", "  ",
             {M::col("name", "vrf ", 12), M::col("id", " id "), M::jsonOnly("routingEnabled"),
              M::jsonOnly("routing6Enabled"), M::textOnly(" routing "), M::jsonOnly("endOfV4SyncDone"),
              M::jsonOnly("endOfV6SyncDone"), M::textOnly(" endOfSync ")});
  for (auto const& [name, st] : l3.vrfL3StatusMap()) {
    auto onOff = [](bool b) { return std::string(b ? "on" : "off"); };
    auto yesNo = [](bool b) { return std::string(b ? "yes" : "no"); };
    m.rowAdd({M::str(name.str()), M::num(l3.vrfId(name).value()), M::flag(st->routingEnabled(), "", ""),
              M::flag(st->routing6Enabled(), "", ""),
              M::raw("", onOff(st->routingEnabled()) + "/" + onOff(st->routing6Enabled())),
              M::flag(st->endOfV4SyncDone(), "", ""), M::flag(st->endOfV6SyncDone(), "", ""),
              M::raw("", yesNo(st->endOfV4SyncDone()) + "/" + yesNo(st->endOfV6SyncDone()))});
  }
  m.fieldAdd("adjInfoList", "  adjInfoList ", M::num(l3.adjInfoListSize()));
  m.fieldAdd("adjInfo6List", ", adjInfo6List ", M::num(l3.adjInfo6ListSize()));
  m.fieldAdd("unicastReviewPending", ", unicastReviewPending ", M::num(l3.unicastReviewPending()));
  m.fieldAdd("unicast6ReviewPending", ", unicast6ReviewPending ", M::num(l3.unicast6ReviewPending()));
  m.lineAdd("\n");
  return m;
}

std::vector<AgentModule::InputGroup> VrfModule::inputGroups() const {
  InputGroup g{10, "vrfs", {}};
  for (auto const& [name, info] : vrfInfoDir_->vrfInfoMap()) g.lines.push_back(name);
  return {g};
}

}  // namespace KorAgent
