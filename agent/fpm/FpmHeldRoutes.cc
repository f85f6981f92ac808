#include "agent/fpm/FpmHeldRoutes.h"

#include <algorithm>
#include <functional>

namespace KorAgent {

using KorFeeds::NlRoute;

size_t FpmHeldRoutes::KeyHash::operator()(Key const& k) const noexcept {
  return std::hash<NlRoute::Prefix>()(k.prefix) ^ (size_t(k.table) * 0x9e3779b97f4a7c15ull);
}

bool FpmHeldRoutes::hold(NlRoute const& r, uint32_t gen) {
  Key k{r.table, r.prefix};
  auto it = held_.find(k);
  if (it == held_.end()) {
    if (held_.size() >= limit_) {
      ++counters_.overflow;
      return false;
    }
    held_.try_emplace(k, Held{r, gen});
  } else {
    doUnindex(k, it->second.route.nhId);
    it->second = Held{r, gen};
    ++counters_.replaced;
  }
  byObject_[r.nhId].push_back(std::move(k));
  ++counters_.held;
  return true;
}

bool FpmHeldRoutes::drop(uint32_t table, NlRoute::Prefix const& prefix, bool deleted) {
  if (held_.empty()) return false;
  Key const k{table, prefix};
  auto it = held_.find(k);
  if (it == held_.end()) return false;
  doUnindex(k, it->second.route.nhId);
  held_.erase(k);
  ++(deleted ? counters_.dropped : counters_.replaced);
  return true;
}

std::vector<NlRoute> FpmHeldRoutes::take(uint32_t nhId) {
  std::vector<NlRoute> out;
  auto w = byObject_.find(nhId);
  if (w == byObject_.end()) return out;
  for (Key const& k : w->second) {
    auto it = held_.find(k);
    out.push_back(std::move(it->second.route));
    held_.erase(k);
  }
  byObject_.erase(w);
  counters_.released += out.size();
  return out;
}

void FpmHeldRoutes::dropStale(uint32_t gen) {
  std::vector<Key> stale;
  for (auto const& [k, h] : held_)
    if (h.gen != gen) stale.push_back(k);
  for (Key const& k : stale) {
    doUnindex(k, held_.find(k)->second.route.nhId);
    held_.erase(k);
  }
  counters_.dropped += stale.size();
}

void FpmHeldRoutes::doUnindex(Key const& k, uint32_t nhId) {
  auto w = byObject_.find(nhId);
  if (w == byObject_.end()) return;
  auto& keys = w->second;
  if (auto p = std::find(keys.begin(), keys.end(), k); p != keys.end()) keys.erase(p);
  if (keys.empty()) byObject_.erase(w);
}

}  // namespace KorAgent
