#pragma once
// One member of a published next-hop group: where a share of the group's
// traffic goes (next hop, egress interface, VLAN - 0 for none -, MPLS labels
// outermost first) and its weight (the number of equal shares it takes).
// A value type; a group is one IP family, given by its members' next hops.
#include <cstdint>
#include <string>
#include <vector>

#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"

namespace NexthopGroup {

class NexthopGroupEntry {
 public:
  NexthopGroupEntry() = default;
  NexthopGroupEntry(Nollo::IpGenAddr const& nextHop, Nollo::IntfId const& intf, uint16_t vlan = 0,
                    uint32_t weight = 1, std::vector<uint32_t> labels = {})
      : nextHop_(nextHop), intf_(intf), vlan_(vlan), weight_(weight), labels_(std::move(labels)) {}

  Nollo::IpGenAddr const& nextHop() const { return nextHop_; }
  Nollo::IntfId const& intf() const { return intf_; }
  uint16_t vlan() const { return vlan_; }
  uint32_t weight() const { return weight_; }
  std::vector<uint32_t> const& labels() const { return labels_; }

  // "10.0.0.1 Ethernet1 vlan 10 weight 2 labels 100,200" (vlan and labels when set).
  std::string str() const {
    std::string s = nextHop_.str() + " " + intf_.str();
    if (vlan_) s += " vlan " + std::to_string(vlan_);
    s += " weight " + std::to_string(weight_);
    for (size_t i = 0; i < labels_.size(); ++i) s += (i ? "," : " labels ") + std::to_string(labels_[i]);
    return s;
  }

  bool operator==(NexthopGroupEntry const&) const = default;

 private:
  Nollo::IpGenAddr nextHop_;
  Nollo::IntfId intf_;
  uint16_t vlan_ = 0;
  uint32_t weight_ = 1;
  std::vector<uint32_t> labels_;
};

}  // namespace NexthopGroup
