#include "kor/adj/NexthopGroupSm.h"

#include "kor/common/KorAssert.h"
#include "quill/FecId.h"

namespace Kor {

uint32_t NexthopGroupSm::doAddRef(uint64_t adjIndex) {
  uint32_t n = ++adjRefCnt_[adjIndex];
  ++refCnt_;
  KOR_TRACE(8, "Nexthop group ref-cnt " << n << " adjEntry " << Quill::Fib::FecId(adjIndex));
  return refCnt_;
}

uint32_t NexthopGroupSm::doDelRef(uint64_t adjIndex) {
  auto it = adjRefCnt_.find(adjIndex);
  if (it == adjRefCnt_.end() || it->second == 0) {
    korAssert("refCnt >= 1");
    return refCnt_;
  }
  uint32_t n = --it->second;
  if (!n) adjRefCnt_.erase(it);
  --refCnt_;
  KOR_TRACE(8, "Nexthop group ref-cnt " << n << " adjEntry " << Quill::Fib::FecId(adjIndex));
  return refCnt_;
}

}  // namespace Kor
