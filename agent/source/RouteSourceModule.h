#pragma once
// Route sources: the shows of the sources a main wires in (the FPM listener
// `fpm`, the kernel's netlink source `kernel`). A source registers its show
// while it runs; without one the show says the source is not running. The
// sources feed the other modules through their public input operations.
#include <functional>
#include <map>
#include <string>

#include "agent/AgentModule.h"

namespace KorAgent {

class RouteSourceModule : public AgentModule {
 public:
  explicit RouteSourceModule(Agent* agent) : AgentModule(agent) {}

  // The show of a running source ("fpm", "kernel"); a null fn removes it.
  void showSourceIs(std::string const& what, std::function<std::string(bool json)> fn);

  void showsAdd() override;

 private:
  std::string sourceShow(std::string const& what, char const* idle, bool json) const;

  std::map<std::string, std::function<std::string(bool)>> showSources_;
};

}  // namespace KorAgent
