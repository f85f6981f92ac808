#pragma once
// The agent's common life as statements: init, run, restart (with an input
// statement applied while the library is down), the shows and the command
// channel, the common data's settings (fast boot, trace levels), the
// process environment, echo and help. Owns no entity: it drives the Agent
// and reads the statement table and the other modules. Shows `inputs`,
// gathered from every module's input groups.
#include <optional>
#include <string>

#include "agent/AgentModule.h"

namespace KorAgent {

class LifeModule : public AgentModule {
 public:
  explicit LifeModule(Agent* agent) : AgentModule(agent) {}

  // An environment variable of the agent process (none: unset).
  static void envIs(std::string const& name, std::optional<std::string> const& value);
  // What `help` prints: every statement, then every show.
  std::string helpText() const;

  void statementsAdd(StatementTable& t) override;
  void showsAdd() override;

 private:
  ShowModel inputsShow() const;
};

}  // namespace KorAgent
