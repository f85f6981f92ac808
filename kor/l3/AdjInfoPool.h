#pragma once
// Interns the AdjInfo records of one route machine: every route with the same
// statement (route type, FEC, L2 adjacency, vias) shares one immutable record.
// A full table of a million routes over a few thousand FECs then holds a few
// thousand records, and "did the route change?" is a pointer comparison.
// Records no route uses any more are swept when the pool has doubled since
// the last sweep.
#include <cstdint>
#include <functional>
#include <vector>

#include "kor/records/AdjInfo.h"
#include "vix/HashMap.h"
#include "vix/Ptr.h"

namespace Kor {

class AdjInfoPool {
 public:
  struct Key {
    uint64_t fibAdjIndex;
    uint64_t l2AdjIndex;
    RouteType routeType;
    bool vias;
    bool operator==(Key const&) const = default;
  };
  struct KeyHash {
    size_t operator()(Key const& k) const noexcept {
      uint64_t h = k.fibAdjIndex * 0x9E3779B97F4A7C15ull ^ (k.l2AdjIndex + 0x632BE59BD9B4E019ull) * 0xC2B2AE3D27D4EB4Full;
      return size_t(h ^ (h >> 29) ^ (uint64_t(k.routeType) << 1 | uint64_t(k.vias)));
    }
  };

  Vix::Ptr<AdjInfo> const& intern(RouteType routeType, uint64_t fibAdjIndex, uint64_t l2AdjIndex, bool vias) {
    Key key{fibAdjIndex, l2AdjIndex, routeType, vias};
    auto [it, fresh] = pool_.try_emplace(key, nullptr);
    if (fresh) {
      it->second = Vix::makePtr<AdjInfo>(routeType, fibAdjIndex, l2AdjIndex, vias);
      if (pool_.size() >= 2 * sweptSize_ + 64) return sweepKeeping(key);
    }
    return it->second;
  }
  size_t size() const { return pool_.size(); }

 private:
  // Drops records only the pool holds; `keep` is the one just made.
  Vix::Ptr<AdjInfo> const& sweepKeeping(Key const& keep) {
    std::vector<Key> unused;
    for (auto const& kv : pool_)
      if (!(kv.first == keep) && kv.second->references() == 1) unused.push_back(kv.first);
    for (auto const& k : unused) pool_.erase(k);
    sweptSize_ = pool_.size();
    return pool_.find(keep)->second;
  }

  Vix::HashMap<Key, Vix::Ptr<AdjInfo>, KeyHash> pool_;
  size_t sweptSize_ = 0;
};

}  // namespace Kor
