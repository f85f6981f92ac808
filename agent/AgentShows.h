#pragma once
// The agent's shows: renders, as text or JSON, what the agent holds - its
// inputs, the library's L3 status and VRF roots, the chip's tables - at the
// moment it is asked. Reads the agent's state, never changes it; made anew
// for each show by Agent::show.
#include <cstdint>
#include <string>

#include "kor/common/VrfName.h"
#include "nollo/IpGenAddr.h"

namespace Kor {
class VrfRoot;
}

namespace KorAgent {

class Agent;

class AgentShows {
 public:
  explicit AgentShows(Agent const& agent) : a_(agent) {}

  std::string showVrfs(bool json) const;
  std::string showL3(bool json) const;
  std::string showChip(bool json) const;
  std::string showInputs(bool json) const;
  std::string showAdj(bool json) const;
  std::string showL2Adj(bool json) const;
  std::string showRoutes(bool json) const;
  // The chip route a packet to `addr` in the VRF takes.
  std::string showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const;

 private:
  std::string vrfText(uint32_t vrfId) const;
  // The library's root of an announced VRF (null: none, or not started).
  Kor::VrfRoot const* vrfRootOf(std::string const& name) const;

  Agent const& a_;
};

}  // namespace KorAgent
