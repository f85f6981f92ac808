#pragma once
// How one tunnel interface resolved: the underlay route its destination
// matched (longest match in the underlay VRF), that route's FEC, and the
// tunnel's own L2 adjacency (0: none). `resolved` when that L2 adjacency
// forwards to at least one resolved next hop.
#include <cstdint>
#include <string>

namespace Tunnel {

struct TunnelIntfStatus {
  bool resolved = false;
  std::string underlayPrefix;  // empty: no route matches the destination
  uint64_t underlayFec = 0;  // the matching route's FIB FEC id (Quill::Fib::FecId value)
  uint64_t l2AdjIndex = 0;
  bool operator==(TunnelIntfStatus const&) const = default;
};

}  // namespace Tunnel
