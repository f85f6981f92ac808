#include "kor/records/AdjEntry.h"

#include "kor/records/L2Adjacency.h"

namespace Kor {

AdjEntry::AdjEntry(Quill::Fib::FecId fecId) : fecId_(fecId) {}

AdjEntry::~AdjEntry() = default;

void AdjEntry::l2AdjIs(Vix::Ptr<L2Adjacency> const& l2Adj) { l2Adj_ = l2Adj; }

}  // namespace Kor
