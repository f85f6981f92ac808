#pragma once
// The resilient ECMP configuration of one prefix: the table has
// capacity x redundancy buckets (capacity: the next hops it is sized for;
// redundancy: buckets per next hop at that size). Both at least 1, the
// product at most kMaxBuckets (one via index per bucket).
#include <cstdint>

namespace Kor {

struct ResilientEcmpParams {
  static constexpr uint32_t kMaxBuckets = 1056;

  uint32_t capacity = 0;
  uint32_t redundancy = 0;

  uint32_t buckets() const { return capacity * redundancy; }
  bool valid() const {
    return capacity >= 1 && redundancy >= 1 && uint64_t(capacity) * redundancy <= kMaxBuckets;
  }
  bool operator==(ResilientEcmpParams const&) const = default;
};

}  // namespace Kor
