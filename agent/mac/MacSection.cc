#include "agent/mac/MacSection.h"

#include "agent/Agent.h"
#include "agent/StatementArgs.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/mac/MacModule.h"

namespace KorAgent {

namespace {

using Pointer = nlohmann::json::json_pointer;

std::string staticPointer(uint16_t vlan, Nollo::EthAddr const& mac) {
  return (Pointer("/macs/static") / std::to_string(vlan) / mac.str()).to_string();
}
std::string learningPointer(Nollo::IntfId const& intf) {
  return (Pointer("/macs/learning") / intf.str()).to_string();
}

}  // namespace

void MacSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (!doc.has("macs")) return;
  auto const macs = doc.at("macs");
  macs.object({"aging", "static", "learning"});
  if (macs.has("aging")) aging_ = static_cast<uint32_t>(macs.at("aging").unsignedInt(0, 1000000));
  if (macs.has("static")) {
    for (auto const& [vlanText, hosts] : macs.at("static").members()) {
      uint16_t vlan = 0;
      try {
        vlan = StatementArgs::parseVlan(vlanText).value();
      } catch (std::exception const& e) {
        hosts.fail(e.what());
      }
      for (auto const& [macText, intfValue] : hosts.members()) {
        Nollo::EthAddr const mac = intfValue.keyParsed<Nollo::EthAddr>(macText);
        if (mac.isMulticast()) {
          std::string m = "static MAC ";
          m += mac.str();
          m += " is not a unicast address";
          intfValue.fail(m);
        }
        static_[{vlan, mac}] = intfValue.parsed<Nollo::IntfId>();
      }
    }
  }
  if (macs.has("learning")) {
    for (auto const& [intfText, on] : macs.at("learning").members()) {
      Nollo::IntfId const intf = on.keyParsed<Nollo::IntfId>(intfText);
      if (!intf.isEthernet() && !intf.isPortChannel()) on.fail(intf.str() + " is not an Ethernet port or port channel");
      learning_[intf] = on.boolean();
    }
  }
}

void MacSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<MacSection const&>(nextSection);
  auto& mod = agent.module<MacModule>();
  doRemoveEach(
      static_, report, [](StaticKey const& k) { return staticPointer(k.first, k.second); },
      [&](StaticKey const& k, Nollo::IntfId const& intf) {
        auto n = next.static_.find(k);
        return n == next.static_.end() || n->second != intf;
      },
      [&](StaticKey const& k, Nollo::IntfId const&) { mod.staticDel(Kor::VlanId(k.first), k.second); });
  doRemoveEach(
      learning_, report, learningPointer,
      [&](Nollo::IntfId const& intf, bool) { return !next.learning_.count(intf); },
      [&](Nollo::IntfId const& intf, bool) { mod.learningIs(intf, true); });
  if (aging_ && !next.aging_ && report.doInput("/macs/aging", [&] { mod.agingTimeIs(MacModule::kDefaultAgingTime); }))
    aging_.reset();
}

void MacSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<MacSection const&>(nextSection);
  auto& mod = agent.module<MacModule>();
  if (next.aging_ && aging_ != next.aging_ &&
      report.doInput("/macs/aging", [&] { mod.agingTimeIs(*next.aging_); }))
    aging_ = next.aging_;
  for (auto const& kv : next.static_) {
    auto const& k = kv.first;
    auto const& intf = kv.second;
    if (static_.count(k)) continue;
    if (report.doInput(staticPointer(k.first, k.second), [&] { mod.staticAdd(Kor::VlanId(k.first), k.second, intf); }))
      static_[k] = intf;
  }
  for (auto const& kv : next.learning_) {
    auto const& intf = kv.first;
    bool const on = kv.second;
    auto it = learning_.find(intf);
    if (it != learning_.end() && it->second == on) continue;
    if (report.doInput(learningPointer(intf), [&] { mod.learningIs(intf, on); })) learning_[intf] = on;
  }
}

}  // namespace KorAgent
