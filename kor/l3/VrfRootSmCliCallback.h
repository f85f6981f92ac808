#pragma once
// The VRF root's diagnostic command channel (name "kor", sub-name
// "VrfRootCli"). A command is a text whose first three characters select it
// ("FR4", "FR6", "FF4", "FF6", "AR4", "AR6", "AA3", "AA2", "VER", and "SR4"/"SR6"
// followed by 'u') and whose argument starts at the fifth character: an
// argument beginning with 'a' (or none) means all entries, anything else is
// one key (a prefix, a FEC id, an adjacency index, or a VRF name for the
// unprogrammed-route dumps). Route, FEC and adjacency dumps come from the
// machines of the VRF named last in the argument ("FR4 a vrf red",
// "FF6 12 vrf blue", "AA3 vrf red"), of "default" when none is named; an
// unknown VRF is answered "Vrf NAME not found". "VER" runs a verification
// pass of every machine at once and answers what disagrees, or that all
// agree ("VER j": as JSON, see VerifyReport). The output is returned for the caller to write to
// the socket the command came from. Owned by the VrfRootSm.
#include <string>

#include "kor/common/KorBaseSm.h"

namespace Kor {

class VrfRootSm;

class VrfRootSmCliCallback : public KorBaseSm {
 public:
  static constexpr char const* name_ = "kor";
  static constexpr char const* subName_ = "VrfRootCli";

  explicit VrfRootSmCliCallback(VrfRootSm* vrfRootSm);

  std::string doCommand(int socket, std::string const& text);

 private:
  VrfRootSm* vrfRootSm_;
};

}  // namespace Kor
