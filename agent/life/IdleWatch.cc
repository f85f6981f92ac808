#include "agent/life/IdleWatch.h"

#include <map>
#include <sstream>

#include "agent/Agent.h"
#include "quill/FecId.h"
#include "kor/adj/AdjSm.h"
#include "kor/l3/Route6Sm.h"
#include "kor/l3/RouteSm.h"
#include "kor/l3/VrfRootSm.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"

namespace KorAgent {

std::vector<std::string> IdleWatch::waiting() const {
  std::vector<std::string> out;
  auto const* l3 = agent_.l3Status();
  auto const* root = agent_.vrfRootSm();
  if (!l3 || !root) return out;
  auto full = [](bool f) { return f ? ", resources full" : ""; };
  for (auto const& vrf : root->unprogrammedVrfs())
    out.push_back("KorVrfRootSm vrf " + vrf.str() + ": not taken by the chip" + full(l3->vrfResourceFull()));
  for (auto const& [name, vrfRoot] : root->vrfRootMap()) {
    std::string const vrf = name.str();  // a structured binding is not captured by lambdas in C++20 everywhere
    auto prefix = [&](char const* machine) { return std::string(machine) + " vrf " + vrf + ": "; };
    if (auto const& sm = vrfRoot->korAdjSm()) {
      if (size_t n = sm->adjsForReview())
        out.push_back(prefix("KorAdjSm") + "Adjacencies (" + std::to_string(n) + ") sitting in review queue");
      if (size_t n = sm->unprogrammedAdjList().size())
        out.push_back(prefix("KorAdjSm") + std::to_string(n) + " adjacencies whose L2 adjacency is not installed");
    }
    auto const& vrfRootRef = *vrfRoot;  // a structured binding is not captured by lambdas everywhere
    auto routes = [&](bool v6, char const* machine, bool resourceFull) {
      auto const w = vrfRootRef.routeWork(v6);
      if (size_t n = w.unprogrammed)
        out.push_back(prefix(machine) + std::to_string(n) + " routes unprogrammed" + full(resourceFull));
      if (size_t n = w.forReview) out.push_back(prefix(machine) + std::to_string(n) + " routes queued for review");
      if (size_t n = w.pendingDeletions) out.push_back(prefix(machine) + std::to_string(n) + " deletions pending");
    };
    routes(false, "KorRoutingSm", l3->routingResourceFull());
    routes(true, "KorIp6RoutingSm", l3->ip6RoutingResourceFull());
  }
  std::map<uint64_t, std::string> l2;
  for (auto const& [key, l2Adj] : l3->l2AdjListMap()) {
    if (!l2Adj || l2Adj->state() == Kor::L2AdjState::installed) continue;
    std::ostringstream os;
    os << "KorL2AdjHelper: l2adj " << key.index() << " " << l2Adj->state() << " (fecs";
    for (auto fec : l2Adj->adjEntry()) os << " " << Quill::Fib::FecId(fec);
    os << ")" << full(l3->adjResourceFull());
    l2.emplace(key.index(), os.str());
  }
  for (auto& [index, line] : l2) out.push_back(std::move(line));
  if (out.size() > kMaxLines) {
    size_t more = out.size() - kMaxLines;
    out.resize(kMaxLines);
    out.push_back("... and " + std::to_string(more) + " more");
  }
  return out;
}

bool IdleWatch::timedWorkPending() const {
  auto const* root = agent_.vrfRootSm();
  if (!root) return false;
  for (auto const& [name, vrfRoot] : root->vrfRootMap()) {
    for (bool v6 : {false, true}) {
      auto const w = vrfRoot->routeWork(v6);
      if (w.forReview || w.pendingDeletions) return true;
    }
  }
  return false;
}

uint64_t IdleWatch::chipChanges() const {
  uint64_t n = 0;
  for (auto const* t : agent_.chip()->registry().tables()) {
    auto const& c = t->counters();
    n += c.creates + c.updates + c.deletes + c.syncs;
  }
  return n;
}

}  // namespace KorAgent
