#pragma once
// The parent index of a route map ("KorRoutingTrie"): finds, for a prefix,
// the longest strictly shorter prefix that the map holds. It keeps only a
// count of prefixes per length and probes the owner's hash map for the
// lengths in use, longest first: a full table uses a handful of lengths, so
// a lookup costs a few hash probes, and a million routes cost 33 (129)
// counters instead of millions of trie nodes. Lookups are rare (resource-full
// handling, aggregates), insertions are on every route: the trade favours
// insertion.
#include <array>
#include <cstdint>
#include <optional>

#include "nollo/IpPrefix.h"

namespace Kor {

template <class AF>
class RoutingTrieT {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;

  static constexpr char const* name = "KorRoutingTrie";

  void add(Prefix const& p) {
    ++count_[p.len()];
    ++size_;
  }
  void del(Prefix const& p) {
    if (count_[p.len()] == 0) return;
    --count_[p.len()];
    --size_;
  }
  size_t size() const { return size_; }
  uint32_t lengthCount(int len) const { return count_[len]; }

  // The longest prefix shorter than `p` that covers it and for which
  // has(prefix) is true.
  template <class Has>
  std::optional<Prefix> parent(Prefix const& p, Has has) const {
    for (int len = p.len() - 1; len >= 0; --len) {
      if (!count_[len]) continue;
      Prefix candidate(p.addr(), len);
      if (has(candidate)) return candidate;
    }
    return std::nullopt;
  }

 private:
  std::array<uint32_t, AF::bits + 1> count_{};
  size_t size_ = 0;
};

}  // namespace Kor
