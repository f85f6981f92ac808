#include "agent/verify/VerifyModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/StatementTable.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifyReport.h"
#include "kor/common/VerifySm.h"

namespace KorAgent {

void VerifyModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"verify"}, "[json]",
                  "compare every machine's records with each other and with the chip; print what disagrees", false,
                  [this](A& a) -> Apply {
                    bool json = a.accept("json");
                    a.end();
                    return [=, this](std::ostream& out) {
                      auto* acsd = agent_->commonData();
                      if (!agent_->initialized() || !acsd || !acsd->verifySm())
                        throw std::invalid_argument("verify: the library is not initialized (init first)");
                      Kor::VerifyReport report(acsd->verifySm()->doVerify());
                      agent_->drainEvents(out);
                      out << (json ? report.json() : report.text());
                    };
                  }});
}

}  // namespace KorAgent
