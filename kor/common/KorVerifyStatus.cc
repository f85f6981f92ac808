#include "kor/common/KorVerifyStatus.h"

namespace KorTypes {

std::ostream& operator<<(std::ostream& os, KorVerifyStatus v) {
  switch (v) {
    case KorVerifyStatus::verifyReset:
      return os << "verifyReset";
    case KorVerifyStatus::verifyInProgress:
      return os << "verifyInProgress";
    case KorVerifyStatus::verifySuccess:
      return os << "verifySuccess";
    case KorVerifyStatus::verifyFail:
      return os << "verifyFail";
    case KorVerifyStatus::verifyRetry:
      return os << "verifyRetry";
  }
  return os << "KorVerifyStatus(" << static_cast<int>(v) << ")";
}

}  // namespace KorTypes
