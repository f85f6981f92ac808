#pragma once
// One entry of the VRF root's cache of VRFs the shared ARP table names: the
// VRF's name and whether its ARP (IPv4) and neighbour (IPv6) entries are
// wanted, i.e. handed to its machines.
#include <compare>

#include "kor/common/VrfName.h"

namespace Kor {

struct VrfRootInfo {
  VrfName vrfName;
  bool arpWanted = true;
  bool neighWanted = true;
  bool operator==(VrfRootInfo const&) const = default;
};

}  // namespace Kor
