#pragma once
// The Index of a chip table that keeps no summary of its keys (see
// ChipTable): told of every key that comes in or goes out, and forgets it.
namespace SoftChip {

struct NoIndex {
  template <class K>
  void added(K const&) {}
  template <class K>
  void removed(K const&) {}
};

}  // namespace SoftChip
