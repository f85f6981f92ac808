#pragma once
// The ARP agent's numbering of VRFs: ARP-table VRF id -> VRF name, one
// notification handleVrfName(id) per added, renamed or removed id.
#include <cstdint>
#include <string>
#include <utility>

#include "vix/Entity.h"

namespace Quill::Arp {

class VrfIdMap : public Vix::Entity {
 public:
  using Key = uint32_t;

  class Notifiee : public Vix::NotifieeOf<VrfIdMap> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint32_t, VrfName)
  };
  class KeyNotifiee : public Notifiee {
   public:
    using Notifiee::Notifiee;
    void handleVrfName(uint32_t const& k) override { handleKey(k); }
    virtual void handleKey(Key const& k) = 0;
  };

  VrfIdMap() = default;
  explicit VrfIdMap(std::string name) : Vix::Entity(std::move(name)) {}

  VIX_ORDERED_MAP(uint32_t, std::string, vrfName, VrfName)

 public:
  // The id filed under `name`, or `none` when the name has no id.
  uint32_t vrfId(std::string const& name, uint32_t none = ~0u) const {
    for (auto const& kv : vrfNameMap())
      if (kv.second == name) return kv.first;
    return none;
  }
  template <class F>
  void forEachKey(F f) const {
    for (auto const& kv : vrfNameMap()) f(kv.first);
  }
};

}  // namespace Quill::Arp
