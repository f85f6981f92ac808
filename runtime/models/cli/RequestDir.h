#pragma once
// Directory through which command-line requests reach the agents. The VRF
// root's command channel is registered here under its name.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Cli {

class RequestDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<RequestDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(std::string, Callback)
  };

  RequestDir() = default;
  explicit RequestDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(std::string, std::string, callback, Callback)
};

}  // namespace Cli
