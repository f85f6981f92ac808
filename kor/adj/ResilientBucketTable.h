#pragma once
// The fixed bucket table of one resilient ECMP prefix: `buckets` slots, each
// naming one member (a next hop's via) or none. The table never changes size.
//
// Invariants after membersIs(S), S non-empty, k = |S|, N buckets:
//   - every bucket names a member of S;
//   - each member holds N/k or N/k + 1 buckets (balance);
//   - a bucket whose member stayed in S and was not above its share keeps
//     its member: a member that leaves frees only its own buckets, and a
//     member that joins takes only buckets that some member had above its
//     new share.
// Which members get the N % k extra buckets: those holding the most buckets
// already (ties by member order), so that the fewest buckets move. A member
// above its share gives up its highest-numbered buckets; freed buckets go, in
// ascending order, to the members below their share in member order. The
// number of moves is then the sum of the shortfalls, the least any balanced
// table can reach. With S empty every bucket is emptied.
// Fed by the resilient ECMP machine from the vias of the FEC a prefix uses.
#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace Kor {

template <class Member>
class ResilientBucketTable {
 public:
  explicit ResilientBucketTable(uint32_t buckets) : bucket_(buckets) {}

  uint32_t buckets() const { return static_cast<uint32_t>(bucket_.size()); }
  std::optional<Member> const& bucket(uint32_t i) const { return bucket_.at(i); }
  std::vector<std::optional<Member>> const& bucketList() const { return bucket_; }
  // Sets one bucket as found elsewhere (a table claimed back from the chip).
  void bucketIs(uint32_t i, std::optional<Member> const& m) { bucket_.at(i) = m; }

  // Rebalances over `members` (duplicates ignored); returns the number of
  // buckets whose member changed.
  uint32_t membersIs(std::vector<Member> const& members) {
    std::set<Member> in(members.begin(), members.end());
    std::vector<std::optional<Member>> before = bucket_;
    if (in.empty()) {
      for (auto& b : bucket_) b.reset();
      return changed(before);
    }
    // Buckets of members that left, or empty, are free.
    std::map<Member, std::vector<uint32_t>> held;
    for (auto const& m : in) held[m];
    std::vector<uint32_t> freed;
    for (uint32_t i = 0; i < buckets(); ++i) {
      if (bucket_[i] && in.count(*bucket_[i])) held[*bucket_[i]].push_back(i);
      else freed.push_back(i);
    }
    uint32_t k = static_cast<uint32_t>(in.size());
    uint32_t base = buckets() / k, extra = buckets() % k;
    // The extra buckets go to the members holding most (stable: member order).
    std::vector<Member> byHeld(in.begin(), in.end());
    std::stable_sort(byHeld.begin(), byHeld.end(),
                     [&](Member const& a, Member const& b) { return held[a].size() > held[b].size(); });
    std::map<Member, uint32_t> target;
    for (uint32_t i = 0; i < k; ++i) target[byHeld[i]] = base + (i < extra ? 1 : 0);
    for (auto& [m, list] : held) {
      while (list.size() > target[m]) {
        freed.push_back(list.back());
        list.pop_back();
      }
    }
    std::sort(freed.begin(), freed.end());
    size_t next = 0;
    for (auto const& m : in) {
      for (size_t n = held[m].size(); n < target[m] && next < freed.size(); ++n) bucket_[freed[next++]] = m;
    }
    for (; next < freed.size(); ++next) bucket_[freed[next]].reset();
    return changed(before);
  }

  // The buckets of each member, ascending.
  std::map<Member, std::vector<uint32_t>> bucketsByMember() const {
    std::map<Member, std::vector<uint32_t>> out;
    for (uint32_t i = 0; i < buckets(); ++i)
      if (bucket_[i]) out[*bucket_[i]].push_back(i);
    return out;
  }

 private:
  uint32_t changed(std::vector<std::optional<Member>> const& before) const {
    uint32_t n = 0;
    for (uint32_t i = 0; i < buckets(); ++i) n += !(before[i] == bucket_[i]);
    return n;
  }

  std::vector<std::optional<Member>> bucket_;
};

}  // namespace Kor
