#include "agent/xlate/XlateModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/xlate/XlateSection.h"
#include "kor/l2/VlanMappingSm.h"
#include "kor/l2/VlanPhyIntfSm.h"
#include "softchip/SoftChip.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
}  // namespace

XlateModule::XlateModule(Agent* agent)
    : AgentModule(agent), xlateConfig_(Vix::makePtr<Bridging::VlanXlateConfigDir>("bridging/vlanXlate/config")),
      xlateStatus_(Vix::makePtr<Bridging::VlanXlateStatusDir>("bridging/vlanXlate/status")),
      fidConfig_(Vix::makePtr<Bridging::VlanFidConfigDir>("bridging/vlanFid/config")) {}

XlateModule::~XlateModule() = default;

Kor::VlanMappingSm* XlateModule::vlanMappingSm() const { return vlanMappingSm_.ptr(); }
Kor::VlanPhyIntfSm* XlateModule::vlanPhyIntfSm() const { return vlanPhyIntfSm_.ptr(); }

void XlateModule::doCreateRoots() {
  auto& chip = agent_->chip()->xlate();
  vlanMappingSm_ =
      Kor::vlanMappingSmFactory(agent_->commonDataPtr(), xlateConfig_, xlateStatus_, chip.vlanMappingSmHelper());
  vlanPhyIntfSm_ = Kor::vlanPhyIntfSmFactory(agent_->commonDataPtr(), fidConfig_, chip.vlanPhyIntfSmHelper());
}

void XlateModule::doStartLibrary() {
  vlanMappingSm_->initializedIs(true);
  vlanPhyIntfSm_->initializedIs(true);
}

void XlateModule::doDestroyLibrary() {
  vlanPhyIntfSm_ = nullptr;
  vlanMappingSm_ = nullptr;
  // The status is the library's: a new run publishes it afresh.
  xlateStatus_->xlateStatusDelAll();
}

std::string XlateModule::intfError(Nollo::IntfId const& intf) {
  if (intf.isEthernet() || intf.isPortChannel()) return {};
  std::string e(1, '\'');
  e += intf.str();
  e += "' is not an Ethernet port or a port channel";
  return e;
}

Bridging::VlanXlateKey XlateModule::parseKey(std::string const& text) {
  auto dot = text.find('.');
  uint16_t outer = StatementArgs::parseVlan(text.substr(0, dot)).value();
  if (dot == std::string::npos) return Bridging::VlanXlateKey(outer);
  return Bridging::VlanXlateKey(outer, StatementArgs::parseVlan(text.substr(dot + 1)).value());
}

XlateModule::Translation XlateModule::parseTranslation(StatementArgs& a, bool withMapped) {
  Translation t;
  t.native = a.accept("native");
  std::string const& dir = a.next("ingress or egress");
  if (dir == "egress") t.egress = true;
  else if (dir != "ingress") fail("expected ingress or egress, got '" + dir + "'");
  if (!t.native) t.key = parseKey(a.next("VLAN to translate"));
  if (!withMapped) return t;
  if (t.native) t.key = Bridging::VlanXlateKey(StatementArgs::parseVlan(a.next("native VLAN")).value());
  a.keyword("to");
  t.mapped = StatementArgs::parseVlan(a.next("VLAN to map to")).value();
  return t;
}

void XlateModule::translationAdd(Nollo::IntfId const& intf, Translation const& t) {
  if (auto e = intfError(intf); !e.empty()) fail(e);
  auto cfg = xlateConfig_->intfConfig(intf);
  if (t.native && !t.egress) {
    cfg.ingressNativeVlan = t.key.outerVlan();
    cfg.ingressNativeMapped = t.mapped;
  } else if (t.native) {
    cfg.egressNativeVlan = t.key.outerVlan();
    cfg.egressNativeMapped = t.mapped;
  } else {
    (t.egress ? cfg.egress : cfg.ingress)[t.key] = t.mapped;
  }
  xlateConfig_->intfConfigIs(intf, cfg);
}

void XlateModule::translationDel(Nollo::IntfId const& intf, Translation const& t) {
  auto cfg = xlateConfig_->intfConfig(intf);
  bool found = true;
  if (t.native && !t.egress) {
    found = cfg.ingressNativeVlan != 0;
    cfg.ingressNativeVlan = cfg.ingressNativeMapped = 0;
  } else if (t.native) {
    found = cfg.egressNativeVlan != 0;
    cfg.egressNativeVlan = cfg.egressNativeMapped = 0;
  } else {
    found = (t.egress ? cfg.egress : cfg.ingress).erase(t.key) != 0;
  }
  if (!found) fail("no such translation on " + intf.str());
  if (cfg.empty()) xlateConfig_->intfConfigDel(intf);
  else xlateConfig_->intfConfigIs(intf, cfg);
}

void XlateModule::vlanFidIs(uint16_t vlan, uint16_t fid) {
  if (fid) fidConfig_->vidToFidIs(vlan, fid);
  else fidConfig_->vidToFidDel(vlan);
}

void XlateModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"vlan", "translation"},
                  "[del] INTF ingress|egress V[.INNER] to M | [del] INTF native ingress|egress V to M",
                  "a VLAN translation on an Ethernet port or port channel (del: remove it, without 'to M')", true,
                  [this](A& a) -> Apply {
                    bool const del = a.accept("del");
                    Nollo::IntfId intf(a.next("interface"));
                    if (auto e = intfError(intf); !e.empty()) fail(e);
                    Translation tr = parseTranslation(a, !del);
                    a.end();
                    return [=, this](std::ostream&) {
                      if (del) translationDel(intf, tr);
                      else translationAdd(intf, tr);
                    };
                  }});
  t.statementAdd({{"vlan", "fid"}, "V FID|none", "VLAN V learns in filtering database FID (none: its own)", true,
                  [this](A& a) -> Apply {
                    uint16_t vlan = A::parseVlan(a.next("VLAN")).value();
                    std::string const& f = a.next("filtering database id or none");
                    uint16_t fid = f == "none" ? 0 : A::parseVlan(f).value();
                    a.end();
                    return [=, this](std::ostream&) { vlanFidIs(vlan, fid); };
                  }});
  t.statementAdd({{"show", "vlan", "translation"}, "[json]",
                  "translations per interface: configured, and per port programmed or refused", false,
                  [this](A& a) -> Apply {
                    bool json = a.accept("json");
                    return [=, this](std::ostream& out) {
                      std::string shown = ShowRenderer::render(translationShow(), json);
                      agent_->drainEvents(out);
                      out << shown;
                    };
                  }});
}

ShowModel XlateModule::translationShow() const {
  using M = ShowModel;
  using S = Bridging::VlanXlateIntfStatus;
  M m;
  m.lineAdd("vlan translation configured:\n");
  m.tableAdd("configured", "  ",
             {M::col("intf", "", 16), M::col("direction", " ", 15), M::col("match", " ", 9), M::col("mapped", " -> ")});
  for (auto const& [intf, c] : xlateConfig_->intfConfigMap()) {
    for (auto const& [k, v] : c.ingress) m.rowAdd({M::str(intf.str()), M::str("ingress"), M::str(k.str()), M::num(v)});
    for (auto const& [k, v] : c.egress) m.rowAdd({M::str(intf.str()), M::str("egress"), M::str(k.str()), M::num(v)});
    if (c.ingressNativeVlan)
      m.rowAdd({M::str(intf.str()), M::str("native ingress"), M::str(std::to_string(c.ingressNativeVlan)),
                M::num(c.ingressNativeMapped)});
    if (c.egressNativeVlan)
      m.rowAdd({M::str(intf.str()), M::str("native egress"), M::str(std::to_string(c.egressNativeVlan)),
                M::num(c.egressNativeMapped)});
  }
  m.lineAdd("vlan translation per port:\n");
  m.tableAdd("ports", "  ",
             {M::col("port", "", 16), M::col("from", " ", 16), M::col("direction", " ", 15), M::col("match", " ", 9),
              M::col("state", " ")});
  for (auto const& kv : xlateStatus_->xlateStatusMap()) {
    auto const& port = kv.first;
    auto const& s = kv.second;
    auto row = [&](char const* dir, std::string const& match, S::State st) {
      m.rowAdd({M::str(port.str()), M::str(s.configFrom.str()), M::str(dir), M::str(match),
                M::str(S::stateName(st))});
    };
    for (auto const& [k, st] : s.ingress) row("ingress", k.str(), st);
    for (auto const& [k, st] : s.egress) row("egress", k.str(), st);
    if (s.ingressNative != S::State::none) row("native ingress", "-", s.ingressNative);
    if (s.egressNative != S::State::none) row("native egress", "-", s.egressNative);
    if (!s.error.empty())
      m.rowAdd({M::str(port.str()), M::str(s.configFrom.str()), M::str("config"), M::str("-"), M::str("refused")},
               {"    " + s.error});
  }
  std::string unprogrammed;
  std::string json = "[";
  if (vlanMappingSm_)
    for (auto const& p : vlanMappingSm_->unprogrammedIntfList()) {
      if (json.size() > 1) json += ',';
      json += '"';
      json += p.str();
      json += '"';
      unprogrammed += ' ';
      unprogrammed += p.str();
    }
  json += ']';
  m.fieldAdd("unprogrammed", "unprogrammed:", M::raw(json, unprogrammed.empty() ? " none" : unprogrammed));
  m.lineAdd("\n");
  return m;
}

void XlateModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<XlateSection>());
}

}  // namespace KorAgent
