#pragma once
// The yardstick of the full-table benchmark: a plain open-addressing hash
// map, as a textbook or a first implementation writes it. One flat array of
// slots (a used flag, the key, the value), a power-of-two size, linear
// probing from the slot the hash picks, and, past three quarters full, a
// new array of twice the size into which every entry is re-inserted. No
// segments, no control bytes, no huge pages of its own: it measures what
// putting each route once into one hash table costs, independently of how
// the runtime's own map (Vix::HashMap) is tuned.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace KorBench {

template <class K, class V, class Hash = std::hash<K>>
class PlainHashMap {
 public:
  // False when the key was already there.
  bool insert(K const& key, V const& value) {
    if ((size_ + 1) * 4 > slots_.size() * 3) grow();
    size_t i = home(key);
    for (; slots_[i].used; i = (i + 1) & (slots_.size() - 1))
      if (slots_[i].key == key) return false;
    slots_[i] = Slot{true, key, value};
    ++size_;
    return true;
  }
  size_t size() const { return size_; }

 private:
  struct Slot {
    bool used = false;
    K key{};
    V value{};
  };

  size_t home(K const& key) const {
    // std::hash of an integer-like key is often the identity: spread it.
    uint64_t h = uint64_t(Hash()(key)) * 0x9e3779b97f4a7c15ULL;
    return size_t(h >> 32) & (slots_.size() - 1);
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 16 : slots_.size() * 2);
    old.swap(slots_);
    for (auto const& s : old) {
      if (!s.used) continue;
      size_t i = home(s.key);
      while (slots_[i].used) i = (i + 1) & (slots_.size() - 1);
      slots_[i] = s;
    }
  }

  std::vector<Slot> slots_;
  size_t size_ = 0;
};

}  // namespace KorBench
