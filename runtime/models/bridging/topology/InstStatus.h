#pragma once
// What the spanning-tree protocol reports for one topology (instance): the
// state of each port it runs on (a port absent from portState is not in the
// topology), and its MAC flush requests (flushRequest: port -> a counter the
// protocol increments once per request). Named after its topology.
#include <cstdint>
#include <string>

#include "models/bridging/topology/PortState.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Bridging::Topology {

class InstStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<InstStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, PortState)
    VIX_KEY_HANDLER(Nollo::IntfId, FlushRequest)
  };

  explicit InstStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, PortState, portState, PortState)
  VIX_ORDERED_MAP(Nollo::IntfId, uint32_t, flushRequest, FlushRequest)
};

}  // namespace Bridging::Topology
