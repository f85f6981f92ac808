#pragma once
// The FPM listener: zebra connects over TCP and streams its routes and
// next-hop objects as FPM frames of netlink messages. Runs on the agent's
// activity loop (no thread), non-blocking, through the loop's descriptor
// watchers.
//
// Owns the listening socket, the current connection (at most one: the peer
// whose frames are applied), the candidates (newer connections not yet
// trusted), the frame reader and decoder of the current stream, and the
// counters. Each wakeup reads one big chunk and applies the complete frames
// it holds, at most kFramesPerTurn of them: past that it stops watching the
// socket (TCP holds zebra back) and continues on the next loop turn, so the
// library's state machines get the loop between batches. A frame that does
// not decode is skipped whole and the stream goes on; a stream whose framing
// is lost (bad version, type or length) cannot be trusted further and is
// closed. Hands decoded messages and connection changes to the
// FpmRouteSource; registers itself as the agent's `show fpm`.
//
// Who may replace whom. Any process that can reach the port can connect, so
// a connection is not trusted for being new:
//  - a connection that arrives while no peer is current becomes current at
//    once (zebra after a restart: the old connection closed first);
//  - one that arrives while a peer is current is held as a candidate: its
//    bytes are read and kept, nothing is applied, the current peer stays;
//  - a candidate proves itself with one complete FPM frame that decodes
//    whole and holds a route or next-hop message (what zebra sends first on
//    every connection). It then replaces the current peer, and the frames it
//    sent so far are applied in order as the start of its replay;
//  - a candidate that sends no such frame within proofTimeout(), breaks the
//    framing, sends a frame that does not decode, sends kCandidateHold bytes
//    without a route, or closes first, is closed and changes nothing;
//  - at most kMaxCandidates are held; one more is closed at once.
// The current peer is never dropped for being silent: zebra sends nothing
// while its table is stable, so silence proves nothing. A zebra that
// restarts closes its old connection (its new one becomes current) or, if
// the old one is left half-open, proves itself with its first frame. The
// stale sweep of the route source only follows a connection that sent
// something (FpmRouteSource), so a silent current peer removes nothing.
#include <cstddef>
#include <cstdint>
#include <memory>
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
  // The default time a candidate has to prove itself (proofTimeoutIs()).
  static constexpr Vix::Seconds kProofTimeout = 10.0;
  static constexpr size_t kMaxCandidates = 4;
  // Bytes a candidate may send before its first route or next-hop message.
  static constexpr size_t kCandidateHold = 1024 * 1024;
  // The address `--fpm PORT` binds: a port alone is served on loopback.
  static constexpr char const* kDefaultAddress = "127.0.0.1";

  struct Counters {
    uint64_t accepted = 0;     // TCP connections accepted, candidates included
    uint64_t replaced = 0;     // current connections closed for a proven candidate
    uint64_t peerClosed = 0;   // zebra closed or the connection failed
    uint64_t framingLost = 0;  // closed by us: framing lost
    uint64_t frames = 0, bytes = 0;
    uint64_t badFrames = 0;    // a frame whose messages did not add up to its length
    uint64_t otherMessages = 0;  // decoded, but not routes or next-hop objects
    uint64_t pauses = 0;       // wakeups that left frames for the next loop turn
    // Connections held while another was current, and what became of them.
    uint64_t candidates = 0;
    uint64_t candidatesProven = 0;   // replaced the current connection
    uint64_t candidatesSilent = 0;   // no route or next-hop message within the timeout
    uint64_t candidatesGarbage = 0;  // lost framing, a bad frame, or too many bytes without a route
    uint64_t candidatesLeft = 0;     // closed by their peer before proving themselves
    uint64_t candidatesRefused = 0;  // closed at once: kMaxCandidates already held
  };

  FpmServer(Agent* agent, FpmRouteSource* source);
  FpmServer(FpmServer const&) = delete;
  FpmServer& operator=(FpmServer const&) = delete;
  ~FpmServer();

  // Listens on "ADDR:PORT" (IPv4, IPv6 bare or in brackets; port 0: any),
  // or on "PORT" at kDefaultAddress. Returns false with errorText() set when
  // the text is bad or the socket cannot be bound.
  bool listenIs(std::string const& addrPort);
  std::string const& errorText() const { return error_; }
  // The address as given (kDefaultAddress for a port alone), with the port
  // bound.
  std::string const& address() const { return address_; }
  uint16_t port() const { return port_; }
  bool connected() const { return connFd_ >= 0; }
  size_t candidates() const { return candidates_.size(); }
  // How long a candidate has to prove itself (tests shorten it).
  void proofTimeoutIs(Vix::Seconds seconds) { proofTimeout_ = seconds; }
  Vix::Seconds proofTimeout() const { return proofTimeout_; }
  Counters const& counters() const { return counters_; }
  KorFeeds::NetlinkDecoder::Counters const& decoderCounters() const { return decoder_.counters(); }
  std::string show(bool json) const;

 private:
  // A connection held until it proves itself. `held`: every byte it sent,
  // applied from the start if it is promoted; `probe`: the same bytes cut
  // into frames, for the proof only.
  struct Candidate {
    int fd = -1;
    std::string peer;
    Vix::Seconds since = 0, deadline = 0;
    std::vector<uint8_t> held;
    KorFeeds::FpmFrameReader probe;
  };
  enum class Proof { pending, proven, garbage };

  void handleAccept();
  void handleReadable();
  void handleWork();
  void handleCandidateReadable(Candidate* c);
  void handleProofClock();
  // Makes fd the current connection; `held` are bytes it already sent.
  void doAdopt(int fd, std::string peer, std::vector<uint8_t> held);
  void doPromote(Candidate* c);
  // Closes a candidate, counting it in *counter.
  void doDropCandidate(Candidate* c, uint64_t* counter, std::string const& why);
  void doArmProofClock();
  // The candidate's new complete frames judged: proven at the first whole
  // frame with a route or next-hop message, garbage (why set) at the first
  // bad one.
  Proof proofOf(Candidate& c, std::string* why);
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
  // Oldest first; heap-held so the descriptor handlers can name them.
  std::vector<std::unique_ptr<Candidate>> candidates_;
  // Decodes candidates' frames for the proof; its counters are not shown.
  KorFeeds::NetlinkDecoder probeDecoder_;
  Vix::Clock proofClock_;
  Vix::Seconds proofTimeout_ = kProofTimeout;
  Counters counters_;
};

}  // namespace KorAgent
