#pragma once
// Open-addressing hash map for the big keyed collections (routes, FECs,
// adjacency lists). Linear probing over a power-of-two table, load factor at
// most 7/8, deletion by backward shift (no tombstones), so a million-entry
// table is one flat array: no node per entry and one cache miss per lookup.
//
// Interface: a subset of std::unordered_map (find, try_emplace,
// insert_or_assign, operator[], erase(key), count, contains, size, clear,
// reserve, iteration). Iteration order is the slot order. Inserting may move
// every element (references and iterators are invalidated); erasing moves
// later elements of the same cluster back.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

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

  template <bool Const>
  class Iter {
   public:
    using Map = std::conditional_t<Const, HashMap const, HashMap>;
    using Ref = std::conditional_t<Const, value_type const&, value_type&>;
    using Pointer = std::conditional_t<Const, value_type const*, value_type*>;
    Iter() = default;
    Iter(Map* m, size_t i) : m_(m), i_(i) { skip(); }
    template <bool C2, class = std::enable_if_t<Const && !C2>>
    Iter(Iter<C2> const& o) : m_(o.m_), i_(o.i_) {}
    Ref operator*() const { return m_->slot(i_); }
    Pointer operator->() const { return &m_->slot(i_); }
    Iter& operator++() { ++i_; skip(); return *this; }
    bool operator==(Iter const& o) const { return i_ == o.i_; }
    bool operator!=(Iter const& o) const { return i_ != o.i_; }
    size_t slotIndex() const { return i_; }

   private:
    friend class HashMap;
    template <bool>
    friend class Iter;
    void skip() { while (i_ < m_->cap_ && !m_->used_[i_]) ++i_; }
    Map* m_ = nullptr;
    size_t i_ = 0;
  };
  using iterator = Iter<false>;
  using const_iterator = Iter<true>;

  HashMap() = default;
  HashMap(HashMap const& o) { reserve(o.size_); for (auto const& kv : o) try_emplace(kv.first, kv.second); }
  HashMap(HashMap&& o) noexcept { swap(o); }
  HashMap& operator=(HashMap o) noexcept { swap(o); return *this; }
  ~HashMap() { destroyAll(); }

  void swap(HashMap& o) noexcept {
    std::swap(slots_, o.slots_);
    std::swap(used_, o.used_);
    std::swap(cap_, o.cap_);
    std::swap(size_, o.size_);
  }

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  size_t capacity() const { return cap_; }
  // Bytes held by the table itself (not by what the values point to).
  size_t memoryBytes() const { return cap_ * (sizeof(value_type) + 1); }

  iterator begin() { return iterator(this, 0); }
  iterator end() { return iterator(this, cap_); }
  const_iterator begin() const { return const_iterator(this, 0); }
  const_iterator end() const { return const_iterator(this, cap_); }

  iterator find(K const& k) { size_t i = locate(k); return i == npos ? end() : iterator(this, i); }
  const_iterator find(K const& k) const { size_t i = locate(k); return i == npos ? end() : const_iterator(this, i); }
  size_t count(K const& k) const { return locate(k) != npos; }
  bool contains(K const& k) const { return locate(k) != npos; }

  template <class... A>
  std::pair<iterator, bool> try_emplace(K const& k, A&&... a) {
    if (size_t i = locate(k); i != npos) return {iterator(this, i), false};
    growIfNeeded();
    size_t i = home(k);
    while (used_[i]) i = (i + 1) & (cap_ - 1);
    new (&slot(i)) value_type(std::piecewise_construct, std::forward_as_tuple(k),
                              std::forward_as_tuple(std::forward<A>(a)...));
    used_[i] = 1;
    ++size_;
    return {iterator(this, i), true};
  }
  template <class... A>
  std::pair<iterator, bool> emplace(K const& k, A&&... a) { return try_emplace(k, std::forward<A>(a)...); }
  template <class M>
  std::pair<iterator, bool> insert_or_assign(K const& k, M&& v) {
    auto r = try_emplace(k, std::forward<M>(v));
    if (!r.second) r.first->second = std::forward<M>(v);
    return r;
  }
  V& operator[](K const& k) { return try_emplace(k).first->second; }
  V& at(K const& k) { return slot(locate(k)).second; }
  V const& at(K const& k) const { return slot(locate(k)).second; }

  size_t erase(K const& k) {
    size_t i = locate(k);
    if (i == npos) return 0;
    eraseSlot(i);
    return 1;
  }

  void clear() { destroyAll(); slots_.reset(); used_.reset(); cap_ = 0; size_ = 0; }

  void reserve(size_t n) {
    size_t want = 8;
    while (want - want / 8 < n) want *= 2;
    if (want > cap_) rehash(want);
  }

 private:
  friend iterator;
  friend const_iterator;
  static constexpr size_t npos = ~size_t(0);
  struct Raw { alignas(value_type) unsigned char b[sizeof(value_type)]; };

  value_type& slot(size_t i) { return *std::launder(reinterpret_cast<value_type*>(&slots_[i])); }
  value_type const& slot(size_t i) const { return *std::launder(reinterpret_cast<value_type const*>(&slots_[i])); }
  size_t home(K const& k) const { return mixHash(static_cast<uint64_t>(Hash()(k))) & (cap_ - 1); }

  size_t locate(K const& k) const {
    if (!size_) return npos;
    for (size_t i = home(k);; i = (i + 1) & (cap_ - 1)) {
      if (!used_[i]) return npos;
      if (Eq()(slot(i).first, k)) return i;
    }
  }

  void eraseSlot(size_t i) {
    slot(i).~value_type();
    used_[i] = 0;
    --size_;
    // Backward shift: pull later members of the cluster into the hole when
    // their home position allows it.
    size_t hole = i;
    for (size_t j = (i + 1) & (cap_ - 1); used_[j]; j = (j + 1) & (cap_ - 1)) {
      size_t h = home(slot(j).first);
      bool movable = hole <= j ? (h <= hole || h > j) : (h <= hole && h > j);
      if (!movable) continue;
      new (&slot(hole)) value_type(std::move(slot(j)));
      slot(j).~value_type();
      used_[hole] = 1;
      used_[j] = 0;
      hole = j;
    }
  }

  void growIfNeeded() {
    if (cap_ == 0) rehash(8);
    else if (size_ + 1 > cap_ - cap_ / 8) rehash(cap_ * 2);
  }

  void rehash(size_t newCap) {
    std::unique_ptr<Raw[]> oldSlots(new Raw[newCap]);
    std::unique_ptr<uint8_t[]> oldUsed(new uint8_t[newCap]());
    std::swap(oldSlots, slots_);
    std::swap(oldUsed, used_);
    size_t oldCap = cap_;
    cap_ = newCap;
    for (size_t i = 0; i < oldCap; ++i) {
      if (!oldUsed[i]) continue;
      auto* v = std::launder(reinterpret_cast<value_type*>(&oldSlots[i]));
      size_t j = home(v->first);
      while (used_[j]) j = (j + 1) & (cap_ - 1);
      new (&slot(j)) value_type(std::move(*v));
      used_[j] = 1;
      v->~value_type();
    }
  }

  void destroyAll() {
    if constexpr (!std::is_trivially_destructible_v<value_type>)
      for (size_t i = 0; i < cap_; ++i)
        if (used_[i]) slot(i).~value_type();
  }

  std::unique_ptr<Raw[]> slots_;
  std::unique_ptr<uint8_t[]> used_;
  size_t cap_ = 0;
  size_t size_ = 0;
};

template <class C>
void reserveIfPossible(C& c, size_t n) {
  if constexpr (requires { c.reserve(n); }) c.reserve(n);
}

}  // namespace Vix
