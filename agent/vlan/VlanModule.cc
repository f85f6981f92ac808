#include "agent/vlan/VlanModule.h"

#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/JsonString.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/VlanList.h"
#include "agent/intf/IntfModule.h"
#include "agent/vlan/VlanSection.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/l2/SwitchIntfSm.h"
#include "models/interface/AllIntfStatusDir.h"
#include "softchip/SoftChip.h"
#include "softchip/l2/SoftSwitchIntfSmHelper.h"
#include "softchip/l2/SoftVlanHelper.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

std::string tpidText(uint64_t tpid) {
  std::ostringstream os;
  os << "0x" << std::hex << tpid;
  return os.str();
}

template <class Map, class Fn>
ShowModel::Cell intfArray(Map const& m, Fn const& text) {
  std::string json = "[", txt;
  for (auto const& kv : m) {
    if (json.size() > 1) json += ',';
    json += jsonString(text(kv));
    if (!txt.empty()) txt += ' ';
    txt += text(kv);
  }
  json += ']';
  return ShowModel::raw(json, txt.empty() ? "-" : txt);
}
}  // namespace

// Mirrors the interface module's interfaces into the common data's `intf`,
// and the VLAN interfaces that are up into its `vlanIntf`.
class VlanModule::IntfWatch : public Interface::AllIntfStatusDir::Notifiee {
 public:
  IntfWatch(Vix::Ptr<Interface::AllIntfStatusDir const> const& d, VlanModule* m) : Notifiee(d), module_(m) {}
  void handleIntfStatus(Nollo::IntfId const& intf) override { module_->doMirrorIntf(intf); }

 private:
  VlanModule* module_;
};

VlanModule::VlanModule(Agent* agent)
    : AgentModule(agent), vlanConfig_(Vix::makePtr<Bridging::VlanConfig>("bridging/vlanConfig")),
      switchIntfConfig_(Vix::makePtr<Bridging::SwitchIntfConfig>("bridging/switchIntfConfig")) {}

VlanModule::~VlanModule() = default;

SoftChip::SoftVlanHelper* VlanModule::vlanHelper() const { return vlanHelper_.ptr(); }
Kor::SwitchIntfSm* VlanModule::switchIntfSm() const { return switchIntfSm_.ptr(); }

void VlanModule::doMirrorIntf(Nollo::IntfId const& intf) {
  auto* acsd = agent_->commonData();
  if (!acsd || !intfWatch_) return;
  auto const& dir = agent_->module<IntfModule>().allIntfStatusDir();
  if (dir->intfStatusHas(intf)) acsd->intfIs(intf, true);
  else acsd->intfDel(intf);
  // A VLAN interface counts for the VLAN-to-fid machine while it is up.
  if (!intf.isVlan()) return;
  if (dir->intfStatusHas(intf) && dir->intfStatus(intf).operUp) acsd->vlanIntfIs(intf, true);
  else acsd->vlanIntfDel(intf);
}

void VlanModule::doCreateHelpers() {
  auto acsd = agent_->commonDataPtr();
  vlanHelper_ = Vix::makePtr<SoftChip::SoftVlanHelper>(acsd, &agent_->chip()->vlan());
  vlanHelper_->hwInit();
  acsd->vlanHelperIs(vlanHelper_);
  for (auto const& [vlan, intf] : recirc_) vlanHelper_->recircFeatureIs(vlan, intf, true);
  switchIntfHelper_ = Vix::makePtr<SoftChip::SoftSwitchIntfSmHelper>(agent_->loop(), &agent_->chip()->vlan(), acsd);
  auto const& dir = agent_->module<IntfModule>().allIntfStatusDir();
  intfWatch_ = std::make_unique<IntfWatch>(dir, this);
  for (auto const& kv : dir->intfStatusMap()) doMirrorIntf(kv.first);
}

void VlanModule::doCreateRoots() {
  switchIntfSm_ = Kor::switchIntfSmFactory(agent_->commonDataPtr(), switchIntfConfig_, vlanConfig_,
                                           switchIntfHelper_);
}

void VlanModule::doStartLibrary() { switchIntfSm_->initializedIs(true); }

void VlanModule::doDestroyLibrary() {
  intfWatch_.reset();
  switchIntfSm_ = nullptr;
  if (auto* acsd = agent_->commonData()) acsd->vlanHelperIs(nullptr);
  switchIntfHelper_ = nullptr;
  vlanHelper_ = nullptr;
}

void VlanModule::vlanAdd(Kor::VlanId vlan) {
  if (vlanConfig_->vlanHas(vlan.value())) fail("VLAN " + std::to_string(vlan.value()) + " already added");
  vlanConfig_->vlanIs(vlan.value(), true);
}

void VlanModule::vlanDel(Kor::VlanId vlan) {
  if (!vlanConfig_->vlanHas(vlan.value())) fail("no VLAN " + std::to_string(vlan.value()));
  vlanConfig_->vlanDel(vlan.value());
}

std::string VlanModule::switchportError(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg) {
  if (!intf.isEthernet() && !intf.isPortChannel()) return intf.str() + " is neither an Ethernet port nor a port channel";
  try {
    (void)Kor::VlanId(int64_t(cfg.accessVlan));
    (void)Kor::VlanId(int64_t(cfg.nativeVlan));
    for (auto v : cfg.allowedVlans) (void)Kor::VlanId(int64_t(v));
    (void)Kor::KorPortVlanTpidData(Kor::KorPortVlanTpidData::defaultTpid, cfg.vlanTpid, false);
  } catch (std::exception const& e) {
    return e.what();
  }
  return {};
}

void VlanModule::switchportIs(Nollo::IntfId const& intf, Bridging::SwitchportConfig const& cfg) {
  if (auto e = switchportError(intf, cfg); !e.empty()) fail(e);
  switchIntfConfig_->switchIntfConfigIs(intf, cfg);
}

void VlanModule::switchportDel(Nollo::IntfId const& intf) {
  if (!switchIntfConfig_->switchIntfConfigHas(intf)) fail("no switchport " + intf.str());
  switchIntfConfig_->switchIntfConfigDel(intf);
}

void VlanModule::recircIs(Kor::VlanId vlan, Nollo::IntfId const& intf, bool on) {
  if (!intf.isEthernet()) fail(intf.str() + " is not an Ethernet port");
  if (on) recirc_.insert({vlan, intf});
  else recirc_.erase({vlan, intf});
  if (vlanHelper_) vlanHelper_->recircFeatureIs(vlan, intf, on);
}

void VlanModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  for (bool add : {true, false}) {
    t.statementAdd({{"vlan", add ? "add" : "del"}, "LIST", add ? "configure the VLANs (LIST: 10-20,30)" : "remove the VLANs",
                    true, [this, add](A& a) -> Apply {
                      auto vlans = VlanList::parsed(a.next("VLAN list"));
                      a.end();
                      for (auto v : vlans)
                        if (vlanConfig_->vlanHas(v) == add)
                          fail(add ? "VLAN " + std::to_string(v) + " already added" : "no VLAN " + std::to_string(v));
                      return [=, this](std::ostream&) {
                        for (auto v : vlans) add ? vlanAdd(Kor::VlanId(v)) : vlanDel(Kor::VlanId(v));
                      };
                    }});
  }
  t.statementAdd({{"vlan", "recirc"}, "N INTF on|off",
                  "the port serves the recirculation feature in VLAN N: never removed from it", true,
                  [this](A& a) -> Apply {
                    Kor::VlanId vlan = A::parseVlan(a.next("VLAN id"));
                    Nollo::IntfId intf(a.next("interface"));
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    if (!intf.isEthernet()) fail(intf.str() + " is not an Ethernet port");
                    return [=, this](std::ostream&) { recircIs(vlan, intf, on); };
                  }});
  t.statementAdd(
      {{"switchport"},
       "INTF mode access|trunk|dot1q-tunnel | access vlan N | trunk allowed vlan LIST|all | trunk native vlan N | "
       "tpid T | remove",
       "one setting of a switch interface (Ethernet port or port channel; a member uses its channel's)", true,
       [this](A& a) -> Apply {
         using Mode = Bridging::SwitchportConfig::Mode;
         Nollo::IntfId intf(a.next("interface"));
         if (a.accept("remove")) {
           a.end();
           if (!switchIntfConfig_->switchIntfConfigHas(intf)) fail("no switchport " + intf.str());
           return [=, this](std::ostream&) { switchportDel(intf); };
         }
         std::function<void(Bridging::SwitchportConfig&)> set;
         std::string const& what = a.next("setting");
         if (what == "mode") {
           std::string const& m = a.next("mode");
           Mode mode = m == "access" ? Mode::access : m == "trunk" ? Mode::trunk : Mode::dot1qTunnel;
           if (m != "access" && m != "trunk" && m != "dot1q-tunnel")
             fail("expected access, trunk or dot1q-tunnel, got '" + m + "'");
           set = [mode](Bridging::SwitchportConfig& c) { c.mode = mode; };
         } else if (what == "access") {
           a.keyword("vlan");
           uint16_t v = A::parseVlan(a.next("VLAN id")).value();
           set = [v](Bridging::SwitchportConfig& c) { c.accessVlan = v; };
         } else if (what == "trunk" && a.accept("native")) {
           a.keyword("vlan");
           uint16_t v = A::parseVlan(a.next("VLAN id")).value();
           set = [v](Bridging::SwitchportConfig& c) { c.nativeVlan = v; };
         } else if (what == "trunk") {
           a.keyword("allowed");
           a.keyword("vlan");
           std::string const& list = a.next("VLAN list");
           bool all = list == "all";
           std::set<uint16_t> vlans;
           if (!all) vlans = VlanList::parsed(list);
           set = [all, vlans](Bridging::SwitchportConfig& c) {
             c.allowedAll = all;
             c.allowedVlans = vlans;
           };
         } else if (what == "tpid") {
           std::string const& text = a.next("TPID");
           int64_t tpid = 0;
           size_t used = 0;
           try {
             tpid = std::stoll(text, &used, 0);
           } catch (std::logic_error const&) {
             used = 0;
           }
           if (used == 0 || used != text.size()) fail("bad TPID '" + text + "'");
           (void)Kor::KorPortVlanTpidData(Kor::KorPortVlanTpidData::defaultTpid, tpid, false);
           set = [tpid](Bridging::SwitchportConfig& c) { c.vlanTpid = tpid; };
         } else {
           fail("expected mode, access, trunk, tpid or remove, got '" + what + "'");
         }
         a.end();
         Bridging::SwitchportConfig probe;
         if (auto e = switchportError(intf, probe); !e.empty()) fail(e);
         return [=, this](std::ostream&) {
           auto cfg = switchIntfConfig_->switchIntfConfigHas(intf) ? switchIntfConfig_->switchIntfConfig(intf)
                                                                   : Bridging::SwitchportConfig{};
           set(cfg);
           switchportIs(intf, cfg);
         };
       }});
  t.statementAdd({{"chip", "delay", "vlan"}, "DURATION",
                  "the chip answers each VLAN update this long after it is asked (0: the next loop turn)", false,
                  [this](A& a) -> Apply {
                    double d = A::parseDuration(a.next("duration"));
                    a.end();
                    return [=, this](std::ostream&) { agent_->chip()->vlan().updateDelayIs(d); };
                  }});
}

std::vector<AgentModule::InputGroup> VlanModule::inputGroups() const {
  InputGroup g{32, "vlans", {}};
  std::set<uint16_t> vlans;
  for (auto const& kv : vlanConfig_->vlanMap()) vlans.insert(kv.first);
  if (!vlans.empty()) g.lines.push_back("vlans " + VlanList::text(vlans));
  for (auto const& [intf, c] : switchIntfConfig_->switchIntfConfigMap()) {
    std::string line = intf.str() + " " + Bridging::toString(c.mode) + " access " + std::to_string(c.accessVlan) +
                       " native " + std::to_string(c.nativeVlan) + " allowed " +
                       (c.allowedAll ? std::string("all") : VlanList::text(c.allowedVlans)) + " tpid " + tpidText(uint64_t(c.vlanTpid));
    g.lines.push_back(line);
  }
  for (auto const& [vlan, intf] : recirc_) g.lines.push_back("recirc vlan " + std::to_string(vlan.value()) + " " + intf.str());
  // A switch without VLAN inputs shows no group.
  if (g.lines.empty()) return {};
  return {g};
}

void VlanModule::showsAdd() {
  agent_->showAdd("vlan", [this](bool json) { return ShowRenderer::render(vlanShow(), json); });
  agent_->showAdd("switchport", [this](bool json) { return ShowRenderer::render(switchportShow(), json); });
}

ShowModel VlanModule::vlanShow() const {
  using M = ShowModel;
  M m;
  m.lineAdd("vlans:\n");
  m.tableAdd("vlans", "  ",
             {M::col("vlan", "", 5), M::col("members", " members "), M::col("ingress", " ingress "),
              M::col("egress", " egress "), M::col("inFlightGenId", " inflight "), M::col("pendingGenId", " pending ")});
  if (!vlanHelper_) return m;
  auto const& h = *vlanHelper_;
  std::set<Kor::VlanId> vlans;
  for (auto const& kv : h.createdVlan()) vlans.insert(kv.first);
  for (auto const& kv : h.vlanUpdateMap()) vlans.insert(kv.first);
  for (auto const& v : vlans) {
    auto c = h.vlanCache(v);
    std::map<Nollo::IntfId, bool> none;
    auto const& members = c ? c->memberMap() : none;
    auto const& ingress = c ? c->ingressMap() : none;
    auto const& egress = c ? c->egressMap() : none;
    auto inFlight = h.updateConfig()->vlan(v);
    auto pending = h.vlanUpdate(v);
    m.rowAdd({M::num(v.value()),
              intfArray(members, [](auto const& kv) { return kv.first.str() + (kv.second ? "(t)" : "(u)"); }),
              intfArray(ingress, [](auto const& kv) { return kv.first.str(); }),
              intfArray(egress, [](auto const& kv) { return kv.first.str(); }),
              inFlight ? M::num(inFlight->genId()) : M::raw("null", "-"),
              pending ? M::num(pending->genId()) : M::raw("null", "-")});
  }
  m.fieldAdd("vlansProgrammed", "vlans programmed ", M::num(h.vlansProgrammed()));
  m.lineAdd("\n");
  m.fieldAdd("vlanFailures", "refused updates ", M::num(h.vlanFailures()));
  m.lineAdd("\n");
  m.fieldAdd("vlanRedos", "redone updates ", M::num(h.vlanRedos()));
  m.lineAdd("\n");
  return m;
}

ShowModel VlanModule::switchportShow() const {
  using M = ShowModel;
  M m;
  m.lineAdd("switchports:\n");
  m.tableAdd("switchports", "  ",
             {M::col("intf", "", 14), M::col("mode", " ", 12), M::col("accessVlan", " access "),
              M::col("nativeVlan", " native "), M::col("allowed", " allowed "), M::col("tpid", " tpid "),
              M::col("from", " from "), M::col("vlans", " vlans ")});
  auto const* acsd = agent_->commonData();
  std::set<Nollo::IntfId> intfs;
  for (auto const& kv : switchIntfConfig_->switchIntfConfigMap()) intfs.insert(kv.first);
  if (acsd)
    for (auto const& kv : acsd->portToLagMap())
      if (switchIntfConfig_->switchIntfConfigHas(kv.second)) intfs.insert(kv.first);
  for (auto const& intf : intfs) {
    Nollo::IntfId from = intf;
    if (acsd && acsd->portToLagHas(intf)) from = acsd->portToLag(intf);
    auto c = switchIntfConfig_->switchIntfConfig(from);
    std::string vlans;
    if (vlanHelper_)
      if (auto pvm = vlanHelper_->portVlanMembership(intf)) {
        auto add = [&vlans](Kor::VlanId v, char const* tag) {
          if (!vlans.empty()) vlans += ' ';
          vlans += std::to_string(v.value());
          vlans += tag;
        };
        for (auto const& kv : pvm->untaggedVlanMap()) add(kv.first, "(u)");
        for (auto const& kv : pvm->taggedVlanMap()) add(kv.first, "(t)");
      }
    m.rowAdd({M::str(intf.str()), M::str(Bridging::toString(c.mode)), M::num(c.accessVlan), M::num(c.nativeVlan),
              M::str(c.allowedAll ? std::string("all") : VlanList::text(c.allowedVlans)), M::str(tpidText(uint64_t(c.vlanTpid))),
              M::str(from.str()), M::str(vlans.empty() ? "-" : vlans)});
  }
  return m;
}

void VlanModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<VlanSection>());
}

}  // namespace KorAgent
