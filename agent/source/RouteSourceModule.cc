#include "agent/source/RouteSourceModule.h"

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"

namespace KorAgent {

void RouteSourceModule::showSourceIs(std::string const& what, std::function<std::string(bool json)> fn) {
  if (fn) showSources_[what] = std::move(fn);
  else showSources_.erase(what);
}

std::string RouteSourceModule::sourceShow(std::string const& what, char const* idle, bool json) const {
  if (auto it = showSources_.find(what); it != showSources_.end()) return it->second(json);
  ShowModel m;
  m.fieldAdd(what, what + ": ", ShowModel::raw("null", idle));
  m.lineAdd("\n");
  return ShowRenderer::render(m, json);
}

void RouteSourceModule::showsAdd() {
  agent_->showAdd("fpm", [this](bool json) { return sourceShow("fpm", "not serving", json); });
  agent_->showAdd("kernel", [this](bool json) { return sourceShow("kernel", "not running", json); });
}

}  // namespace KorAgent
