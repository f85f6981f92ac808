#pragma once
// A 32-bit wrap-around sequence number (a MAC entry's move count). Two
// values compare by their distance modulo 2^32: b is newer than a when
// b - a, taken as a signed 32-bit number, is positive, so 1 is newer than
// 0xffffffff. Values half the space apart are unordered; newer() then says
// false both ways and the caller keeps what it has.
#include <cstdint>
#include <ostream>

namespace Kor {

class Seqno32 {
 public:
  Seqno32() = default;
  explicit Seqno32(uint32_t v) : value_(v) {}

  uint32_t value() const { return value_; }
  // True when this number comes after `other` in wrap-around order.
  bool newer(Seqno32 other) const {
    int32_t d = static_cast<int32_t>(value_ - other.value_);
    return d > 0 && d != INT32_MIN;
  }
  // The later of the two (ties and unordered pairs keep this one).
  Seqno32 latest(Seqno32 other) const { return other.newer(*this) ? other : *this; }
  bool operator==(Seqno32 const&) const = default;

 private:
  uint32_t value_ = 0;
};

inline std::ostream& operator<<(std::ostream& os, Seqno32 s) { return os << s.value(); }

}  // namespace Kor
