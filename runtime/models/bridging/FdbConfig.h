#pragma once
// The configuration of one filtering database (one VLAN): its static MAC
// entries. Child of Bridging::Config, keyed by the VLAN id. Written by the
// bridging configuration agent; read by the MAC table owner (MacAddrSm).
#include <cstdint>
#include <string>

#include "models/bridging/ConfiguredHost.h"
#include "nollo/EthAddr.h"
#include "vix/Entity.h"

namespace Bridging {

class FdbConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<FdbConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::EthAddr, ConfiguredHost)
  };

  explicit FdbConfig(uint16_t fid) : Entity("fdbConfig" + std::to_string(fid)), fid_(fid) {}
  uint16_t fid() const { return fid_; }

  VIX_ORDERED_MAP(Nollo::EthAddr, ConfiguredHost, configuredHost, ConfiguredHost)

 private:
  uint16_t fid_;
};

}  // namespace Bridging
