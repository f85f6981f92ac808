#pragma once
// The answers to next-hop requests by request id: one entry per request the
// library knows, written by its next-hop request machine only.
#include <cstdint>
#include <string>

#include "models/nexthop/NexthopResolution.h"
#include "vix/Entity.h"

namespace Nexthop {

class NexthopRequestStatus : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<NexthopRequestStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint64_t, Resolution)
  };

  NexthopRequestStatus() = default;
  explicit NexthopRequestStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(uint64_t, NexthopResolution, resolution, Resolution)
};

}  // namespace Nexthop
