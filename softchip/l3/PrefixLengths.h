#pragma once
// The index of a chip route table: how many routes of each prefix length it
// holds, told of every key that comes in or goes out by the table's write
// path (ChipTable's Index). A longest-prefix lookup probes only the lengths
// whose count is not zero.
#include <array>
#include <cstddef>
#include <cstdint>

#include "kor/records/VrfAndPrefixT.h"

namespace SoftChip {

template <class AF>
class PrefixLengths {
 public:
  void added(Kor::VrfAndPrefixT<AF> const& key) { ++count_[size_t(key.prefix.len())]; }
  void removed(Kor::VrfAndPrefixT<AF> const& key) { --count_[size_t(key.prefix.len())]; }
  size_t count(int len) const { return count_[size_t(len)]; }

 private:
  std::array<uint32_t, AF::bits + 1> count_{};
};

}  // namespace SoftChip
