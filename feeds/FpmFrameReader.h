#pragma once
// FpmFrameReader cuts the byte stream of one FPM connection into frames. A
// frame is a 4-byte header - version (1), type (1: netlink), total length
// big-endian including the header - followed by netlink message bytes.
//
// Owns the bytes received but not yet handed out as a frame. Invariant:
// bytes before start_ belong to frames already returned; once framing is lost
// (a header with another version or type, or a length below the header's own
// size) the reader hands out nothing more, since no later byte can be trusted
// to start a frame: the caller closes the connection. Fed by the FPM server
// with whatever each read() returned, in stream order.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace KorFeeds {

class FpmFrameReader {
 public:
  static constexpr uint8_t kVersion = 1;
  static constexpr uint8_t kTypeNetlink = 1;
  static constexpr size_t kHeaderSize = 4;

  struct Counters {
    uint64_t frames = 0, bytes = 0, framingErrors = 0;
  };

  // Bytes as read from the connection.
  void feed(uint8_t const* data, size_t n);
  // The next complete frame's payload (valid until the next feed()); nullopt
  // when no complete frame is buffered or framing is lost.
  std::optional<std::span<uint8_t const>> next();
  bool framingLost() const { return framingLost_; }
  // Why framing was lost, naming the byte offset of the bad header in the
  // stream; empty while framing holds.
  std::string const& error() const { return error_; }
  Counters const& counters() const { return counters_; }
  // Bytes buffered that are not yet part of a returned frame.
  size_t pending() const { return buf_.size() - start_; }
  // Stream offset of the next frame header (bytes consumed so far).
  uint64_t offset() const { return consumed_ + start_; }

 private:
  void doLoseFraming(std::string why);

  std::vector<uint8_t> buf_;
  size_t start_ = 0;        // first byte of buf_ not yet handed out
  uint64_t consumed_ = 0;   // stream offset of buf_[0]
  bool framingLost_ = false;
  std::string error_;
  Counters counters_;
};

}  // namespace KorFeeds
