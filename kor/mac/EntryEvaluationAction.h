#pragma once
// What one evaluation of a MAC key decided (MacAddrSm::evaluateEntry): the
// change queued in the update list for the key. ignoreLearnt is never
// queued: it leaves a decision already queued for the key as it is.
#include <cstdint>
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"

namespace Kor {

enum EntryEvaluationAction : uint8_t {
  addConfiguredToFdbStatusAndHardware,
  removeFromFdbStatusAndHardware,
  addLearntToFdbStatus,
  addConfiguredRemote,
  addLearntRemote,
  addLearntLocalAndRemoveRemote,
  ignoreLearnt,
};

// The enumerator's name; "EntryEvaluationAction(%d)" for other values.
KOR_EXPORT std::string toString(EntryEvaluationAction a);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, EntryEvaluationAction a);

}  // namespace Kor
