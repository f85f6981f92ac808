#include "agent/resil/ResilientModule.h"

#include <stdexcept>
#include <utility>

#include "agent/Agent.h"
#include "agent/JsonString.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementArgs.h"
#include "agent/StatementTable.h"
#include "agent/chip/ChipModule.h"
#include "agent/resil/ResilientSection.h"
#include "kor/adj/AdjSm.h"
#include "kor/l3/VrfRootSm.h"
#include "quill/FecId.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

}  // namespace

ResilientModule::Prefix ResilientModule::parsePrefix(std::string const& t) {
  if (t.find(':') != std::string::npos) return Nollo::Ip6Prefix(t);
  return Nollo::IpPrefix(t);
}

std::string ResilientModule::prefixText(Prefix const& prefix) {
  return std::visit([](auto const& p) { return p.str(); }, prefix);
}

std::string ResilientModule::paramsError(Kor::ResilientEcmpParams const& params) {
  if (params.valid()) return {};
  std::string e = "bad bucket table ";
  e += std::to_string(params.capacity) + " x " + std::to_string(params.redundancy);
  e += ": capacity and redundancy at least 1, their product at most ";
  e += std::to_string(Kor::ResilientEcmpParams::kMaxBuckets);
  return e;
}

ResilientModule::ResilientModule(Agent* agent)
    : AgentModule(agent), config_(Vix::makePtr<Kor::ResilientEcmpConfig>("resilientEcmpConfig")) {}

void ResilientModule::prefixIs(Kor::VrfName const& vrf, Prefix const& prefix, Kor::ResilientEcmpParams const& params) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) config_->prefixIs({vrf, *p4}, params);
  else config_->prefix6Is({vrf, std::get<Nollo::Ip6Prefix>(prefix)}, params);
}

void ResilientModule::prefixDel(Kor::VrfName const& vrf, Prefix const& prefix) {
  if (auto const* p4 = std::get_if<Nollo::IpPrefix>(&prefix)) config_->prefixDel({vrf, *p4});
  else config_->prefix6Del({vrf, std::get<Nollo::Ip6Prefix>(prefix)});
}

void ResilientModule::supportedIs(bool on) {
  agent_->module<ChipModule>().hwStatus()->resilientEcmpSupportedIs(on);
}

void ResilientModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"resilient", "add"}, "VRF PREFIX capacity N redundancy M",
                  "the prefix spreads over a fixed table of N x M buckets (at most 1056)", true,
                  [this](A& a) -> Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    a.keyword("capacity");
                    auto capacity = uint32_t(A::parseUnsigned(a.next("capacity"), "capacity", UINT32_MAX));
                    a.keyword("redundancy");
                    auto redundancy = uint32_t(A::parseUnsigned(a.next("redundancy"), "redundancy", UINT32_MAX));
                    a.end();
                    Kor::ResilientEcmpParams params{capacity, redundancy};
                    if (auto e = paramsError(params); !e.empty()) fail(e);
                    return [=, this](std::ostream&) { prefixIs(vrf, prefix, params); };
                  }});
  t.statementAdd({{"resilient", "del"}, "VRF PREFIX", "the prefix is plain ECMP again", true,
                  [this](A& a) -> Apply {
                    Kor::VrfName vrf(a.next("VRF name"));
                    Prefix prefix = parsePrefix(a.next("prefix"));
                    a.end();
                    return [=, this](std::ostream&) { prefixDel(vrf, prefix); };
                  }});
  t.statementAdd({{"set", "resilientEcmpSupported"}, "on|off", "whether the hardware offers resilient ECMP", false,
                  [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("value"));
                    a.end();
                    return [=, this](std::ostream&) { supportedIs(on); };
                  }});
}

void ResilientModule::showsAdd() {
  agent_->showAdd("resilient", [this](bool json) { return ShowRenderer::render(tablesShow(), json); });
}

void ResilientModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<ResilientSection>());
}

std::string ResilientModule::resilientShow() const { return ShowRenderer::text(tablesShow()); }

// JSON: {"supported": bool, "config": [{vrf, prefix, capacity, redundancy}],
// "tables": [{vrf, prefix, fec, adj, l2Adj, buckets, capacity, redundancy,
// moves, members: [{nextHop, weight, bucketCount, buckets}], bucketTable:
// [next hop or null per bucket]}]}. The text names a VRF once, above its
// first table.
ShowModel ResilientModule::tablesShow() const {
  using M = ShowModel;
  M m;
  m.fieldAdd("supported", "resilient ecmp: supported ",
             M::flag(agent_->module<ChipModule>().hwStatus()->resilientEcmpSupported(), "yes", "no"));
  m.lineAdd("\n");
  auto const* root = agent_->vrfRootSm();
  if (!root) return m;
  m.tableAdd("config", "  config ",
             {M::col("vrf"), M::col("prefix", " "), M::col("capacity", " "), M::col("redundancy", " x ")});
  auto configRow = [&m](Kor::VrfName const& vrf, std::string const& prefix, Kor::ResilientEcmpParams const& p) {
    m.rowAdd({M::str(vrf.str()), M::str(prefix), M::num(p.capacity), M::num(p.redundancy)});
  };
  for (auto const& [key, params] : config_->prefixMap()) configRow(key.first, key.second.str(), params);
  for (auto const& [key, params] : config_->prefix6Map()) configRow(key.first, key.second.str(), params);
  m.tableAdd("tables", "",
             {M::col("vrf"), M::col("prefix", "Prefix: "), M::col("fec", ", fec: "), M::col("adj", ", adj: "),
              M::col("l2Adj", ", l2Adj: "), M::col("buckets", ", buckets: "), M::col("capacity", " (capacity "),
              M::col("redundancy", " x redundancy "), M::col("moves", "), moves: "), M::jsonOnly("members"),
              M::jsonOnly("bucketTable")});
  for (auto const& [name, vrf] : root->vrfRootMap()) {
    if (!vrf || !vrf->korAdjSm()) continue;
    std::vector<Kor::ResilientTableShow> tables;
    vrf->korAdjSm()->resilientTableShowsAdd(tables);
    bool first = true;
    for (auto const& t : tables) {
      std::string members = "[";
      std::vector<std::string> lines;
      for (auto const& mb : t.members) {
        std::string buckets;
        for (uint32_t b : mb.buckets) (buckets += buckets.empty() ? "" : ", ") += std::to_string(b);
        members += members.size() > 1 ? ", " : "";
        members += M::object({{"nextHop", M::str(mb.nextHop)}, {"weight", M::num(mb.weight)},
                              {"bucketCount", M::num(mb.buckets.size())}, {"buckets", M::raw("[" + buckets + "]", "")}},
                             "")
                       .json;
        std::string line = "  ";
        line += mb.nextHop;
        line += " " + std::to_string(mb.buckets.size()) + " " + mb.bitmap;
        lines.push_back(line);
      }
      std::string bucketTable = "[";
      for (size_t i = 0; i < t.bucketList.size(); ++i) {
        bucketTable += i ? ", " : "";
        bucketTable += t.bucketList[i].empty() ? std::string("null") : jsonString(t.bucketList[i]);
      }
      std::string header;
      if (std::exchange(first, false)) (header += "vrf ") += name.str() + ":\n";
      m.rowAdd({M::raw(jsonString(name.str()), header), M::str(t.prefix), M::str(Quill::Fib::FecId(t.fec).str()),
                M::str(Quill::Fib::FecId(t.adj).str()),
                M::num(t.l2Adj), M::num(t.buckets), M::num(t.params.capacity), M::num(t.params.redundancy),
                M::num(t.moves), M::raw(members + "]", ""), M::raw(bucketTable + "]", "")},
               lines);
    }
  }
  return m;
}

}  // namespace KorAgent
