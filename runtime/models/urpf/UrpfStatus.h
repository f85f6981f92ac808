#pragma once
// Unicast reverse-path-forwarding state of one interface, as the uRPF agent
// publishes it: the check mode and whether the default route passes it.
#include <cstdint>
#include <ostream>

namespace Urpf {

struct UrpfStatus {
  enum class Mode : uint8_t { disabled, loose, strict };
  Mode mode = Mode::disabled;
  bool allowDefault = false;
  bool operator==(UrpfStatus const&) const = default;
};

// "disabled", "loose", "strict", followed by " allowDefault" when set.
inline std::ostream& operator<<(std::ostream& os, UrpfStatus const& s) {
  switch (s.mode) {
    case UrpfStatus::Mode::disabled: os << "disabled"; break;
    case UrpfStatus::Mode::loose: os << "loose"; break;
    case UrpfStatus::Mode::strict: os << "strict"; break;
  }
  return os << (s.allowDefault ? " allowDefault" : "");
}

}  // namespace Urpf
