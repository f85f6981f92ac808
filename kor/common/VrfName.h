#pragma once
// The name of a VRF, at most 100 bytes; every constructed value satisfies
// that (the constructors throw Vix::RangeError otherwise). Default-constructed
// it is empty; the VRF every switch has is named defaultVrfName ("default").
// Converts implicitly from strings so maps keyed by it check every key.
#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT VrfName {
 public:
  static constexpr size_t maxBytes = 100;
  static constexpr char const* defaultVrfName = "default";

  VrfName() = default;
  VrfName(std::string name);
  VrfName(char const* name) : VrfName(std::string(name)) {}
  VrfName(std::string_view name) : VrfName(std::string(name)) {}

  std::string const& str() const { return name_; }
  size_t bytes() const { return name_.size(); }
  bool empty() const { return name_.empty(); }
  bool isDefault() const { return name_ == defaultVrfName; }
  auto operator<=>(VrfName const&) const = default;

 private:
  std::string name_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, VrfName const& v);

}  // namespace Kor

template <>
struct std::hash<Kor::VrfName> {
  size_t operator()(Kor::VrfName const& v) const noexcept { return std::hash<std::string>()(v.str()); }
};
