#pragma once
// Numeric id of a VRF as the hardware and the route hand-over lists know it.
// Id 0 always belongs to the VRF "default"; ids 1..MaxVrfs are handed out by
// the VRF root and reused first in, first out.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>

namespace Kor {

class VrfId {
 public:
  static constexpr uint32_t defaultVrfId = 0;

  constexpr VrfId() = default;
  constexpr explicit VrfId(uint32_t v) : value_(v) {}
  constexpr uint32_t value() const { return value_; }
  constexpr bool isDefault() const { return value_ == defaultVrfId; }
  constexpr auto operator<=>(VrfId const&) const = default;

 private:
  uint32_t value_ = defaultVrfId;
};

inline std::ostream& operator<<(std::ostream& os, VrfId const& v) { return os << v.value(); }

}  // namespace Kor

template <>
struct std::hash<Kor::VrfId> {
  size_t operator()(Kor::VrfId const& v) const noexcept { return v.value(); }
};
