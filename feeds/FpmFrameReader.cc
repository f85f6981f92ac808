#include "feeds/FpmFrameReader.h"

#include <cstring>
#include <utility>

namespace KorFeeds {

void FpmFrameReader::feed(uint8_t const* data, size_t n) {
  counters_.bytes += n;
  if (framingLost_ || !n) return;
  // Frames already handed out are dropped here, never in next(), so a
  // returned payload stays valid until the next feed().
  if (start_) {
    buf_.erase(buf_.begin(), buf_.begin() + ptrdiff_t(start_));
    consumed_ += start_;
    start_ = 0;
  }
  buf_.insert(buf_.end(), data, data + n);
}

std::optional<std::span<uint8_t const>> FpmFrameReader::next() {
  if (framingLost_) return std::nullopt;
  size_t const avail = buf_.size() - start_;
  if (avail < kHeaderSize) return std::nullopt;
  uint8_t const* h = buf_.data() + start_;
  if (h[0] != kVersion) {
    doLoseFraming("version " + std::to_string(h[0]) + ", expected " + std::to_string(kVersion));
    return std::nullopt;
  }
  if (h[1] != kTypeNetlink) {
    doLoseFraming("type " + std::to_string(h[1]) + ", expected " + std::to_string(kTypeNetlink) + " (netlink)");
    return std::nullopt;
  }
  size_t const len = size_t(h[2]) << 8 | h[3];
  if (len < kHeaderSize) {
    doLoseFraming("length " + std::to_string(len) + " below the 4-byte header");
    return std::nullopt;
  }
  if (avail < len) return std::nullopt;
  start_ += len;
  ++counters_.frames;
  return std::span<uint8_t const>(h + kHeaderSize, len - kHeaderSize);
}

void FpmFrameReader::doLoseFraming(std::string why) {
  framingLost_ = true;
  ++counters_.framingErrors;
  error_ = "FPM frame at byte " + std::to_string(offset()) + ": " + why;
  buf_.clear();
  buf_.shrink_to_fit();
  consumed_ += start_;
  start_ = 0;
}

}  // namespace KorFeeds
