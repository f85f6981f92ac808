#pragma once
// The adjacency type a FIB FEC id carries in its top byte: what kind of
// forwarding object the FEC stands for. The values are fixed by the FIB's
// writers; the adjacency layer branches on them (tunnel FECs are reviewed on a
// queue of their own, next-hop-group FECs by the next-hop-group reviewer).
#include <cstdint>
#include <ostream>
#include <string>

namespace Quill::Fib {

enum class AdjType : uint8_t {
  unspecifiedAdj = 0,   // FEC id 0 and ids written without a type
  nexthopAdj = 1,       // next hops resolved through ARP / neighbours (ECMP)
  fecAdj = 2,           // a FEC that resolves through another FEC
  tunnelAdj = 3,        // an IP or GRE tunnel FEC
  mplsAdj = 4,          // label push / swap FEC
  specialAdj = 5,       // drop, receive and attached FECs
  nextHopGroupAdj = 6,  // a FEC that stands for a next-hop group
};

constexpr AdjType nexthopAdj() { return AdjType::nexthopAdj; }
constexpr AdjType fecAdj() { return AdjType::fecAdj; }
constexpr AdjType tunnelAdj() { return AdjType::tunnelAdj; }
constexpr AdjType mplsAdj() { return AdjType::mplsAdj; }
constexpr AdjType specialAdj() { return AdjType::specialAdj; }
constexpr AdjType nextHopGroupAdj() { return AdjType::nextHopGroupAdj; }

// "nexthopAdj", ...; unknown values print "AdjType(<n>)".
std::string str(AdjType t);
std::ostream& operator<<(std::ostream& os, AdjType t);

}  // namespace Quill::Fib
