#pragma once
// Reads a configuration section's route tables, `{VRF: {PREFIX: {...}}}`
// (the `routes` of FECs and of next-hop groups): each VRF named must be in
// /vrfs, each prefix parses as IPv4 or IPv6 (by a ':' in it), and the
// caller's reader gets the VRF, the prefix, its text as the agent writes it
// and the prefix's value. Errors name the value where they are.
#include <functional>
#include <string>

#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigValue.h"
#include "agent/fib/FibModule.h"
#include "kor/common/VrfName.h"

namespace KorAgent {

class ConfigRouteTables {
 public:
  using Reader = std::function<void(Kor::VrfName const& vrf, FibModule::Prefix const& prefix, std::string const& text,
                                    ConfigValue const& value)>;
  static void forEach(ConfigValue const& routes, ConfigNames const& names, Reader const& read) {
    for (auto const& [vrfKey, table] : routes.members()) {
      Kor::VrfName const vrf = table.keyParsed<Kor::VrfName>(vrfKey);
      if (!names.vrfHas(vrf)) table.fail("no VRF '" + vrf.str() + "' in /vrfs");
      for (auto const& [prefixKey, v] : table.members()) {
        FibModule::Prefix prefix;
        std::string text;
        if (prefixKey.find(':') != std::string::npos) {
          prefix = v.keyParsed<Nollo::Ip6Prefix>(prefixKey);
          text = std::get<Nollo::Ip6Prefix>(prefix).str();
        } else {
          prefix = v.keyParsed<Nollo::IpPrefix>(prefixKey);
          text = std::get<Nollo::IpPrefix>(prefix).str();
        }
        read(vrf, prefix, text, v);
      }
    }
  }
};

}  // namespace KorAgent
