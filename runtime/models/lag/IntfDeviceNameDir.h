#pragma once
// The device names of the LAG interfaces this agent publishes (LAG -> kernel
// device name), written by the LAG state machine. It outlives the machine,
// so a new run finds the names of the previous one and removes the stale.
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Lag::Input {

class IntfDeviceNameDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<IntfDeviceNameDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, DeviceName)
  };

  IntfDeviceNameDir() = default;
  explicit IntfDeviceNameDir(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(Nollo::IntfId, std::string, deviceName, DeviceName)
};

}  // namespace Lag::Input
