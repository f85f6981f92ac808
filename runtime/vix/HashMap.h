#pragma once
// Open-addressing hash map for the big keyed collections (routes, FECs,
// adjacency lists).
//
// The table is cut into segments of at most one 2 MB huge page of slots,
// found through a directory indexed by the top bits of the hash (extendible
// hashing). A segment is a flat array probed linearly from the slot the low
// hash bits pick (by multiplication, so the slot count need not be a power
// of two and a full segment fills its page), with a control byte per slot: 0
// for empty, else 0x80 and seven bits of the key's hash, so a probe reads the
// control bytes and compares a key only when its seven bits match. A full
// segment doubles until it reaches the segment size, and is then split in
// two by the next hash bit. So growing never copies more than one segment:
// a million-entry table grows without a pause of tens of milliseconds in the
// loop, and without holding an old and a new copy of the whole table at
// once. Load factor at most 7/8 per segment; deletion by backward shift (no
// tombstones).
//
// Interface: a subset of std::unordered_map (find, try_emplace,
// insert_or_assign, operator[], erase(key), count, contains, size, clear,
// reserve, iteration). Iteration order is segment by segment, slot by slot.
// Inserting may move every element (references and iterators are
// invalidated); erasing moves later elements of the same cluster back.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "vix/HugePageCache.h"
#include "vix/Prefetch.h"

namespace Vix {

// Spreads a std::hash value (identity for integers) over all bits.
inline uint64_t mixHash(uint64_t h) noexcept {
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdULL;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ULL;
  h ^= h >> 33;
  return h;
}

template <class K, class V, class Hash = std::hash<K>, class Eq = std::equal_to<K>>
class HashMap {
 public:
  using key_type = K;
  using mapped_type = V;
  using value_type = std::pair<K, V>;

 private:
  struct Raw {
    alignas(value_type) unsigned char b[sizeof(value_type)];
  };
  // A full-size segment's slots fill whole huge pages (vix/HugePageCache.h);
  // smaller ones come from the heap.
  struct SlotMemory {
    Raw* p = nullptr;
    size_t bytes = 0;
    bool huge = false;
    SlotMemory() = default;
    SlotMemory(SlotMemory const&) = delete;
    SlotMemory& operator=(SlotMemory const&) = delete;
    ~SlotMemory() { reset(); }
    void reset() {
      if (huge) HugePageCache::free(p, bytes);
      else delete[] p;
      p = nullptr;
      bytes = 0;
      huge = false;
    }
    void swap(SlotMemory& o) noexcept {
      std::swap(p, o.p);
      std::swap(bytes, o.bytes);
      std::swap(huge, o.huge);
    }
    Raw& operator[](size_t i) const { return p[i]; }
  };
  struct Segment {
    SlotMemory slots;
    std::unique_ptr<uint8_t[]> ctrl;
    size_t cap = 0;
    size_t size = 0;
    unsigned depth = 0;   // hash bits that select this segment
    uint32_t order = 0;   // position in segs_
    value_type& slot(size_t i) { return *std::launder(reinterpret_cast<value_type*>(&slots[i])); }
    value_type const& slot(size_t i) const {
      return *std::launder(reinterpret_cast<value_type const*>(&slots[i]));
    }
  };

 public:
  template <bool Const>
  class Iter {
   public:
    using Map = std::conditional_t<Const, HashMap const, HashMap>;
    using Ref = std::conditional_t<Const, value_type const&, value_type&>;
    using Pointer = std::conditional_t<Const, value_type const*, value_type*>;
    Iter() = default;
    Iter(Map* m, size_t s, size_t i) : m_(m), s_(s), i_(i) { skip(); }
    // At a slot known to hold an entry.
    struct AtEntry {};
    Iter(Map* m, size_t s, size_t i, AtEntry) : m_(m), s_(s), i_(i) {}
    template <bool C2, class = std::enable_if_t<Const && !C2>>
    Iter(Iter<C2> const& o) : m_(o.m_), s_(o.s_), i_(o.i_) {}
    Ref operator*() const { return m_->segs_[s_]->slot(i_); }
    Pointer operator->() const { return &m_->segs_[s_]->slot(i_); }
    Iter& operator++() {
      ++i_;
      skip();
      return *this;
    }
    bool operator==(Iter const& o) const { return s_ == o.s_ && i_ == o.i_; }
    bool operator!=(Iter const& o) const { return !(*this == o); }

   private:
    friend class HashMap;
    template <bool>
    friend class Iter;
    void skip() {
      while (s_ < m_->segs_.size()) {
        Segment const& g = *m_->segs_[s_];
        while (i_ < g.cap && !g.ctrl[i_]) ++i_;
        if (i_ < g.cap) return;
        ++s_;
        i_ = 0;
      }
    }
    Map* m_ = nullptr;
    size_t s_ = 0;
    size_t i_ = 0;
  };
  using iterator = Iter<false>;
  using const_iterator = Iter<true>;

  // Slots of a full-size segment: as many as one 2 MB huge page holds, at
  // least 1024. Not a power of two in general: a slot's home is found by
  // multiplying, not masking.
  static constexpr size_t kSegmentSlots =
      HugePageCache::kPageBytes / sizeof(value_type) < 1024 ? 1024 : HugePageCache::kPageBytes / sizeof(value_type);

  HashMap() = default;
  HashMap(HashMap const& o) {
    reserve(o.size_);
    for (auto const& kv : o) try_emplace(kv.first, kv.second);
  }
  HashMap(HashMap&& o) noexcept { swap(o); }
  HashMap& operator=(HashMap o) noexcept {
    swap(o);
    return *this;
  }
  ~HashMap() { destroyAll(); }

  void swap(HashMap& o) noexcept {
    std::swap(dir_, o.dir_);
    std::swap(segs_, o.segs_);
    std::swap(depth_, o.depth_);
    std::swap(size_, o.size_);
  }

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  size_t capacity() const {
    size_t c = 0;
    for (auto const& g : segs_) c += g->cap;
    return c;
  }
  // Bytes held by the table itself (not by what the values point to).
  size_t memoryBytes() const {
    return capacity() * (sizeof(value_type) + 1) + dir_.capacity() * sizeof(Segment*) +
           segs_.capacity() * sizeof(void*) + segs_.size() * sizeof(Segment);
  }
  size_t segments() const { return segs_.size(); }

  iterator begin() { return iterator(this, 0, 0); }
  iterator end() { return iterator(this, segs_.size(), 0); }
  const_iterator begin() const { return const_iterator(this, 0, 0); }
  const_iterator end() const { return const_iterator(this, segs_.size(), 0); }

  iterator find(K const& k) {
    auto [g, i] = locate(k);
    return g ? at(g, i) : end();
  }
  const_iterator find(K const& k) const {
    auto [g, i] = locate(k);
    return g ? at(g, i) : end();
  }
  size_t count(K const& k) const { return locate(k).first != nullptr; }
  // Starts loading the cache lines a lookup or insertion of k will read, so
  // that a loop over many keys can overlap their memory latencies.
  void prefetch(K const& k) const {
    if (segs_.empty()) return;
    uint64_t h = hashOf(k);
    Segment const* g = segmentOf(h);
    size_t i = home(*g, h);
    prefetchLine(&g->ctrl[i]);
    prefetchLine(&g->slots[i]);
  }
  bool contains(K const& k) const { return locate(k).first != nullptr; }

  template <class... A>
  std::pair<iterator, bool> try_emplace(K const& k, A&&... a) {
    uint64_t h = hashOf(k);
    if (segs_.empty()) addFirstSegment(8);
    Segment* g = segmentOf(h);
    size_t i = home(*g, h);
    uint8_t tag = tagOf(h);
    for (; g->ctrl[i]; i = next(*g, i))
      if (g->ctrl[i] == tag && Eq()(g->slot(i).first, k)) return {at(g, i), false};
    if (g->size + 1 > g->cap - g->cap / 8) {
      grow(g);
      g = segmentOf(h);
      for (i = home(*g, h); g->ctrl[i]; i = next(*g, i)) {
      }
    }
    new (&g->slot(i)) value_type(std::piecewise_construct, std::forward_as_tuple(k),
                                 std::forward_as_tuple(std::forward<A>(a)...));
    g->ctrl[i] = tag;
    ++g->size;
    ++size_;
    return {at(g, i), true};
  }
  template <class... A>
  std::pair<iterator, bool> emplace(K const& k, A&&... a) {
    return try_emplace(k, std::forward<A>(a)...);
  }
  template <class M>
  std::pair<iterator, bool> insert_or_assign(K const& k, M&& v) {
    auto r = try_emplace(k, std::forward<M>(v));
    if (!r.second) r.first->second = std::forward<M>(v);
    return r;
  }
  V& operator[](K const& k) { return try_emplace(k).first->second; }
  V& at(K const& k) {
    auto [g, i] = locate(k);
    return g->slot(i).second;
  }
  V const& at(K const& k) const {
    auto [g, i] = locate(k);
    return g->slot(i).second;
  }

  size_t erase(K const& k) {
    auto [g, i] = locate(k);
    if (!g) return 0;
    eraseSlot(*g, i);
    return 1;
  }
  // Erases the entry `it` points at, without a second probe. Unlike
  // std::unordered_map it returns nothing: the backward shift may move a
  // later entry into the slot.
  void erase(iterator it) { eraseSlot(*segs_[it.s_], it.i_); }

  void clear() {
    destroyAll();
    dir_.clear();
    segs_.clear();
    depth_ = 0;
    size_ = 0;
  }

  // Room for n entries without growing, as far as one segment goes (a
  // bigger table grows a segment at a time anyway).
  void reserve(size_t n) {
    size_t want = 8;
    while (want - want / 8 < n && want < kSegmentSlots) want = nextCap(want);
    if (segs_.empty()) addFirstSegment(want);
    else if (segs_.size() == 1 && want > segs_[0]->cap) rehashSegment(*segs_[0], want);
  }

 private:
  static uint64_t hashOf(K const& k) { return mixHash(static_cast<uint64_t>(Hash()(k))); }
  // Bits 32..38 of the hash; the directory takes the top bits, the home slot
  // the low ones.
  static uint8_t tagOf(uint64_t h) { return uint8_t(0x80 | ((h >> 32) & 0x7f)); }
  static size_t home(Segment const& g, uint64_t h) { return size_t((uint64_t(uint32_t(h)) * g.cap) >> 32); }
  static size_t next(Segment const& g, size_t i) { return i + 1 == g.cap ? 0 : i + 1; }
  // Small segments double; the last step stops at the full size.
  static size_t nextCap(size_t cap) {
    size_t n = cap * 2;
    return cap < kSegmentSlots && n > kSegmentSlots ? kSegmentSlots : n;
  }
  Segment* segmentOf(uint64_t h) const { return depth_ ? dir_[h >> (64 - depth_)] : dir_[0]; }

  iterator at(Segment* g, size_t i) { return iterator(this, g->order, i, typename iterator::AtEntry{}); }
  const_iterator at(Segment* g, size_t i) const {
    return const_iterator(this, g->order, i, typename const_iterator::AtEntry{});
  }

  std::pair<Segment*, size_t> locate(K const& k) const {
    if (!size_) return {nullptr, 0};
    uint64_t h = hashOf(k);
    Segment* g = segmentOf(h);
    uint8_t tag = tagOf(h);
    for (size_t i = home(*g, h); g->ctrl[i]; i = next(*g, i))
      if (g->ctrl[i] == tag && Eq()(g->slot(i).first, k)) return {g, i};
    return {nullptr, 0};
  }

  void eraseSlot(Segment& g, size_t i) {
    g.slot(i).~value_type();
    g.ctrl[i] = 0;
    --g.size;
    --size_;
    // Backward shift: pull later members of the cluster into the hole when
    // their home position allows it.
    size_t hole = i;
    for (size_t j = next(g, i); g.ctrl[j]; j = next(g, j)) {
      size_t h = home(g, hashOf(g.slot(j).first));
      bool movable = hole <= j ? (h <= hole || h > j) : (h <= hole && h > j);
      if (!movable) continue;
      new (&g.slot(hole)) value_type(std::move(g.slot(j)));
      g.slot(j).~value_type();
      g.ctrl[hole] = g.ctrl[j];
      g.ctrl[j] = 0;
      hole = j;
    }
  }

  static void allocate(Segment& g, size_t cap) {
    g.slots.reset();
    g.slots.bytes = cap * sizeof(Raw);
    g.slots.huge = cap >= kSegmentSlots && g.slots.bytes >= HugePageCache::kPageBytes / 2;
    g.slots.p = g.slots.huge ? static_cast<Raw*>(HugePageCache::alloc(g.slots.bytes)) : new Raw[cap];
    g.ctrl.reset(new uint8_t[cap]());
    g.cap = cap;
    g.size = 0;
  }

  // Moves an entry into a segment that has room for it.
  static void place(Segment& g, uint64_t h, value_type&& v) {
    size_t j = home(g, h);
    while (g.ctrl[j]) j = next(g, j);
    new (&g.slot(j)) value_type(std::move(v));
    g.ctrl[j] = tagOf(h);
    ++g.size;
  }

  void addFirstSegment(size_t cap) {
    auto g = std::make_unique<Segment>();
    allocate(*g, cap);
    dir_.assign(1, g.get());
    segs_.push_back(std::move(g));
  }

  void grow(Segment* g) {
    // A segment whose keys all share their top bits cannot be split: it
    // keeps doubling instead.
    if (g->cap < kSegmentSlots || g->depth >= 40) rehashSegment(*g, nextCap(g->cap));
    else split(*g);
  }

  void rehashSegment(Segment& g, size_t newCap) {
    Segment old;
    old.slots.swap(g.slots);
    std::swap(old.ctrl, g.ctrl);
    old.cap = g.cap;
    allocate(g, newCap);
    for (size_t i = 0; i < old.cap; ++i) {
      if (!old.ctrl[i]) continue;
      value_type& v = old.slot(i);
      place(g, hashOf(v.first), std::move(v));
      v.~value_type();
    }
  }

  // Splits g by hash bit g.depth (counted from the top): entries with the
  // bit set move to a new segment.
  void split(Segment& g) {
    if (g.depth == depth_) {
      std::vector<Segment*> dir(dir_.size() * 2);
      for (size_t i = 0; i < dir_.size(); ++i) dir[2 * i] = dir[2 * i + 1] = dir_[i];
      dir_.swap(dir);
      ++depth_;
    }
    auto upper = std::make_unique<Segment>();
    allocate(*upper, g.cap);
    upper->depth = g.depth + 1;
    upper->order = uint32_t(segs_.size());
    Segment old;
    old.slots.swap(g.slots);
    std::swap(old.ctrl, g.ctrl);
    old.cap = g.cap;
    allocate(g, old.cap);
    g.depth += 1;
    unsigned shift = 64 - g.depth;
    for (size_t i = 0; i < old.cap; ++i) {
      if (!old.ctrl[i]) continue;
      value_type& v = old.slot(i);
      uint64_t h = hashOf(v.first);
      place((h >> shift) & 1 ? *upper : g, h, std::move(v));
      v.~value_type();
    }
    // The directory entries of g form one aligned run; its upper half now
    // belongs to the new segment.
    size_t run = size_t(1) << (depth_ - (g.depth - 1));
    size_t first = 0;
    while (dir_[first] != &g) ++first;
    for (size_t i = first + run / 2; i < first + run; ++i) dir_[i] = upper.get();
    segs_.push_back(std::move(upper));
  }

  void destroyAll() {
    if constexpr (!std::is_trivially_destructible_v<value_type>)
      for (auto& g : segs_)
        for (size_t i = 0; i < g->cap; ++i)
          if (g->ctrl[i]) g->slot(i).~value_type();
  }

  std::vector<Segment*> dir_;
  std::vector<std::unique_ptr<Segment>> segs_;
  unsigned depth_ = 0;
  size_t size_ = 0;
};

template <class C>
void reserveIfPossible(C& c, size_t n) {
  if constexpr (requires { c.reserve(n); }) c.reserve(n);
}

}  // namespace Vix
