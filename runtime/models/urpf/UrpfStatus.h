#pragma once
// Unicast reverse-path-forwarding state of one interface, as the uRPF agent
// publishes it: the check mode and whether the default route passes it.
#include <cstdint>

namespace Urpf {

struct UrpfStatus {
  enum class Mode : uint8_t { disabled, loose, strict };
  Mode mode = Mode::disabled;
  bool allowDefault = false;
  bool operator==(UrpfStatus const&) const = default;
};

}  // namespace Urpf
