#include "agent/routing/RoutingInputsSection.h"

#include "agent/Agent.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "agent/routing/RoutingInputsModule.h"

namespace KorAgent {

namespace {

constexpr char const* kHwKeys[] = {"maxNumRoutes", "parentDropRoute", "deletionDelay", "icmpUnreachable",
                                   "greKeyForwarding"};

Urpf::UrpfStatus::Mode urpfMode(ConfigValue const& v) {
  std::string const w = v.word({"loose", "strict", "off"});
  return w == "loose" ? Urpf::UrpfStatus::Mode::loose
         : w == "strict" ? Urpf::UrpfStatus::Mode::strict
                         : Urpf::UrpfStatus::Mode::disabled;
}

}  // namespace

RoutingInputsSection::RoutingInputsSection() : routerMac_(RoutingInputsModule::kDefaultRouterMac) {
  for (auto const* k : kHwKeys) hwFields_[k] = 0;
}

void RoutingInputsSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (!doc.has("routing")) return;
  ConfigValue const r = doc.at("routing");
  r.object({"routerMac", "maxNumRoutes", "parentDropRoute", "deletionDelay", "icmpUnreachable", "greKeyForwarding",
            "mlagPeerMac", "mpls", "urpf", "urpfInterfaces", "mplsOffInterfaces", "deferredRouting"});
  if (r.has("routerMac")) {
    ConfigValue const v = r.at("routerMac");
    routerMac_ = v.parsed<Nollo::EthAddr>();
    if (routerMac_.isZero() || routerMac_.isMulticast()) v.fail("router mac " + routerMac_.str() + " is not a unicast address");
  }
  for (auto const* k : kHwKeys) {
    if (!r.has(k)) continue;
    ConfigValue const v = r.at(k);
    std::string const key = k;
    hwFields_[key] = RoutingInputsModule::hwFieldIsFlag(key) ? double(v.boolean())
                     : key == "deletionDelay"               ? v.duration()
                                                            : double(v.unsignedInt(0, UINT64_MAX));
  }
  if (r.has("mlagPeerMac")) {
    ConfigValue const v = r.at("mlagPeerMac");
    mlagPeerMac_ = v.parsed<Nollo::EthAddr>();
    if (mlagPeerMac_.isZero() || mlagPeerMac_.isMulticast()) v.fail("mlag peer mac " + mlagPeerMac_.str() + " is not a unicast address");
  }
  if (r.has("mpls")) mpls_ = r.at("mpls").boolean();
  if (r.has("urpf")) urpf_ = r.at("urpf").boolean();
  if (r.has("deferredRouting")) deferredRouting_ = r.at("deferredRouting").boolean();
  if (r.has("urpfInterfaces")) {
    for (auto const& [name, v] : r.at("urpfInterfaces").members()) {
      auto intf = v.keyParsed<Nollo::IntfId>(name);
      v.object({"ipv4", "ipv6", "allowDefault"});
      IntfUrpf u;
      if (v.has("ipv4")) u.v4.mode = urpfMode(v.at("ipv4"));
      if (v.has("ipv6")) u.v6.mode = urpfMode(v.at("ipv6"));
      bool const allow = v.has("allowDefault") && v.at("allowDefault").boolean();
      u.v4.allowDefault = allow && u.v4.mode != Urpf::UrpfStatus::Mode::disabled;
      u.v6.allowDefault = allow && u.v6.mode != Urpf::UrpfStatus::Mode::disabled;
      urpfIntfs_[intf] = u;
    }
  }
  if (r.has("mplsOffInterfaces")) {
    for (auto const& v : r.at("mplsOffInterfaces").elements()) {
      auto intf = v.parsed<Nollo::IntfId>();
      if (!mplsOff_.insert(intf).second) v.fail("interface " + intf.str() + " is named twice");
    }
  }
}

void RoutingInputsSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<RoutingInputsSection const&>(nextSection);
  auto& m = agent.module<RoutingInputsModule>();
  if (routerMac_ != next.routerMac_ && report.doInput("/routing/routerMac", [&] { m.routerMacIs(next.routerMac_); }))
    routerMac_ = next.routerMac_;
  for (auto const& field : next.hwFields_) {
    std::string const& k = field.first;
    double const v = field.second;
    if (hwFields_[k] != v && report.doInput("/routing/" + k, [&] { m.hwFieldIs(k, v); })) hwFields_[k] = v;
  }
  if (mlagPeerMac_ != next.mlagPeerMac_ &&
      report.doInput("/routing/mlagPeerMac", [&] { m.mlagActiveIs(!next.mlagPeerMac_.isZero(), next.mlagPeerMac_); }))
    mlagPeerMac_ = next.mlagPeerMac_;
  if (mpls_ != next.mpls_ && report.doInput("/routing/mpls", [&] { m.mplsRoutingIs(next.mpls_); })) mpls_ = next.mpls_;
  if (deferredRouting_ != next.deferredRouting_ &&
      report.doInput("/routing/deferredRouting", [&] { m.deferredRoutingIs(next.deferredRouting_); }))
    deferredRouting_ = next.deferredRouting_;
  // The interfaces' checks before the switch: uRPF comes on with them set.
  auto pointer = [](std::string const& base, Nollo::IntfId const& intf) {
    return (nlohmann::json::json_pointer(base) / intf.str()).to_string();
  };
  for (auto it = urpfIntfs_.begin(); it != urpfIntfs_.end();) {
    if (next.urpfIntfs_.count(it->first) ||
        !report.doInput(pointer("/routing/urpfInterfaces", it->first), [&] {
          m.intfUrpfIs(it->first, true, Urpf::UrpfStatus());
          m.intfUrpfIs(it->first, false, Urpf::UrpfStatus());
        })) {
      ++it;
      continue;
    }
    it = urpfIntfs_.erase(it);
  }
  for (auto const& item : next.urpfIntfs_) {
    Nollo::IntfId const& intf = item.first;
    IntfUrpf const& u = item.second;
    auto it = urpfIntfs_.find(intf);
    if (it != urpfIntfs_.end() && it->second == u) continue;
    if (report.doInput(pointer("/routing/urpfInterfaces", intf), [&] {
          m.intfUrpfIs(intf, true, u.v4);
          m.intfUrpfIs(intf, false, u.v6);
        }))
      urpfIntfs_[intf] = u;
  }
  if (urpf_ != next.urpf_ && report.doInput("/routing/urpf", [&] { m.urpfEnabledIs(next.urpf_); })) urpf_ = next.urpf_;
  for (auto it = mplsOff_.begin(); it != mplsOff_.end();) {
    if (next.mplsOff_.count(*it) || !report.doInput("/routing/mplsOffInterfaces", [&] { m.mplsIntfIs(*it, true); })) {
      ++it;
      continue;
    }
    it = mplsOff_.erase(it);
  }
  for (auto const& intf : next.mplsOff_)
    if (!mplsOff_.count(intf) && report.doInput("/routing/mplsOffInterfaces", [&] { m.mplsIntfIs(intf, false); }))
      mplsOff_.insert(intf);
}

}  // namespace KorAgent
