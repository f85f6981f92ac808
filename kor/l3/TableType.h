#pragma once
// The chip table an IPv6 route sits in: longest-prefix match, or the
// exact-match table that holds the prefix lengths the hardware status lists
// (Routing::Hardware::Status::prefixLenInExactMatch). An IPv4 route is always
// in the longest-prefix table.
#include <cstdint>
#include <ostream>

#include "models/routing/RoutesInExactMatch.h"
#include "nollo/IpPrefix.h"

namespace Kor {

enum class TableType : uint8_t { tableTypeUnknown, tableTypeLongestPrefix, tableTypeExactMatch };

inline std::ostream& operator<<(std::ostream& os, TableType t) {
  switch (t) {
    case TableType::tableTypeUnknown: return os << "tableTypeUnknown";
    case TableType::tableTypeLongestPrefix: return os << "tableTypeLongestPrefix";
    case TableType::tableTypeExactMatch: return os << "tableTypeExactMatch";
  }
  return os << "TableType(" << int(t) << ")";
}

// The table of an IPv6 prefix given the exact-match lengths (any map keyed by
// Routing::RoutesInExactMatch).
template <class LengthMap>
TableType tableTypeOf(Nollo::Ip6Prefix const& prefix, LengthMap const& exactMatchLengths) {
  Routing::RoutesInExactMatch len;
  if (Routing::RoutesInExactMatch::fromBits(unsigned(prefix.len()), len) && exactMatchLengths.find(len) != exactMatchLengths.end())
    return TableType::tableTypeExactMatch;
  return TableType::tableTypeLongestPrefix;
}

}  // namespace Kor
