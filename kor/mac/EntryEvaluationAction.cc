#include "kor/mac/EntryEvaluationAction.h"

namespace Kor {

std::string toString(EntryEvaluationAction a) {
  switch (a) {
    case addConfiguredToFdbStatusAndHardware: return "addConfiguredToFdbStatusAndHardware";
    case removeFromFdbStatusAndHardware: return "removeFromFdbStatusAndHardware";
    case addLearntToFdbStatus: return "addLearntToFdbStatus";
    case addConfiguredRemote: return "addConfiguredRemote";
    case addLearntRemote: return "addLearntRemote";
    case addLearntLocalAndRemoveRemote: return "addLearntLocalAndRemoveRemote";
    case ignoreLearnt: return "ignoreLearnt";
  }
  std::string s = "EntryEvaluationAction(";
  s += std::to_string(static_cast<int>(a));
  s += ')';
  return s;
}

std::ostream& operator<<(std::ostream& os, EntryEvaluationAction a) { return os << toString(a); }

}  // namespace Kor
