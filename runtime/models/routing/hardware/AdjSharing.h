#pragma once
// Configured L2 adjacency sharing mode: the platform's default, on, or off
// (values fixed by the configuration's writers).
#include <cstdint>
#include <ostream>

namespace Routing::Hardware {

enum class AdjSharing : uint8_t { platformDefault = 0, on = 1, off = 2 };

inline std::ostream& operator<<(std::ostream& os, AdjSharing a) { return os << static_cast<int>(a); }

}  // namespace Routing::Hardware
