#pragma once
// One route of the shared-memory FIB: the prefix, the FEC it forwards to and
// the writer's sequence number and flag bits (opaque to readers that do not
// know them). Kept to 24 bytes for IPv4 so a million-route table stays well
// under 100 bytes per route; the route's type comes from its FEC.
#include <cstdint>
#include <ostream>
#include <string>

#include "nollo/IpPrefix.h"
#include "quill/FecId.h"

namespace Quill::Fib {

template <class AF>
class RouteT {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;

  RouteT() = default;
  RouteT(Prefix const& prefix, FecId fecId, uint32_t seqNo = 0, uint16_t flags = 0)
      : prefix_(prefix), fecId_(fecId), seqNo_(seqNo), flags_(flags) {}

  Prefix const& prefix() const { return prefix_; }
  FecId const& fecId() const { return fecId_; }
  void fecIdIs(FecId f) { fecId_ = f; }
  uint32_t seqNo() const { return seqNo_; }
  void seqNoIs(uint32_t s) { seqNo_ = s; }
  uint16_t flags() const { return flags_; }
  void flagsIs(uint16_t f) { flags_ = f; }

  // "10.0.0.0/8 -> fec 42" (seq and flags omitted).
  std::string str() const { return prefix_.str() + " -> fec " + fecId_.str(); }

  bool operator==(RouteT const&) const = default;

 private:
  Prefix prefix_;
  FecId fecId_;
  uint32_t seqNo_ = 0;
  uint16_t flags_ = 0;
};

template <class AF>
std::ostream& operator<<(std::ostream& os, RouteT<AF> const& r) {
  return os << r.str();
}

using Route = RouteT<Nollo::Ipv4>;

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using Route = Quill::Fib::RouteT<Nollo::Ipv6>;
}
