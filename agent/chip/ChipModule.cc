#include "agent/chip/ChipModule.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"
#include "agent/chip/HardwareSection.h"
#include "softchip/l3/RouteResolverSm.h"
#include "softchip/adj/SoftAdjSmHelper.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

SoftChip::ChipAnswer parseAnswer(std::string const& t) {
  if (t == "ok") return SoftChip::ChipAnswer::success;
  if (t == "fail") return SoftChip::ChipAnswer::fail;
  if (t == "notready") return SoftChip::ChipAnswer::notReady;
  if (t == "full") return SoftChip::ChipAnswer::resourceFull;
  fail("expected ok, fail, notready or full, got '" + t + "'");
}

bool isAnswer(std::string const& t) { return t == "ok" || t == "fail" || t == "notready" || t == "full"; }

}  // namespace

ChipModule::ChipModule(Agent* agent)
    : AgentModule(agent),
      hwConfig_(Vix::makePtr<Routing::Hardware::Config>("routing/hardware/config")),
      hwStatus_(Vix::makePtr<Routing::Hardware::Status>("routing/hardware/status")),
      hwRouteStatus_(Vix::makePtr<Routing::Hardware::RouteStatus>("routing/hardware/route/status")),
      hwRoute6Status_(Vix::makePtr<Routing6::Hardware::RouteStatus>("routing6/hardware/route/status")) {}

void ChipModule::doCreateHelpers() {
  auto* chip = agent_->chip();
  chip->l3().routeResolverIs(Vix::makePtr<SoftChip::RouteResolverSm>(chip, agent_->l3StatusPtr(), hwStatus_));
}

void ChipModule::doDetachLibrary() { agent_->chip()->l3().routeResolverIs(nullptr); }

void ChipModule::maxEcmpIs(uint32_t n) { hwStatus_->maxEcmpIs(n); }

void ChipModule::adjSharingIs(Routing::Hardware::AdjSharing mode) { hwConfig_->adjSharingIs(mode); }

void ChipModule::exactMatchLengthsIs(std::vector<uint32_t> const& bits) {
  std::vector<Routing::RoutesInExactMatch> lengths;
  for (uint32_t b : bits) {
    Routing::RoutesInExactMatch len;
    if (!Routing::RoutesInExactMatch::fromBits(b, len))
      fail("bad exact-match prefix length " + std::to_string(b) + ": must be a multiple of 4 in 48..112");
    lengths.push_back(len);
  }
  auto& st = *hwStatus_;
  std::vector<Routing::RoutesInExactMatch> gone;
  for (auto const& [len, on] : st.prefixLenInExactMatchMap())
    if (std::find(lengths.begin(), lengths.end(), len) == lengths.end()) gone.push_back(len);
  for (auto const& len : gone) st.prefixLenInExactMatchDel(len);
  for (auto const& len : lengths) st.prefixLenInExactMatchIs(len, true);
}

void ChipModule::chipRulesChanged() {
  auto* chip = agent_->chip();
  chip->adj().softAdjSmHelper().recheckResourceFull();
  chip->l3().softVrfHelper().recheckResourceFull();
  chip->lag().softLagHelper().recheckRefused();
  if (auto const& resolver = chip->l3().routeResolver()) resolver->doRecheckResourceFull();
}

void ChipModule::configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>& out) const {
  out.push_back(std::make_unique<HardwareSection>());
}

void ChipModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"set", "maxEcmp"}, "N", "the hardware's largest ECMP group (0: not published)", false,
                  [this](A& a) -> Apply {
                    auto n = uint32_t(A::parseUnsigned(a.next("value"), "path count", UINT32_MAX));
                    return [=, this](std::ostream&) { maxEcmpIs(n); };
                  }});
  t.statementAdd({{"set", "adjSharing"}, "on|off|default",
                  "the hardware configuration's L2 adjacency sharing mode (default: the platform's)", false,
                  [this](A& a) -> Apply {
                    std::string const& v = a.next("value");
                    using S = Routing::Hardware::AdjSharing;
                    S mode = v == "default" ? S::platformDefault : A::parseOnOff(v) ? S::on : S::off;
                    return [=, this](std::ostream&) { adjSharingIs(mode); };
                  }});
  t.statementAdd({{"chip", "capacity"}, "TABLE N", "the table holds at most N entries (new writes beyond: full)", false,
                  [this](A& a) -> Apply {
                    std::string table = a.next("table name");
                    uint64_t n = A::parseUnsigned(a.next("capacity"), "capacity");
                    a.end();
                    if (!agent_->chip()->table(table)) fail("unknown chip table '" + table + "'");
                    return [=, this](std::ostream&) {
                      agent_->chip()->table(table)->capacityIs(n);
                      chipRulesChanged();
                    };
                  }});
  t.statementAdd({{"chip", "em"}, "LEN...|none",
                  "the IPv6 prefix lengths the chip keeps in its exact-match table (multiples of 4, 48..112)", false,
                  [this](A& a) -> Apply {
                    std::vector<uint32_t> bits;
                    if (!a.accept("none")) {
                      do bits.push_back(uint32_t(A::parseUnsigned(a.next("prefix lengths or none"), "prefix length", 128)));
                      while (a.more());
                    }
                    return [=, this](std::ostream&) { exactMatchLengthsIs(bits); };
                  }});
  t.statementAdd({{"chip", "fault", "clear"}, "", "remove every fault rule", false, [this](A&) -> Apply {
                    return [this](std::ostream&) {
                      agent_->chip()->injector().faultsDelAll();
                      chipRulesChanged();
                    };
                  }});
  t.statementAdd({{"chip", "fault", "rate"}, "P seed S [fail|notready|full]",
                  "calls no rule covers get that answer (fail) with probability P, seeded with S", false,
                  [this](A& a) -> Apply {
                    std::string const& rate = a.next("rate");
                    double p = A::parseNumber(rate, "rate");
                    if (p < 0 || p > 1) fail("bad rate '" + rate + "': must be 0..1");
                    a.keyword("seed");
                    uint64_t seed = A::parseUnsigned(a.next("seed"), "seed");
                    SoftChip::ChipAnswer ans = a.more() ? parseAnswer(a.next("answer")) : SoftChip::ChipAnswer::fail;
                    return [=, this](std::ostream&) {
                      agent_->chip()->injector().randomFaultIs(p, seed, ans);
                      chipRulesChanged();
                    };
                  }});
  t.statementAdd({{"chip", "fault"}, "KIND [KEY] fail|notready|full|ok",
                  "every call for that table (or one object of it) gets that answer; ok removes the rule", false,
                  [this](A& a) -> Apply {
                    std::string kind = a.next("object kind, rate or clear");
                    if (!agent_->chip()->table(kind)) fail("unknown chip table '" + kind + "'");
                    std::string key = a.next("answer or object key");
                    if (isAnswer(key) && !a.more()) {
                      SoftChip::ChipAnswer ans = parseAnswer(key);
                      return [=, this](std::ostream&) {
                        agent_->chip()->injector().kindFaultIs(kind, ans);
                        chipRulesChanged();
                      };
                    }
                    SoftChip::ChipAnswer ans = parseAnswer(a.next("answer"));
                    return [=, this](std::ostream&) {
                      agent_->chip()->injector().objectFaultIs(kind, key, ans);
                      chipRulesChanged();
                    };
                  }});
}

void ChipModule::showsAdd() {
  agent_->showAdd("chip", [this](bool json) { return ShowRenderer::render(chipShow(), json); });
}

ShowModel ChipModule::chipShow() const {
  using M = ShowModel;
  auto* chip = agent_->chip();
  auto const& fi = chip->injector();
  M m;
  m.lineAdd("chip:\n");
  m.tableAdd("tables", "  ",
             {M::col("name", "table "), M::textOnly(": "), M::col("capacity", " of "), M::col("creates", " (creates "),
              M::col("updates", ", updates "), M::col("deletes", ", deletes "), M::col("syncs", ", syncs "),
              M::textOnly(")"), M::jsonOnly("entries")});
  for (auto* t : chip->tables()) {
    auto const& c = t->counters();
    bool const unlimited = t->capacity() == SoftChip::ChipTableBase::kUnlimited;
    std::vector<std::pair<std::string, M::Cell>> entries;
    std::vector<std::string> lines;
    for (auto const& [k, v] : t->entryTexts()) {
      entries.emplace_back(k, M::str(v));
      lines.push_back("    " + k + " -> " + v);
    }
    m.rowAdd({M::str(t->name()), M::num(t->size()),
              unlimited ? M::raw("null", "unlimited") : M::num(t->capacity()), M::num(c.creates), M::num(c.updates),
              M::num(c.deletes), M::num(c.syncs), M::raw("", ""), M::object(entries, "")},
             lines);
  }
  std::ostringstream faults;
  for (auto const& [key, a] : fi.objectFaults())
    faults << "  fault " << key.first << " " << key.second << " " << SoftChip::chipAnswerName(a) << "\n";
  for (auto const& [kind, a] : fi.kindFaults()) faults << "  fault " << kind << " " << SoftChip::chipAnswerName(a) << "\n";
  if (fi.rate() > 0)
    faults << "  fault rate " << fi.rate() << " seed " << fi.seed() << " " << SoftChip::chipAnswerName(fi.rateAnswer())
           << "\n";
  m.lineAdd(faults.str());
  // Resilient L2 adjacencies: buckets rewritten, in total and per index
  // (JSON {"total": N, "perL2Adj": {"INDEX": N}}); the text says it once any
  // bucket was written.
  auto const& bw = chip->adj().softAdjSmHelper().bucketWrites();
  std::ostringstream b;
  std::vector<std::pair<std::string, M::Cell>> perIndex;
  b << "  bucket writes " << bw.bucketWrites() << " (";
  char const* sep = "";
  for (auto const& [index, n] : bw.perIndex()) {
    b << std::exchange(sep, ", ") << "l2adj " << index << ": " << n;
    perIndex.emplace_back(std::to_string(index), M::num(n));
  }
  m.fieldAdd("bucketWrites", "",
             M::object({{"total", M::num(bw.bucketWrites())}, {"perL2Adj", M::object(perIndex, "")}},
                       bw.bucketWrites() ? b.str() + ")\n" : ""));
  m.tableAdd("calls", "  ",
             {M::col("kind", "calls "), M::col("calls", ": "), M::col("ok", " (ok "), M::col("fail", ", fail "),
              M::col("notready", ", notready "), M::col("full", ", full "), M::textOnly(")")},
             M::Form::keyed);
  for (auto const& [kind, c] : fi.countersMap())
    m.rowAdd({M::str(kind), M::num(c.calls), M::num(c.success), M::num(c.fail), M::num(c.notReady),
              M::num(c.resourceFull), M::raw("", "")});
  return m;
}

}  // namespace KorAgent
