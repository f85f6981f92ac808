#include "quill/FecId.h"

#include <charconv>

#include "vix/RangeError.h"

namespace Quill::Fib {

FecId FecId::make(AdjType type, uint64_t index) {
  if (index > FecIdConstants::indexMask_) throw Vix::RangeError("FecId::index > 2^56-1 not allowed");
  FecId f(uint64_t(type) << FecIdConstants::adjTypeShift_ | index);
  if (!f.isValid()) throw Vix::RangeError("FecId::value == invalidFecId_ not allowed");
  return f;
}

std::string FecId::str() const {
  if (!isValid()) return "none";
  // Untyped ids (FEC 0, ids a writer made without a type) print as they
  // always have; the agent's writers never mix them with next-hop FECs.
  if (adjType() == AdjType::nexthopAdj || adjType() == AdjType::unspecifiedAdj) return std::to_string(index());
  std::string s = Quill::Fib::str(adjType());
  s += ':';
  s += std::to_string(index());
  return s;
}

std::optional<FecId> FecId::parse(std::string_view text) {
  AdjType type = AdjType::nexthopAdj;
  if (size_t colon = text.find(':'); colon != std::string_view::npos) {
    bool known = false;
    for (int t = 0; t <= int(AdjType::nextHopGroupAdj); ++t)
      if (Quill::Fib::str(AdjType(t)) == text.substr(0, colon)) {
        type = AdjType(t);
        known = true;
      }
    if (!known) return std::nullopt;
    text.remove_prefix(colon + 1);
  }
  uint64_t index = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (index > FecIdConstants::indexMask_) return std::nullopt;
  FecId f(uint64_t(type) << FecIdConstants::adjTypeShift_ | index);
  if (!f.isValid()) return std::nullopt;
  return f;
}

std::ostream& operator<<(std::ostream& os, FecId const& f) { return os << f.str(); }

}  // namespace Quill::Fib
