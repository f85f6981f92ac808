#pragma once
// What the adjacency machine remembers about a FEC queued for review: its IP
// version (4 or 6) and why it is queued (the update type the review passes on
// to the L2 adjacency helper).
#include <compare>
#include <cstdint>

#include "kor/records/AdjUpdateType.h"
#include "nollo/Ip6Hdr.h"

namespace Kor {

class AdjForReviewInfo {
 public:
  AdjForReviewInfo() = default;
  AdjForReviewInfo(uint8_t ipVersion, AdjUpdateType adjUpdateType)
      : ipVersion_(ipVersion), adjUpdateType_(adjUpdateType) {}

  uint8_t ipVersion() const { return ipVersion_; }
  AdjUpdateType adjUpdateType() const { return adjUpdateType_; }
  bool operator==(AdjForReviewInfo const&) const = default;

 private:
  uint8_t ipVersion_ = Nollo::Ip6Hdr::ipVersion4();
  AdjUpdateType adjUpdateType_ = AdjUpdateType::regularAdjUpdate;
};

}  // namespace Kor
