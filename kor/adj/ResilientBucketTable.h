#pragma once
// The fixed bucket table of one resilient ECMP prefix: `buckets` slots, each
// naming one member (a next hop's via) or none. The table never changes size.
//
// Invariants after membersIs(S) / weightsIs(S), S non-empty, N buckets, member m of weight
// w(m), W the sum of the weights (equal weights: k = |S|, shares N/k):
//   - every bucket names a member of S;
//   - each member holds floor(N*w/W) buckets, or one more (balance); the
//     N - sum(floor) buckets left over go one each to members whose share
//     has a fraction;
//   - a bucket whose member stayed in S and was not above its share keeps
//     its member: a member that leaves frees only its own buckets, and a
//     member that joins takes only buckets that some member had above its
//     new share.
// Which members get the extra buckets: those holding the most above their
// floor already (then the larger fraction, then member order), so that the
// fewest buckets move. A member
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

  // Rebalances over `members`, each of weight 1 (duplicates ignored);
  // returns the number of buckets whose member changed.
  uint32_t membersIs(std::vector<Member> const& members) {
    std::map<Member, uint32_t> weight;
    for (auto const& m : members) weight[m] = 1;
    return weightsIs(weight);
  }

  // Rebalances over the members of `weight` (a weight of 0 counts as 1);
  // returns the number of buckets whose member changed.
  uint32_t weightsIs(std::map<Member, uint32_t> const& weight) {
    std::vector<std::optional<Member>> before = bucket_;
    if (weight.empty()) {
      for (auto& b : bucket_) b.reset();
      return changed(before);
    }
    // Buckets of members that left, or empty, are free.
    std::map<Member, std::vector<uint32_t>> held;
    for (auto const& kv : weight) held[kv.first];
    std::vector<uint32_t> freed;
    for (uint32_t i = 0; i < buckets(); ++i) {
      if (bucket_[i] && weight.count(*bucket_[i])) held[*bucket_[i]].push_back(i);
      else freed.push_back(i);
    }
    std::map<Member, uint32_t> target = targets(weight, held);
    for (auto& [m, list] : held) {
      while (list.size() > target[m]) {
        freed.push_back(list.back());
        list.pop_back();
      }
    }
    std::sort(freed.begin(), freed.end());
    size_t next = 0;
    for (auto const& kv : weight) {
      Member const& m = kv.first;
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
  // Each member's share: floor(N * w / W), and one more for as many members
  // with a fractional share as buckets are left over - those already holding
  // most above their floor first (the fewest moves), then the larger
  // fraction, then member order.
  std::map<Member, uint32_t> targets(std::map<Member, uint32_t> const& weight,
                                     std::map<Member, std::vector<uint32_t>> const& held) const {
    uint64_t total = 0;
    for (auto const& kv : weight) total += std::max<uint32_t>(kv.second, 1);
    std::map<Member, uint32_t> target;
    std::map<Member, uint64_t> fraction;
    uint64_t given = 0;
    for (auto const& [m, w] : weight) {
      uint64_t share = uint64_t(buckets()) * std::max<uint32_t>(w, 1);
      target[m] = uint32_t(share / total);
      fraction[m] = share % total;
      given += target[m];
    }
    std::vector<Member> order;
    for (auto const& kv : weight)
      if (fraction[kv.first]) order.push_back(kv.first);
    auto above = [&](Member const& m) { return int64_t(held.at(m).size()) - int64_t(target[m]); };
    std::stable_sort(order.begin(), order.end(), [&](Member const& a, Member const& b) {
      if (above(a) != above(b)) return above(a) > above(b);
      return fraction[a] > fraction[b];
    });
    for (size_t i = 0; given < buckets() && i < order.size(); ++i, ++given) ++target[order[i]];
    return target;
  }

  uint32_t changed(std::vector<std::optional<Member>> const& before) const {
    uint32_t n = 0;
    for (uint32_t i = 0; i < buckets(); ++i) n += !(before[i] == bucket_[i]);
    return n;
  }

  std::vector<std::optional<Member>> bucket_;
};

}  // namespace Kor
