#pragma once
// Bridging configuration. Handed on to the per-VRF machines; the fields they
// read arrive with them. routerMac: the system MAC that routed frames are
// addressed to. pvlanSecondaries: the private VLANs, primary VLAN -> its
// secondary VLANs; hosts of a secondary VLAN are routed by the VLAN
// interface of its primary. fdbConfig: the static MAC entries per filtering
// database; hostAgingTime: seconds a dynamic entry lives without traffic;
// macLearning: interfaces whose hardware learning is configured (false:
// off; an interface without an entry learns).
#include <cstdint>
#include <string>
#include <vector>

#include "models/bridging/FdbConfig.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Bridging {

class Config : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<Config> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(RouterMac)
    VIX_KEY_HANDLER(uint16_t, PvlanSecondaries)
    VIX_KEY_HANDLER(uint16_t, FdbConfig)
    VIX_HANDLER(HostAgingTime)
    VIX_KEY_HANDLER(Nollo::IntfId, MacLearning)
  };

  Config() = default;
  explicit Config(std::string name) : Entity(std::move(name)) {}

  VIX_ATTR(Nollo::EthAddr, routerMac, RouterMac)
  VIX_HASH_MAP(uint16_t, std::vector<uint16_t>, pvlanSecondaries, PvlanSecondaries)
  VIX_CHILD_MAP(uint16_t, FdbConfig, fdbConfig, FdbConfig)
  VIX_ATTR(uint32_t, hostAgingTime, HostAgingTime)
  VIX_ORDERED_MAP(Nollo::IntfId, bool, macLearning, MacLearning)
};

}  // namespace Bridging
