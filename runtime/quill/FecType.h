#pragma once
// What a FIB FEC does with a packet; the route layer derives a route's type
// from it.
#include <cstdint>
#include <ostream>
#include <string>

namespace Quill::Fib {

enum class FecType : uint8_t {
  forward,       // to the FEC's vias
  drop,          // discard
  receive,       // to the CPU: an address of this switch
  receiveBcast,  // to the CPU: a directed broadcast address
  slowReceive,   // to the CPU on the slow path
  attached,      // a connected subnet: next hop is the destination itself
  nexthopGroup,  // to a next-hop group
  tunnel,        // into a tunnel
};

// "forward", ...; unknown values print "FecType(<n>)".
std::string str(FecType t);
std::ostream& operator<<(std::ostream& os, FecType t);

}  // namespace Quill::Fib
