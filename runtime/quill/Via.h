#pragma once
// One path of a FIB FEC: the next-hop address, the egress interface, the VLAN
// (0 = none), the MPLS labels to push (outermost first), the ECMP weight and
// whether the path is a backup. A value type; one code path for both families.
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nollo/IntfId.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Quill::Fib {

template <class AF>
class ViaT {
 public:
  using Addr = typename AF::Addr;

  ViaT() = default;
  ViaT(Addr const& nextHop, Nollo::IntfId const& intf, uint32_t weight = 1)
      : nextHop_(nextHop), intf_(intf), weight_(weight) {}

  Addr const& nextHop() const { return nextHop_; }
  void nextHopIs(Addr const& a) { nextHop_ = a; }
  Nollo::IntfId const& intf() const { return intf_; }
  void intfIs(Nollo::IntfId const& i) { intf_ = i; }
  uint16_t vlan() const { return vlan_; }
  void vlanIs(uint16_t v) { vlan_ = v; }
  std::vector<uint32_t> const& mplsLabels() const { return mplsLabels_; }
  void mplsLabelsIs(std::vector<uint32_t> l) { mplsLabels_ = std::move(l); }
  uint32_t weight() const { return weight_; }
  void weightIs(uint32_t w) { weight_ = w; }
  bool backup() const { return backup_; }
  void backupIs(bool b) { backup_ = b; }

  // "10.0.0.1 Ethernet1 vlan 10 weight 1 labels 100,200 backup" (vlan, labels
  // and backup only when set).
  std::string str() const {
    std::string s = nextHop_.str() + " " + (intf_.isNone() ? std::string("-") : intf_.str());
    if (vlan_) s += " vlan " + std::to_string(vlan_);
    s += " weight " + std::to_string(weight_);
    for (size_t i = 0; i < mplsLabels_.size(); ++i)
      s += (i ? "," : " labels ") + std::to_string(mplsLabels_[i]);
    if (backup_) s += " backup";
    return s;
  }

  bool operator==(ViaT const&) const = default;

 private:
  Addr nextHop_{};
  Nollo::IntfId intf_;
  uint16_t vlan_ = 0;
  bool backup_ = false;
  uint32_t weight_ = 1;
  std::vector<uint32_t> mplsLabels_;
};

template <class AF>
std::ostream& operator<<(std::ostream& os, ViaT<AF> const& v) {
  return os << v.str();
}

using Via = ViaT<Nollo::Ipv4>;

}  // namespace Quill::Fib

namespace Quill::Fib6 {
using Via = Quill::Fib::ViaT<Nollo::Ipv6>;
}
