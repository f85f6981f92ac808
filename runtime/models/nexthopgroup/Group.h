#pragma once
#include <cstdint>
#include <vector>

#include "models/nexthopgroup/NexthopGroupEntry.h"

namespace NexthopGroup {

// A published group: its id (the index of the FECs that name it) and its
// members in order.
class Group {
 public:
  Group() = default;
  Group(uint64_t id, std::vector<NexthopGroupEntry> entries) : id_(id), entries_(std::move(entries)) {}

  uint64_t id() const { return id_; }
  std::vector<NexthopGroupEntry> const& entries() const { return entries_; }

  bool operator==(Group const&) const = default;

 private:
  uint64_t id_ = 0;
  std::vector<NexthopGroupEntry> entries_;
};

}  // namespace NexthopGroup
