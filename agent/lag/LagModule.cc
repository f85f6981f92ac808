#include "agent/lag/LagModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/JsonString.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/lag/LagSection.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/l2/LagSm.h"
#include "softchip/SoftChip.h"

namespace KorAgent {

namespace {
[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }
}  // namespace

LagModule::LagModule(Agent* agent)
    : AgentModule(agent),
      ethLagIntfStatusDir_(Vix::makePtr<Interface::EthLagIntfStatusDir>("interface/status/eth/lag")),
      deviceNameDir_(Vix::makePtr<Lag::Input::IntfDeviceNameDir>("lag/input/deviceName")) {}

LagModule::~LagModule() = default;

std::string LagModule::deviceName(Nollo::IntfId const& lag) {
  std::string name = "po";
  name += std::to_string(lag.number(0));
  return name;
}

void LagModule::doCreateRoots() {
  lagSm_ = Kor::lagSmFactory(agent_->commonDataPtr(), ethLagIntfStatusDir_, deviceNameDir_,
                             agent_->chip()->lag().lagHelper());
}

void LagModule::doStartLibrary() { lagSm_->initializedIs(true); }

void LagModule::doDestroyLibrary() { lagSm_ = nullptr; }

void LagModule::lagAdd(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports) {
  if (!lag.isPortChannel()) fail(lag.str() + " is not a port channel");
  auto& dir = *ethLagIntfStatusDir_;
  for (auto const& p : ports) {
    if (!p.isEthernet()) fail(p.str() + " is not an Ethernet port");
    for (auto const& [other, s] : dir.intfStatusMap())
      if (s->memberHas(p)) fail(p.str() + " is already a member of " + other.str());
  }
  if (auto s = dir.intfStatus(lag)) {
    for (auto const& p : ports) s->memberIs(p, true);
    return;
  }
  // A new port channel is published whole: its members and device name.
  auto s = Vix::makePtr<Interface::EthLagIntfStatus>(lag);
  s->deviceNameIs(deviceName(lag));
  for (auto const& p : ports) s->memberIs(p, true);
  dir.intfStatusIs(lag, s);
}

void LagModule::lagDel(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports) {
  auto& dir = *ethLagIntfStatusDir_;
  auto s = dir.intfStatus(lag);
  if (!s) fail("no port channel " + lag.str());
  for (auto const& p : ports)
    if (!s->memberHas(p)) fail(p.str() + " is not a member of " + lag.str());
  bool const last = s->memberSize() == ports.size();
  if (last) {
    dir.intfStatusDel(lag);
    return;
  }
  for (auto const& p : ports) s->memberDel(p);
}

void LagModule::unmanagedIs(std::vector<Nollo::IntfId> const& ports, bool unmanaged) {
  for (auto const& p : ports)
    if (!p.isEthernet()) fail(p.str() + " is not an Ethernet port");
  auto& helper = agent_->chip()->lag().softLagHelper();
  for (auto const& p : ports) {
    helper.unmanagedIs(p, unmanaged);
    if (lagSm_) lagSm_->handleIntfManaged(p);
  }
}

void LagModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<LagSection>());
}

void LagModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Ports = std::vector<Nollo::IntfId>;
  auto lagOp = [this](char const* op, char const* help, void (LagModule::*fn)(Nollo::IntfId const&, Ports const&)) {
    return Statement{{"lag", op}, "LAG PORT...", help, true, [this, fn](A& a) -> Statement::Apply {
                       Nollo::IntfId lag(a.next("port-channel name"));
                       Ports ports;
                       do ports.emplace_back(a.next("port name"));
                       while (a.more());
                       return [=, this](std::ostream&) { (this->*fn)(lag, ports); };
                     }};
  };
  t.statementAdd(lagOp("add", "Ethernet ports join a port channel", &LagModule::lagAdd));
  t.statementAdd(lagOp("del", "they leave it; the port channel goes with its last member", &LagModule::lagDel));
  for (bool unmanaged : {true, false})
    t.statementAdd({{"lag", unmanaged ? "unmanaged" : "managed"}, "PORT...",
                    unmanaged ? "the chip leaves the ports to another agent: no port channel lists them"
                              : "the chip manages the ports again",
                    true, [this, unmanaged](A& a) -> Statement::Apply {
                      Ports ports;
                      do ports.emplace_back(a.next("port name"));
                      while (a.more());
                      return [=, this](std::ostream&) { unmanagedIs(ports, unmanaged); };
                    }});
  t.statementAdd({{"lag", "lacp"}, "on|off", "the chip runs LACP on its port channels (on at start)", false,
                  [this](A& a) -> Statement::Apply {
                    bool on = A::parseOnOff(a.next("on or off"));
                    a.end();
                    return [=, this](std::ostream&) { agent_->chip()->lag().lagHelper()->lacpEnabledIs(on); };
                  }});
}

void LagModule::showsAdd() {
  agent_->showAdd("lag", [this](bool json) { return ShowRenderer::render(lagShow(), json); });
}

namespace {

ShowModel::Cell portsCell(std::vector<Nollo::IntfId> const& ports) {
  std::string json = "[", text;
  for (auto const& p : ports) {
    if (json.size() > 1) json += ", ";
    json += jsonString(p.str());
    if (!text.empty()) text += ' ';
    text += p.str();
  }
  json += ']';
  return ShowModel::raw(json, text.empty() ? "-" : text);
}

}  // namespace

ShowModel LagModule::lagShow() const {
  using M = ShowModel;
  auto const* acsd = agent_->commonData();
  auto const& chip = agent_->chip()->lag();
  M m;
  std::string head = "lags (lacp ";
  head += chip.softLagHelper().lacpEnabled() ? "on" : "off";
  head += "):\n";
  m.lineAdd(head);
  m.tableAdd("lags", "  ",
             {M::col("lag", "", 16), M::col("type", "", 9), M::col("chipId", " chip "), M::col("members", " members "),
              M::col("unmanaged", " unmanaged ")});
  for (auto const& [lag, s] : ethLagIntfStatusDir_->intfStatusMap()) {
    Kor::KorPortList const listed = acsd ? acsd->lagToPort(lag) : Kor::KorPortList();
    std::vector<Nollo::IntfId> unmanaged;
    for (auto const& [p, on] : s->memberMap())
      if (!listed.has(p)) unmanaged.push_back(p);
    M::Cell type = M::raw("null", "-");
    if (acsd && acsd->lagToLagTypeHas(lag))
      type = M::str(acsd->lagToLagType(lag) == Kor::hardwareLag ? "hardware" : "software");
    uint32_t const id = chip.chipId(lag);
    m.rowAdd({M::str(lag.str()), type, id ? M::num(id) : M::raw("null", "-"), portsCell(listed.ports()),
              portsCell(unmanaged)});
  }
  return m;
}

std::vector<AgentModule::InputGroup> LagModule::inputGroups() const {
  InputGroup lags{50, "lags", {}};
  for (auto const& [lag, s] : ethLagIntfStatusDir_->intfStatusMap()) {
    std::string line = lag.str() + ":";
    // Appended in two steps: g++ 12 at -O3 warns falsely (-Wrestrict) on a
    // temporary " " + name here.
    for (auto const& [p, on] : s->memberMap()) {
      line += ' ';
      line += p.str();
    }
    lags.lines.push_back(line);
  }
  return {lags};
}

}  // namespace KorAgent
