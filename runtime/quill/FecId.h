#pragma once
// The id of a forwarding-equivalence class (FEC) in the shared-memory FIB.
//
//   bits 63..56  adjacency type (AdjType)
//   bits 55..0   index within that type
//
// All ones (FecIdConstants::invalidFecId_) means "no FEC": a default-built
// FecId holds it, and no live entry of a FEC table may carry it. Id 0 (type
// unspecified, index 0) is a legal id that routes without a FEC are written
// with.
//
// Text form: one name per FEC, the same in every show, trace, log and JSON.
// A next-hop FEC (what the FIB writers - the agent's `fec` statements, its
// configuration file, its route sources - hand out) or one without a type
// is its index alone, the number those writers name it by; any other FEC is
// its adjacency type and index ("nextHopGroupAdj:5", "tunnelAdj:3"), so it
// never looks like a next-hop FEC. The invalid id prints "none".
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "quill/AdjType.h"

namespace Quill::Fib {

struct FecIdConstants {
  static constexpr uint64_t invalidFecId_ = ~uint64_t(0);
  static constexpr int adjTypeShift_ = 56;
  static constexpr uint64_t indexMask_ = (uint64_t(1) << adjTypeShift_) - 1;
};

class FecId {
 public:
  constexpr FecId() = default;
  constexpr explicit FecId(uint64_t v) : value_(v) {}
  // Throws Vix::RangeError when index does not fit in 56 bits or the result
  // would be the invalid id.
  static FecId make(AdjType type, uint64_t index);

  constexpr uint64_t value() const { return value_; }
  constexpr AdjType adjType() const { return AdjType(value_ >> FecIdConstants::adjTypeShift_); }
  constexpr uint64_t index() const { return value_ & FecIdConstants::indexMask_; }
  constexpr bool isValid() const { return value_ != FecIdConstants::invalidFecId_; }
  std::string str() const;
  // The id a text form names ("12", "nextHopGroupAdj:5"); nullopt for any
  // other text.
  static std::optional<FecId> parse(std::string_view text);

  constexpr auto operator<=>(FecId const&) const = default;

 private:
  uint64_t value_ = FecIdConstants::invalidFecId_;
};

std::ostream& operator<<(std::ostream& os, FecId const& f);

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using FecId = Quill::Fib::FecId;
}

template <>
struct std::hash<Quill::Fib::FecId> {
  size_t operator()(Quill::Fib::FecId const& f) const noexcept { return f.value(); }
};
