#pragma once
// The agent's self-verification as a statement: `verify [json]` runs a
// verification pass of every machine of the library at once (VerifySm) and
// prints what disagrees - each report naming its machine, the object and
// what differs - or "verify: all agree" (see Kor::VerifyReport for both
// forms). The same pass answers the command channel's "VER" code. Owns no
// entity; refused before `init` (no machine runs yet).
#include "agent/AgentModule.h"

namespace KorAgent {

class VerifyModule : public AgentModule {
 public:
  explicit VerifyModule(Agent* agent) : AgentModule(agent) {}

  void statementsAdd(StatementTable& t) override;
};

}  // namespace KorAgent
