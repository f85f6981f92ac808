#pragma once
// The names one section of a configuration file defines for the sections
// read after it: the VRFs (the VRF "default" is always there). A section
// that names a VRF checks it here, so a reference to a VRF the file does not
// define is refused with the pointer of the reference. Filled while a file is
// read; never sees the agent.
#include <set>

#include "kor/common/VrfName.h"

namespace KorAgent {

class ConfigNames {
 public:
  ConfigNames() { vrfs_.insert(Kor::VrfName("default")); }
  void vrfAdd(Kor::VrfName const& vrf) { vrfs_.insert(vrf); }
  bool vrfHas(Kor::VrfName const& vrf) const { return vrfs_.count(vrf) != 0; }

 private:
  std::set<Kor::VrfName> vrfs_;
};

}  // namespace KorAgent
