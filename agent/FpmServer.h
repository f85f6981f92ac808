#pragma once
// The FPM listener: zebra connects over TCP and streams its routes and
// next-hop objects as FPM frames of netlink messages. Runs on the agent's
// activity loop (no thread), non-blocking, through the loop's descriptor
// watchers.
//
// Owns the listening socket, at most one connection (a new one replaces the
// old: zebra reconnects after a restart), the frame reader and decoder of
// the stream, and the counters. Each wakeup reads one big chunk and applies
// the complete frames it holds, at most kFramesPerTurn of them: past that it
// stops watching the socket (TCP holds zebra back) and continues on the next
// loop turn, so the library's state machines get the loop between batches.
// A frame that does not decode is skipped whole and the stream goes on; a
// stream whose framing is lost (bad version, type or length) cannot be
// trusted further and is closed. Hands decoded messages and connection
// changes to the FpmRouteSource; registers itself as the agent's `show fpm`.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "feeds/FpmFrameReader.h"
#include "feeds/NetlinkDecoder.h"
#include "vix/Clock.h"

namespace KorAgent {

class Agent;
class FpmRouteSource;

class FpmServer {
 public:
  static constexpr size_t kReadChunk = 256 * 1024;
  static constexpr size_t kFramesPerTurn = 4096;

  struct Counters {
    uint64_t accepted = 0;
    uint64_t replaced = 0;     // connections closed for a newer one
    uint64_t peerClosed = 0;   // zebra closed or the connection failed
    uint64_t framingLost = 0;  // closed by us: framing lost
    uint64_t frames = 0, bytes = 0;
    uint64_t badFrames = 0;    // a frame whose messages did not add up to its length
    uint64_t otherMessages = 0;  // decoded, but not routes or next-hop objects
    uint64_t pauses = 0;       // wakeups that left frames for the next loop turn
  };

  FpmServer(Agent* agent, FpmRouteSource* source);
  FpmServer(FpmServer const&) = delete;
  FpmServer& operator=(FpmServer const&) = delete;
  ~FpmServer();

  // Listens on "ADDR:PORT" (IPv4, IPv6 bare or in brackets; port 0: any).
  // Returns false with errorText() set when the text is bad or the socket
  // cannot be bound.
  bool listenIs(std::string const& addrPort);
  std::string const& errorText() const { return error_; }
  // The address as given, with the port bound.
  std::string const& address() const { return address_; }
  uint16_t port() const { return port_; }
  bool connected() const { return connFd_ >= 0; }
  Counters const& counters() const { return counters_; }
  KorFeeds::NetlinkDecoder::Counters const& decoderCounters() const { return decoder_.counters(); }
  std::string show(bool json) const;

 private:
  void handleAccept();
  void handleReadable();
  void handleWork();
  // Applies up to `budget` complete frames; false when the connection was
  // closed.
  bool doFrames(size_t budget);
  void doWatch(bool on);
  void doClose(std::string const& why);

  Agent* agent_;
  FpmRouteSource* source_;
  int listenFd_ = -1;
  int connFd_ = -1;
  bool watching_ = false;
  std::string address_;
  uint16_t port_ = 0;
  std::string peer_;
  std::string error_;
  std::vector<uint8_t> chunk_;
  KorFeeds::FpmFrameReader reader_;
  KorFeeds::NetlinkDecoder decoder_;
  Vix::Clock workClock_;
  Counters counters_;
};

}  // namespace KorAgent
