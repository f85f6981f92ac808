#pragma once
// Resilient ECMP configuration of every VRF: per (VRF name, prefix) of each
// family, the bucket table's parameters. Written by the agent (statements and
// the configuration file), read by each VRF's resilient ECMP machines, which
// take only the keys of their VRF and only valid parameters.
#include <string>
#include <utility>

#include "kor/common/VrfName.h"
#include "kor/records/ResilientEcmpParams.h"
#include "nollo/IpPrefix.h"
#include "vix/Entity.h"

namespace Kor {

class ResilientEcmpConfig : public Vix::Entity {
 public:
  using Key = std::pair<VrfName, Nollo::IpPrefix>;
  using Key6 = std::pair<VrfName, Nollo::Ip6Prefix>;

  class Notifiee : public Vix::NotifieeOf<ResilientEcmpConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Key, Prefix)
    VIX_KEY_HANDLER(Key6, Prefix6)
  };

  ResilientEcmpConfig() = default;
  explicit ResilientEcmpConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Key, ResilientEcmpParams, prefix, Prefix)
  VIX_ORDERED_MAP(Key6, ResilientEcmpParams, prefix6, Prefix6)
};

}  // namespace Kor
