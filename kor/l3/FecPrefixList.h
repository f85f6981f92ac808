#pragma once
// The prefixes a route machine attached to one FEC's adjacency, kept so that
// a change of the FEC's L2 adjacency can walk exactly its routes. A full
// table attaches and detaches a million prefixes in no order, so the list is
// cheap to change rather than exact: attaching appends, detaching only
// counts, and stale entries (detached prefixes, repeats of a prefix that
// left and came back) stay until they outnumber the live ones; then the
// owner compacts the list with its own test of what is still attached. A
// walk must therefore check each prefix against the owner's record, and may
// meet a live prefix twice.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kor {

template <class Prefix>
class FecPrefixList {
 public:
  void attach(Prefix const& p) {
    prefixes_.push_back(p);
    ++live_;
  }
  // True when the list should now be compacted.
  bool detach() {
    if (live_) --live_;
    return prefixes_.size() > 2 * size_t(live_) + 16;
  }
  // Keeps each prefix for which attached(p) holds, once.
  template <class Attached>
  void compact(Attached attached) {
    std::sort(prefixes_.begin(), prefixes_.end());
    prefixes_.erase(std::unique(prefixes_.begin(), prefixes_.end()), prefixes_.end());
    std::erase_if(prefixes_, [&](Prefix const& p) { return !attached(p); });
    if (prefixes_.capacity() > 2 * prefixes_.size() + 16) prefixes_.shrink_to_fit();
    live_ = uint32_t(prefixes_.size());
  }
  std::vector<Prefix> const& prefixes() const { return prefixes_; }
  uint32_t live() const { return live_; }

 private:
  std::vector<Prefix> prefixes_;
  uint32_t live_ = 0;
};

}  // namespace Kor
