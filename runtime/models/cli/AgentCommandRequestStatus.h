#pragma once
// Status of agent command requests: number of commands served.
#include <cstdint>
#include <string>

#include "vix/Entity.h"

namespace Cli {

class AgentCommandRequestStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<AgentCommandRequestStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(Served)
  };

  AgentCommandRequestStatus() = default;
  explicit AgentCommandRequestStatus(std::string name) : Entity(std::move(name)) {}

  VIX_COUNTER(uint64_t, served, Served)
};

}  // namespace Cli
