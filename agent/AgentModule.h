#pragma once
// One subsystem of the agent: the input entities and bookkeeping it owns,
// its part of the library's creation (the factories it calls, in the
// documented order), its scenario statements, its shows and its restart
// hooks. The Agent keeps the loop, the chip and the common life and calls
// its modules in the order they are listed (Agent::doListModules): creation
// in that order, destruction in the reverse one. Adding a subsystem is
// adding a module and one line to that list.
#include <memory>
#include <string>
#include <vector>

#include "agent/ShowModel.h"

namespace KorAgent {

class Agent;
class ConfigSection;
class StatementTable;

class AgentModule {
 public:
  explicit AgentModule(Agent* agent) : agent_(agent) {}
  AgentModule(AgentModule const&) = delete;
  AgentModule& operator=(AgentModule const&) = delete;
  virtual ~AgentModule() = default;

  // Its statements and shows, once, when the agent lists its modules.
  virtual void statementsAdd(StatementTable&) {}
  virtual void showsAdd() {}
  // A group of `show inputs`: the groups are shown by rank (a module's place
  // in the list and the groups' order are separate concerns).
  struct InputGroup {
    int rank;
    std::string name;
    std::vector<std::string> lines;
  };
  virtual std::vector<InputGroup> inputGroups() const { return {}; }

  // The library's life. After the common data: the helpers the root state
  // machines are handed (the common data's LAG maps, the L2 adjacency
  // helper, the chip's route resolver); then the root state machines.
  virtual void doCreateHelpers() {}
  virtual void doCreateRoots() {}
  // Before `initialized` is set on the common data.
  virtual void doStartLibrary() {}
  // Before any module destroys its objects: what must let go first.
  virtual void doDetachLibrary() {}
  virtual void doDestroyLibrary() {}

  // The sections of the configuration file (kor-agent --config) this module
  // reads, new and empty: each reload reads the file into a fresh set.
  virtual void configSectionsAdd(std::vector<std::unique_ptr<ConfigSection>>&) const {}

 protected:
  Agent* agent_;
};

}  // namespace KorAgent
