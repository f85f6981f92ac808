#pragma once
// The MAC table of one filtering database (one VLAN): MAC -> where it lives.
// Child of Bridging::Status, keyed by the VLAN id. Written by the MAC table
// owner; read by the ARP / neighbour machines, which follow it per MAC.
#include <cstdint>
#include <string>

#include "models/bridging/LearnedHost.h"
#include "nollo/EthAddr.h"
#include "vix/Entity.h"

namespace Bridging {

class FdbStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<FdbStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::EthAddr, LearnedHost)
  };

  explicit FdbStatus(uint16_t fid) : Entity("fdb" + std::to_string(fid)), fid_(fid) {}
  uint16_t fid() const { return fid_; }

  VIX_HASH_MAP(Nollo::EthAddr, LearnedHost, learnedHost, LearnedHost)

 private:
  uint16_t fid_;
};

}  // namespace Bridging
