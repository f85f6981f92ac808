#pragma once
// The trace level string of each main state machine, one string per
// machine in a fixed order. Each is a Vix::TraceFacility level string ("0-4",
// "0,3,9", "*", "" for off) and defaults to Vix::TraceFacility::kDefaultLevels.
//
// A field applies to the trace facility whose name is the field name with its
// first letter capitalised, i.e. the implementation name the machine traces
// under: korVrfRootSm -> "KorVrfRootSm", korRoutingSm -> "KorRoutingSm" (the
// IPv4 route machine), korIp6RoutingSm -> "KorIp6RoutingSm", korAdjSm ->
// "KorAdjSm", korL2AdjHelper -> "KorL2AdjHelper", and so on. KorCommonSmData
// applies its tractoLevels to every live state machine through that mapping.
//
// Text form (what str() writes and parse() reads back):
//   Value('Kor::TractoLevels', ** {'korVrfRootSm': '0-1', ..., 'korL2AdjHelper': '0-1'})
// parse() accepts the fields in any order and any subset (missing ones keep
// their default), single- or double-quoted strings with backslash escapes and
// free whitespace between tokens. It throws std::invalid_argument: "TractoLevels
// has no such attribute: <key>" for an unknown key, "premature end of value
// type TractoLevels" when the text stops early, and "malformed value type
// TractoLevels at offset <n>: <what>" for anything else, including a level
// levels the trace facility would refuse.
#include <array>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT TractoLevels {
 public:
  static constexpr size_t fieldCount = 12;

  TractoLevels();

#define KOR_TRACTO_FIELD(index, name)                              \
  std::string const& name() const { return levels_[index]; }      \
  void name##Is(std::string const& v) { levels_[index] = v; }
  KOR_TRACTO_FIELD(0, korVrfRootSm)
  KOR_TRACTO_FIELD(1, korRoutingStatusSm)
  KOR_TRACTO_FIELD(2, korArpSm)
  KOR_TRACTO_FIELD(3, korIp6NeighborSm)
  KOR_TRACTO_FIELD(4, korRoutingSm)
  KOR_TRACTO_FIELD(5, korResilientEcmpSm)
  KOR_TRACTO_FIELD(6, korIp6RoutingSm)
  KOR_TRACTO_FIELD(7, korIp6ResilientEcmpSm)
  KOR_TRACTO_FIELD(8, korSubIntfSm)
  KOR_TRACTO_FIELD(9, korAdjSm)
  KOR_TRACTO_FIELD(10, korIntfStatusSm)
  KOR_TRACTO_FIELD(11, korL2AdjHelper)
#undef KOR_TRACTO_FIELD

  // Field access by position (0..fieldCount-1), in declaration order.
  static char const* fieldName(size_t i);
  static std::string facilityName(size_t i);
  std::string const& field(size_t i) const { return levels_.at(i); }
  void fieldIs(size_t i, std::string const& v) { levels_.at(i) = v; }
  static std::optional<size_t> fieldIndex(std::string_view name);

  // The level string for a trace facility name, if one of the fields maps to it.
  std::optional<std::string> levelsFor(std::string_view facility) const;

  std::string str() const;
  static TractoLevels parse(std::string_view text);

  bool operator==(TractoLevels const&) const = default;

 private:
  std::array<std::string, fieldCount> levels_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, TractoLevels const& t);

}  // namespace Kor
