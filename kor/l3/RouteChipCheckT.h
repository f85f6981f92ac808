#pragma once
// Compares one VRF's routes of one family in the chip with what the route
// machine handed over (RouteChipCheck for IPv4, Route6ChipCheck for IPv6).
// The chip's side comes through the route helper's forEachHardwareRoute
// (prefix and the L2 adjacency index the chip's route points at): that walk
// is the platform's read of its route tables, so verification needs no
// second read operation in the helper base. Names every route that
// disagrees: handed over and installed but missing in the chip, held on
// another L2 adjacency, or held by the chip with no route of the machine
// behind it. Routes the chip refused (unprogrammed) are waiting, not
// disagreeing, and are not compared; chip routes nobody knows are only
// reported once the VRF's initial sync is over (before, the routes of an
// earlier run are still being claimed back).
// Owns nothing: the caller hands it its route records for one pass.
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "kor/helpers/RouteSmHelperT.h"
#include "kor/records/AdjInfo.h"
#include "kor/records/VrfId.h"
#include "nollo/IpPrefix.h"

namespace Kor {

template <class AF>
class RouteChipCheckT {
 public:
  using Prefix = Nollo::IpPrefixT<AF>;

  RouteChipCheckT(VrfId vrfId, KorHelper::RouteSmHelperT<AF> const& helper) : vrfId_(vrfId) {
    helper.forEachHardwareRoute(vrfId, [this](Prefix const& p, uint64_t l2AdjIndex) { chip_.emplace(p, l2AdjIndex); });
  }

  // One handed-over route (null: nothing handed over); unprogrammed: the chip
  // refused it and it waits for a retry.
  void routeIs(Prefix const& prefix, AdjInfo const* handed, bool unprogrammed) {
    auto it = chip_.find(prefix);
    bool const held = it != chip_.end();
    uint64_t const chipIndex = held ? it->second : 0;
    if (held) chip_.erase(it);
    if (!handed || unprogrammed) return;
    if (!held) fault(prefix, "missing in the chip (hand-over l2adj " + std::to_string(handed->l2AdjIndex()) + ")");
    else if (chipIndex != handed->l2AdjIndex())
      fault(prefix, "differs: chip l2adj " + std::to_string(chipIndex) + ", hand-over l2adj " +
                        std::to_string(handed->l2AdjIndex()));
  }

  // Every route given; chip routes not seen are unknown (reported when asked).
  std::vector<std::string> faults(bool withUnknown) {
    if (withUnknown)
      for (auto const& [p, index] : chip_) fault(p, "in the chip but unknown (l2adj " + std::to_string(index) + ")");
    chip_.clear();
    std::vector<std::string> lines;
    for (auto& [p, line] : faults_) lines.push_back(std::move(line));
    faults_.clear();
    return lines;
  }

 private:
  void fault(Prefix const& prefix, std::string const& what) {
    std::ostringstream os;
    os << "vrf id " << vrfId_.value() << " route " << prefix << " " << what;
    faults_.emplace(prefix, os.str());
  }

  VrfId vrfId_;
  std::map<Prefix, uint64_t> chip_;
  std::multimap<Prefix, std::string> faults_;
};

using RouteChipCheck = RouteChipCheckT<Nollo::Ipv4>;
using Route6ChipCheck = RouteChipCheckT<Nollo::Ipv6>;

}  // namespace Kor
