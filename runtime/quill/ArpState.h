#pragma once
// The state of a resolved neighbour (ARP or IPv6 neighbour discovery) as the
// ARP agent publishes it.
#include <cstdint>
#include <ostream>
#include <string>

namespace Quill::Arp {

enum class ArpState : uint8_t {
  incomplete,  // resolution in progress, no MAC yet
  reachable,   // confirmed recently
  stale,       // MAC known, not confirmed recently
  delay,
  probe,
  failed,      // resolution gave up
  permanent,   // configured statically
  noArp,       // interface without address resolution
};

// "reachable", ...; unknown values print "ArpState(<n>)".
std::string str(ArpState s);
std::ostream& operator<<(std::ostream& os, ArpState s);
// States whose MAC may be used for forwarding.
bool isResolved(ArpState s);

}  // namespace Quill::Arp
