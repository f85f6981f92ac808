#include "agent/fib/FecRouteSection.h"

#include "agent/fib/ConfigRouteTables.h"

#include <charconv>

#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "kor/adj/AdjSm.h"
#include "nollo/IpPrefix.h"

namespace KorAgent {

namespace {

using Pointer = nlohmann::json::json_pointer;
using Quill::Fib::FecType;
constexpr uint64_t kMaxFecId = FibModule::kRouteSourceFecBase - 1;

std::string fecPointer(uint64_t id) { return (Pointer("/fecs") / std::to_string(id)).to_string(); }
std::string routePointer(FecRouteSection::RouteKey const& k) {
  return (Pointer("/routes") / k.first.str() / k.second).to_string();
}

FibModule::Via parseVia(ConfigValue const& v, FecType type, bool familyV6) {
  v.object({"nextHop", "interface", "vlan", "labels", "backup", "weight"});
  FibModule::Via via;
  if (!v.has("interface")) v.fail("missing key 'interface'");
  via.intf = v.at("interface").parsed<Nollo::IntfId>();
  if (v.has("nextHop")) {
    via.hop = v.at("nextHop").parsed<Nollo::IpGenAddr>();
    if (type == FecType::attached && !via.hop.isZero())
      v.at("nextHop").fail("an attached FEC's via is an interface without next hop");
  } else if (type == FecType::attached) {
    via.hop = Nollo::IpGenAddr(familyV6 ? "::" : "0.0.0.0");
  } else {
    v.fail("missing key 'nextHop'");
  }
  if (v.has("vlan")) via.vlan = uint16_t(v.at("vlan").unsignedInt(Kor::VlanId::min, Kor::VlanId::max));
  if (v.has("labels"))
    for (auto const& l : v.at("labels").elements()) via.labels.push_back(uint32_t(l.unsignedInt(0, FibModule::kMaxMplsLabel)));
  if (v.has("backup")) via.backup = v.at("backup").boolean();
  if (v.has("weight")) via.weight = uint32_t(v.at("weight").unsignedInt(1, Kor::AdjSm::kMaxPaths));
  return via;
}

}  // namespace

void FecRouteSection::parse(ConfigValue const& doc, ConfigNames& names) {
  if (doc.has("fecs")) {
    for (auto const& [key, v] : doc.at("fecs").members()) {
      uint64_t id = 0;
      auto [end, ec] = std::from_chars(key.data(), key.data() + key.size(), id);
      if (ec != std::errc() || end != key.data() + key.size() || id > kMaxFecId)
        v.fail("bad FEC id '" + v.keyParsed<std::string>(key) + "': a number 0.." + std::to_string(kMaxFecId));
      if (!fecs_.emplace(id, doParseFec(v, names)).second) v.fail("FEC " + std::to_string(id) + " is named twice");
    }
  }
  if (doc.has("routes")) doParseRoutes(doc.at("routes"), names);
}

FecRouteSection::Fec FecRouteSection::doParseFec(ConfigValue const& v, ConfigNames const& names) const {
  v.object({"vrf", "type", "family", "vias"});
  Fec f;
  f.vrf = Kor::VrfName("default");
  if (v.has("vrf")) {
    f.vrf = v.at("vrf").parsed<Kor::VrfName>();
    if (!names.vrfHas(f.vrf)) v.at("vrf").fail("no VRF '" + f.vrf.str() + "' in /vrfs");
  }
  if (v.has("type")) {
    std::string const t = v.at("type").word({"forward", "attached", "drop"});
    f.type = t == "drop" ? FecType::drop : t == "attached" ? FecType::attached : FecType::forward;
  }
  std::optional<bool> family;
  if (v.has("family")) family = v.at("family").word({"ipv4", "ipv6"}) == "ipv6";
  f.v6 = family.value_or(false);
  std::vector<ConfigValue> vias;
  if (v.has("vias")) vias = v.at("vias").elements();
  if (f.type == FecType::drop && !vias.empty()) v.at("vias").fail("a drop FEC has no via");
  if (f.type == FecType::forward && vias.empty()) v.fail("a forward FEC has one via or more");
  if (f.type == FecType::attached && vias.size() != 1)
    v.fail("an attached FEC has one via, an interface without next hop");
  uint64_t paths = 0;
  for (size_t i = 0; i < vias.size(); ++i) {
    f.vias.push_back(parseVia(vias[i], f.type, f.v6));
    bool const v6 = f.vias.back().hop.isV6();
    // The first next hop sets the family unless "family" did.
    if (i == 0 && !family) f.v6 = v6;
    if (v6 != f.v6)
      vias[i].fail(std::string("an ") + (v6 ? "IPv6" : "IPv4") + " next hop in an " + (f.v6 ? "IPv6" : "IPv4") +
                   " FEC");
    paths += f.vias.back().weight;
  }
  if (paths > Kor::AdjSm::kMaxPaths)
    v.at("vias").fail(std::to_string(paths) + " paths, more than the " + std::to_string(Kor::AdjSm::kMaxPaths) +
                      " one FEC can hold");
  return f;
}

void FecRouteSection::doParseRoutes(ConfigValue const& routes, ConfigNames const& names) {
  ConfigRouteTables::forEach(routes, names, [&](Kor::VrfName const& vrf, FibModule::Prefix const& prefix,
                                                 std::string const& text, ConfigValue const& v) {
    Route r;
    r.prefix = prefix;
    bool const v6 = std::holds_alternative<Nollo::Ip6Prefix>(r.prefix);
    v.object({"fec"});
    if (!v.has("fec")) v.fail("missing key 'fec'");
    ConfigValue const fv = v.at("fec");
    r.fec = fv.unsignedInt(0, kMaxFecId);
    // A VRF's route machine reads only its own VRF's FEC table of the
    // prefix's family: any other FEC would leave the route unprogrammed.
    auto f = fecs_.find(r.fec);
    if (f == fecs_.end()) fv.fail("no FEC " + std::to_string(r.fec) + " in /fecs");
    if (f->second.vrf != vrf)
      fv.fail("FEC " + std::to_string(r.fec) + " is in vrf '" + f->second.vrf.str() + "', not in '" + vrf.str() + "'");
    if (f->second.v6 != v6)
      fv.fail("FEC " + std::to_string(r.fec) + " is " + (f->second.v6 ? "IPv6" : "IPv4") + ", the prefix " +
              (v6 ? "IPv6" : "IPv4"));
    if (!routes_.emplace(RouteKey{vrf, text}, r).second)
      v.fail("prefix " + text + " is named twice in vrf '" + vrf.str() + "'");
  });
}

void FecRouteSection::doApplyRemovals(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<FecRouteSection const&>(nextSection);
  // Routes before FECs: no route is left pointing at a FEC that goes.
  doRemoveEach(
      routes_, report, routePointer, [&](RouteKey const& k, Route const&) { return !next.routes_.count(k); },
      [&](RouteKey const& k, Route const& r) { agent.module<FibModule>().routeDel(k.first, r.prefix); });
  // A FEC in another VRF or family: removed here, added again with the adds.
  doRemoveEach(
      fecs_, report, fecPointer,
      [&](uint64_t id, Fec const& have) {
        auto n = next.fecs_.find(id);
        return n == next.fecs_.end() || n->second.vrf != have.vrf || n->second.v6 != have.v6;
      },
      [&](uint64_t id, Fec const&) { agent.module<FibModule>().fecDel(id); });
}

void FecRouteSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<FecRouteSection const&>(nextSection);
  // FECs before the routes that point at them.
  for (auto const& kv : next.fecs_) {
    uint64_t const id = kv.first;
    Fec const& want = kv.second;
    auto it = fecs_.find(id);
    if (it == fecs_.end()) {
      if (report.doInput(fecPointer(id), [&] { agent.module<FibModule>().fecAdd(id, want.vias, want.vrf, want.type, want.v6); }))
        fecs_.emplace(id, want);
    } else if (it->second != want) {
      if (report.doInput(fecPointer(id), [&] { agent.module<FibModule>().fecUpdate(id, want.vias, want.type); })) it->second = want;
    }
  }
  for (auto const& kv : next.routes_) {
    RouteKey const& key = kv.first;
    Route const& want = kv.second;
    auto it = routes_.find(key);
    if (it != routes_.end() && it->second == want) continue;
    if (report.doInput(routePointer(key), [&] { agent.module<FibModule>().routeAdd(key.first, want.prefix, want.fec); })) routes_[key] = want;
  }
}

}  // namespace KorAgent
