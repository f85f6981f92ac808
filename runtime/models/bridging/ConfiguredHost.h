#pragma once
// One static MAC entry as the bridging configuration agent publishes it: the
// interface the address is pinned to and its type (a local static entry, or
// a static entry behind a remote VTEP).
#include <ostream>

#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"

namespace Bridging {

struct ConfiguredHost {
  Nollo::IntfId intf;
  EntryType entryType = EntryType::configuredStaticMac;

  bool operator==(ConfiguredHost const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, ConfiguredHost const& h) {
  return os << h.intf << " " << h.entryType;
}

}  // namespace Bridging
