#pragma once
// One path of an adjacency, as the adjacency machine keeps it: the next hop,
// the VLAN (none for a routed port), the egress interface, the MPLS labels to
// push (outermost first) and whether it is a backup path. A value type, one
// template for both address families (Via / Via6 in Via.h). Equal vias may
// stand more than once in an AdjVia: the repetition is the path's weight.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "kor/common/VlanIdOrNone.h"
#include "nollo/IntfId.h"
#include "nollo/Ipv4.h"
#include "nollo/Ipv6.h"

namespace Kor {

template <class AF>
class ViaT {
 public:
  using Family = AF;
  using Addr = typename AF::Addr;

  ViaT() = default;
  ViaT(Addr const& nextHop, Nollo::IntfId intfId, VlanIdOrNone vlanId = VlanIdOrNone(),
       std::vector<uint32_t> labels = {}, bool isBackupVia = false)
      : nextHop_(nextHop), vlanId_(vlanId), intfId_(intfId), labels_(std::move(labels)), isBackupVia_(isBackupVia) {}

  Addr const& nextHop() const { return nextHop_; }
  void nextHopIs(Addr const& a) { nextHop_ = a; }
  VlanIdOrNone vlanId() const { return vlanId_; }
  void vlanIdIs(VlanIdOrNone v) { vlanId_ = v; }
  Nollo::IntfId intfId() const { return intfId_; }
  void intfIdIs(Nollo::IntfId i) { intfId_ = i; }
  std::vector<uint32_t> const& labels() const { return labels_; }
  void labelsIs(std::vector<uint32_t> l) { labels_ = std::move(l); }
  bool isBackupVia() const { return isBackupVia_; }
  void isBackupViaIs(bool b) { isBackupVia_ = b; }

  auto operator<=>(ViaT const&) const = default;

 private:
  Addr nextHop_{};
  VlanIdOrNone vlanId_;
  Nollo::IntfId intfId_;
  std::vector<uint32_t> labels_;
  bool isBackupVia_ = false;
};

// "10.0.0.1, Vlan: 10, intf: Ethernet1, mplsLabels: 100 200, backup" (the
// parts after the intf only when present).
template <class AF>
std::ostream& operator<<(std::ostream& os, ViaT<AF> const& v) {
  os << v.nextHop().str() << ", Vlan: " << v.vlanId().value() << ", intf: "
     << (v.intfId().isNone() ? std::string("-") : v.intfId().str());
  if (!v.labels().empty()) {
    os << ", mplsLabels:";
    for (uint32_t l : v.labels()) os << " " << l;
  }
  if (v.isBackupVia()) os << ", backup";
  return os;
}

}  // namespace Kor

template <class AF>
struct std::hash<Kor::ViaT<AF>> {
  size_t operator()(Kor::ViaT<AF> const& v) const noexcept {
    size_t h = std::hash<typename AF::Addr>()(v.nextHop());
    h = h * 1099511628211ULL ^ std::hash<Nollo::IntfId>()(v.intfId());
    h = h * 1099511628211ULL ^ v.vlanId().value();
    for (uint32_t l : v.labels()) h = h * 1099511628211ULL ^ l;
    return h ^ (v.isBackupVia() ? 0x9e3779b97f4a7c15ULL : 0);
  }
};
