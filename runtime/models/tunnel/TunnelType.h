#pragma once
// The encapsulation of an IP tunnel interface.
#include <cstdint>
#include <ostream>

namespace Tunnel {

enum class TunnelType : uint8_t { ipInIp, gre };

inline char const* toString(TunnelType t) { return t == TunnelType::gre ? "gre" : "ipip"; }
inline std::ostream& operator<<(std::ostream& os, TunnelType t) { return os << toString(t); }

}  // namespace Tunnel
