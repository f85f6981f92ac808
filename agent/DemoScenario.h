#pragma once
// The scenario `kor-agent` runs when started without arguments: a few VRFs on
// a chip with room for three, interfaces and ARP entries, a VRF deleted and
// one re-added into the freed id, and the resulting state.
namespace KorAgent {

class DemoScenario {
 public:
  static char const* text();
};

}  // namespace KorAgent
