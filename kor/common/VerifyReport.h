#pragma once
// What a verification pass found, as people and scripts read it: the
// reports that were not a success (VerifySm::faults(), each with its machine
// as "Class::function"), as text or as one JSON object. Text:
//   verify: all agree
// or
//   verify: 2 disagree
//     KorL2AdjHelper: l2adj 5 differs: chip ..., records ...
//     KorRoutingSm: vrf id 0 route 10.0.0.0/24 missing in the chip (hand-over l2adj 3)
// JSON: {"agree": false, "faults": [{"machine": "...", "status": "verifyFail",
// "description": "..."}]}. The `verify` statement and the command channel's
// "VER" code print it. Owns a copy of the reports.
#include <string>
#include <vector>

#include "kor/common/KorExport.h"
#include "kor/common/VerifyOutput.h"

namespace Kor {

class KOR_EXPORT VerifyReport {
 public:
  explicit VerifyReport(std::vector<VerifyOutput> faults) : faults_(std::move(faults)) {}

  bool agree() const { return faults_.empty(); }
  std::vector<VerifyOutput> const& faults() const { return faults_; }
  std::string text() const;
  std::string json() const;
  // The machine part of a report's function ("KorAdjSm::handleVerify" -> "KorAdjSm").
  static std::string machine(VerifyOutput const& o);

 private:
  std::vector<VerifyOutput> faults_;
};

}  // namespace Kor
