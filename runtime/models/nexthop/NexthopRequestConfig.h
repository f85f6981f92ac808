#pragma once
// Next-hop requests by request id, written by their users (policy routing
// among them), read by the library's next-hop request machine.
#include <cstdint>
#include <string>

#include "models/nexthop/NexthopRequest.h"
#include "vix/Entity.h"

namespace Nexthop {

class NexthopRequestConfig : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<NexthopRequestConfig> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(uint64_t, Request)
  };

  NexthopRequestConfig() = default;
  explicit NexthopRequestConfig(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(uint64_t, NexthopRequest, request, Request)
};

}  // namespace Nexthop
