#pragma once
// What the library made of one port's VLAN translations: whose configuration
// applies (the port's own or its port channel's), each translation's state
// (programmed, or refused by the hardware and waiting for room), and the
// reason a configuration was not applied at all (empty: it was).
#include <map>
#include <string>

#include "models/bridging/VlanXlateKey.h"
#include "nollo/IntfId.h"

namespace Bridging {

struct VlanXlateIntfStatus {
  enum class State { none, programmed, refused };

  Nollo::IntfId configFrom;
  std::map<VlanXlateKey, State> ingress;
  std::map<VlanXlateKey, State> egress;
  State ingressNative = State::none;
  State egressNative = State::none;
  std::string error;

  bool operator==(VlanXlateIntfStatus const&) const = default;
  static char const* stateName(State s) {
    return s == State::programmed ? "programmed" : s == State::refused ? "refused" : "none";
  }
};

}  // namespace Bridging
