#include "agent/fpm/FpmServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <charconv>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <variant>

#include "agent/Agent.h"
#include "agent/source/RouteSourceModule.h"
#include "agent/fpm/FpmRouteSource.h"
#include "vix/Log.h"

VIX_LOG_EVENT(FPM_CONNECTION_ACCEPTED, 5, "FPM connection from %s", "zebra connected to the agent's FPM listener.",
              "None.", 0.0);
VIX_LOG_EVENT(FPM_CONNECTION_CLOSED, 4, "FPM connection from %s closed: %s",
              "The FPM connection ended; the routes it gave stay until a new connection replays the table.",
              "If framing was lost, check what writes to the FPM port.", 0.0);
VIX_LOG_EVENT(FPM_CANDIDATE_HELD, 5, "FPM connection from %s held as a candidate: %s is current",
              "A connection came while zebra's is current; it replaces it only once it sends a route or "
              "next-hop message.",
              "None, unless candidates keep being closed ('show fpm' counts them).", 0.0);
VIX_LOG_EVENT(FPM_CANDIDATE_CLOSED, 4, "FPM candidate %s closed: %s",
              "A connection held as a candidate did not prove itself; nothing it sent was applied.",
              "Check what connects to the FPM port.", 1.0);
VIX_LOG_EVENT(FPM_FRAME_SKIPPED, 4, "FPM frame %llu: message skipped: %s",
              "A netlink message in an FPM frame did not decode; it was skipped whole and the stream goes on.",
              "'show fpm' counts the causes.", 1.0);

namespace KorAgent {

namespace {

std::string errnoText(char const* what) { return std::string(what) + ": " + std::strerror(errno); }

std::string peerText(sockaddr_storage const& ss) {
  char host[INET6_ADDRSTRLEN] = "?";
  uint16_t port = 0;
  if (ss.ss_family == AF_INET) {
    auto const& a = reinterpret_cast<sockaddr_in const&>(ss);
    ::inet_ntop(AF_INET, &a.sin_addr, host, sizeof host);
    port = ntohs(a.sin_port);
    return std::string(host) + ":" + std::to_string(port);
  }
  auto const& a = reinterpret_cast<sockaddr_in6 const&>(ss);
  ::inet_ntop(AF_INET6, &a.sin6_addr, host, sizeof host);
  port = ntohs(a.sin6_port);
  // Appended piece by piece: g++ 12 at -O3 warns (falsely) on the
  // concatenation of temporaries here.
  std::string text = "[";
  text += host;
  text += "]:";
  text += std::to_string(port);
  return text;
}

}  // namespace

FpmServer::FpmServer(Agent* agent, FpmRouteSource* source)
    : agent_(agent),
      source_(source),
      workClock_(agent->loop(), [this] { handleWork(); }),
      proofClock_(agent->loop(), [this] { handleProofClock(); }) {
  agent_->module<RouteSourceModule>().showSourceIs("fpm", [this](bool json) { return show(json); });
}

FpmServer::~FpmServer() {
  agent_->module<RouteSourceModule>().showSourceIs("fpm", nullptr);
  if (connFd_ >= 0) {
    doWatch(false);
    ::close(connFd_);
  }
  for (auto const& c : candidates_) {
    agent_->loop()->fdDel(c->fd);
    ::close(c->fd);
  }
  if (listenFd_ >= 0) {
    agent_->loop()->fdDel(listenFd_);
    ::close(listenFd_);
  }
}

bool FpmServer::listenIs(std::string const& addrPort) {
  auto bad = [&](std::string const& why) {
    error_ = "bad FPM address '" + addrPort + "': " + why;
    return false;
  };
  auto colon = addrPort.rfind(':');
  std::string host = kDefaultAddress, portText = addrPort;
  if (colon != std::string::npos) {
    host = addrPort.substr(0, colon);
    portText = addrPort.substr(colon + 1);
  }
  unsigned port = 0;
  auto [end, ec] = std::from_chars(portText.data(), portText.data() + portText.size(), port);
  if (portText.empty() || ec != std::errc() || end != portText.data() + portText.size() || port > 65535)
    return bad(colon == std::string::npos ? "expected PORT or ADDR:PORT"
                                          : "port '" + portText + "' is not a number 0-65535");
  std::string bare = host.size() >= 2 && host.front() == '[' && host.back() == ']' ? host.substr(1, host.size() - 2)
                                                                                       : host;
  sockaddr_storage ss{};
  socklen_t len;
  if (auto& a4 = reinterpret_cast<sockaddr_in&>(ss); ::inet_pton(AF_INET, bare.c_str(), &a4.sin_addr) == 1) {
    a4.sin_family = AF_INET;
    a4.sin_port = htons(uint16_t(port));
    len = sizeof a4;
  } else if (auto& a6 = reinterpret_cast<sockaddr_in6&>(ss); ::inet_pton(AF_INET6, bare.c_str(), &a6.sin6_addr) == 1) {
    a6.sin6_family = AF_INET6;
    a6.sin6_port = htons(uint16_t(port));
    len = sizeof a6;
  } else {
    return bad("'" + host + "' is not an IPv4 or IPv6 address");
  }
  int fd = ::socket(ss.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    error_ = errnoText("socket");
    return false;
  }
  int one = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&ss), len) < 0 || ::listen(fd, 4) < 0) {
    error_ = addrPort + ": " + std::strerror(errno);
    ::close(fd);
    return false;
  }
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&ss), &len);
  port_ = ntohs(ss.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(ss).sin_port
                                        : reinterpret_cast<sockaddr_in6&>(ss).sin6_port);
  address_ = host + ":" + std::to_string(port_);
  listenFd_ = fd;
  agent_->loop()->fdIs(fd, [this] { handleAccept(); });
  return true;
}

void FpmServer::handleAccept() {
  for (;;) {
    sockaddr_storage ss{};
    socklen_t len = sizeof ss;
    int fd = ::accept4(listenFd_, reinterpret_cast<sockaddr*>(&ss), &len, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    ++counters_.accepted;
    if (chunk_.empty()) chunk_.resize(kReadChunk);
    if (connFd_ < 0) {
      doAdopt(fd, peerText(ss), {});
      continue;
    }
    auto c = std::make_unique<Candidate>();
    c->fd = fd;
    c->peer = peerText(ss);
    if (candidates_.size() >= kMaxCandidates) {
      ++counters_.candidatesRefused;
      FPM_CANDIDATE_CLOSED.raise(agent_->loop()->now(), c->peer.c_str(),
                                 (std::to_string(kMaxCandidates) + " candidates already held").c_str());
      ::close(fd);
      continue;
    }
    ++counters_.candidates;
    c->since = agent_->loop()->now();
    c->deadline = c->since + proofTimeout_;
    FPM_CANDIDATE_HELD.raise(c->since, c->peer.c_str(), peer_.c_str());
    Candidate* held = c.get();
    candidates_.push_back(std::move(c));
    agent_->loop()->fdIs(fd, [this, held] { handleCandidateReadable(held); });
    doArmProofClock();
  }
}

void FpmServer::doAdopt(int fd, std::string peer, std::vector<uint8_t> held) {
  connFd_ = fd;
  peer_ = std::move(peer);
  reader_ = KorFeeds::FpmFrameReader();
  FPM_CONNECTION_ACCEPTED.raise(agent_->loop()->now(), peer_.c_str());
  source_->handleConnectionUp();
  if (held.empty()) return doWatch(true);
  // What the connection sent while it was a candidate starts its stream.
  counters_.bytes += held.size();
  reader_.feed(held.data(), held.size());
  doFrames(kFramesPerTurn);
}

void FpmServer::handleCandidateReadable(Candidate* c) {
  ssize_t n;
  do n = ::read(c->fd, chunk_.data(), chunk_.size());
  while (n < 0 && errno == EINTR);
  if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
  if (n <= 0) return doDropCandidate(c, &counters_.candidatesLeft, n ? errnoText("read") : "closed by the peer");
  c->held.insert(c->held.end(), chunk_.data(), chunk_.data() + n);
  c->probe.feed(chunk_.data(), size_t(n));
  std::string why;
  switch (proofOf(*c, &why)) {
    case Proof::proven: return doPromote(c);
    case Proof::garbage: return doDropCandidate(c, &counters_.candidatesGarbage, why);
    case Proof::pending: break;
  }
  if (c->held.size() >= kCandidateHold)
    doDropCandidate(c, &counters_.candidatesGarbage,
                    std::to_string(c->held.size()) + " bytes without a route or next-hop message");
}

FpmServer::Proof FpmServer::proofOf(Candidate& c, std::string* why) {
  auto const& dc = probeDecoder_.counters();
  while (auto frame = c.probe.next()) {
    uint64_t const badBefore = dc.badAttrSize + dc.badLength + dc.badValue + dc.unknownType;
    bool routes = false;
    bool const whole = probeDecoder_.decodeAll(*frame, [&](KorFeeds::NetlinkDecoder::Message const& m) {
      routes |= std::holds_alternative<KorFeeds::NlRoute>(m) || std::holds_alternative<KorFeeds::NlNexthopObject>(m);
    });
    if (!whole || dc.badAttrSize + dc.badLength + dc.badValue + dc.unknownType != badBefore) {
      *why = "frame " + std::to_string(c.probe.counters().frames - 1) + " does not decode: " + probeDecoder_.error();
      return Proof::garbage;
    }
    if (routes) return Proof::proven;
  }
  if (c.probe.framingLost()) {
    *why = c.probe.error();
    return Proof::garbage;
  }
  return Proof::pending;
}

void FpmServer::doPromote(Candidate* c) {
  agent_->loop()->fdDel(c->fd);
  int const fd = c->fd;
  std::string peer = std::move(c->peer);
  std::vector<uint8_t> held = std::move(c->held);
  std::erase_if(candidates_, [c](auto const& p) { return p.get() == c; });
  doArmProofClock();
  ++counters_.candidatesProven;
  // The old stream ends before the new generation starts.
  if (connFd_ >= 0) {
    ++counters_.replaced;
    doClose("replaced by " + peer + ", which sent a route or next-hop message");
  }
  doAdopt(fd, std::move(peer), std::move(held));
}

void FpmServer::doDropCandidate(Candidate* c, uint64_t* counter, std::string const& why) {
  ++*counter;
  FPM_CANDIDATE_CLOSED.raise(agent_->loop()->now(), c->peer.c_str(), why.c_str());
  agent_->loop()->fdDel(c->fd);
  ::close(c->fd);
  std::erase_if(candidates_, [c](auto const& p) { return p.get() == c; });
  doArmProofClock();
}

void FpmServer::handleProofClock() {
  Vix::Seconds const now = agent_->loop()->now();
  std::vector<Candidate*> late;
  for (auto const& c : candidates_)
    if (c->deadline <= now) late.push_back(c.get());
  for (Candidate* c : late) {
    std::ostringstream why;
    why << "no route or next-hop message within " << proofTimeout_ << " s (" << c->held.size() << " bytes)";
    doDropCandidate(c, &counters_.candidatesSilent, why.str());
  }
  doArmProofClock();
}

void FpmServer::doArmProofClock() {
  Vix::Seconds due = Vix::kNever;
  for (auto const& c : candidates_) due = std::min(due, c->deadline);
  if (due != proofClock_.timeMin()) proofClock_.timeMinIs(due);
}

void FpmServer::doWatch(bool on) {
  if (on == watching_) return;
  watching_ = on;
  if (on) agent_->loop()->fdIs(connFd_, [this] { handleReadable(); });
  else agent_->loop()->fdDel(connFd_);
}

void FpmServer::handleReadable() {
  ssize_t n;
  do n = ::read(connFd_, chunk_.data(), chunk_.size());
  while (n < 0 && errno == EINTR);
  if (n < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) return;
    ++counters_.peerClosed;
    return doClose(errnoText("read"));
  }
  if (n == 0) {
    // Whatever complete frames zebra sent before closing still apply.
    if (!doFrames(SIZE_MAX)) return;
    ++counters_.peerClosed;
    return doClose("closed by the peer");
  }
  counters_.bytes += size_t(n);
  reader_.feed(chunk_.data(), size_t(n));
  handleWork();
}

void FpmServer::handleWork() {
  if (connFd_ >= 0) doFrames(kFramesPerTurn);
}

bool FpmServer::doFrames(size_t budget) {
  for (; budget; --budget) {
    auto frame = reader_.next();
    if (!frame) break;
    uint64_t const frameNo = counters_.frames++;
    auto const& dc = decoder_.counters();
    uint64_t const skippedBefore = dc.badAttrSize + dc.badLength + dc.badValue;
    bool whole = decoder_.decodeAll(*frame, [this](KorFeeds::NetlinkDecoder::Message const& m) {
      if (auto const* r = std::get_if<KorFeeds::NlRoute>(&m)) source_->handle(*r);
      else if (auto const* o = std::get_if<KorFeeds::NlNexthopObject>(&m)) source_->handle(*o);
      else ++counters_.otherMessages;
    });
    if (!whole) ++counters_.badFrames;
    if (dc.badAttrSize + dc.badLength + dc.badValue != skippedBefore)
      FPM_FRAME_SKIPPED.raise(agent_->loop()->now(), static_cast<unsigned long long>(frameNo),
                              decoder_.error().c_str());
  }
  if (reader_.framingLost()) {
    ++counters_.framingLost;
    doClose(reader_.error());
    return false;
  }
  if (!budget) {
    // Complete frames may remain: the next loop turn goes on with them, and
    // the socket is read again only once they are applied.
    ++counters_.pauses;
    doWatch(false);
    workClock_.timeMinIs(agent_->loop()->now());
  } else {
    doWatch(true);
  }
  return true;
}

void FpmServer::doClose(std::string const& why) {
  if (connFd_ < 0) return;
  FPM_CONNECTION_CLOSED.raise(agent_->loop()->now(), peer_.c_str(), why.c_str());
  doWatch(false);
  workClock_.timeMinIs(Vix::kNever);
  ::close(connFd_);
  connFd_ = -1;
  peer_.clear();
  source_->handleConnectionDown();
}

std::string FpmServer::show(bool json) const {
  auto const& c = counters_;
  auto const& d = decoder_.counters();
  std::pair<char const*, uint64_t> const server[] = {
      {"accepted", c.accepted},     {"replaced", c.replaced},   {"peerClosed", c.peerClosed},
      {"framingLost", c.framingLost}, {"frames", c.frames},     {"bytes", c.bytes},
      {"badFrames", c.badFrames},   {"otherMessages", c.otherMessages}, {"pauses", c.pauses}};
  std::pair<char const*, uint64_t> const held[] = {
      {"held", c.candidates},           {"proven", c.candidatesProven}, {"silent", c.candidatesSilent},
      {"garbage", c.candidatesGarbage}, {"left", c.candidatesLeft},     {"refused", c.candidatesRefused}};
  Vix::Seconds const now = agent_->loop()->now();
  std::pair<char const*, uint64_t> const decoder[] = {
      {"messages", d.messages},       {"decoded", d.decoded},       {"ignored", d.ignored},
      {"unknownType", d.unknownType}, {"unknownAttr", d.unknownAttr}, {"badAttrSize", d.badAttrSize},
      {"badLength", d.badLength},     {"badValue", d.badValue}};
  std::ostringstream os;
  auto list = [&](auto const& items, bool js) {
    bool first = true;
    for (auto const& [name, v] : items) {
      if (js) os << (first ? "" : ", ") << '"' << name << "\": " << v;
      else os << (first ? " " : ", ") << name << " " << v;
      first = false;
    }
  };
  if (json) {
    os << "{\"listening\": \"" << address_ << "\", \"peer\": ";
    if (connected()) os << '"' << peer_ << '"';
    else os << "null";
    os << ", \"candidates\": [";
    for (size_t i = 0; i < candidates_.size(); ++i) {
      auto const& k = *candidates_[i];
      os << (i ? ", " : "") << "{\"peer\": \"" << k.peer << "\", \"bytes\": " << k.held.size()
         << ", \"seconds\": " << std::fixed << std::setprecision(1) << now - k.since << "}";
    }
    os << "], \"server\": {";
    list(server, true);
    os << "}, \"candidateCounts\": {";
    list(held, true);
    os << "}, \"decoder\": {";
    list(decoder, true);
    os << "}, \"routes\": " << source_->show(true) << "}\n";
    return os.str();
  }
  os << "fpm: listening on " << address_ << ", " << (connected() ? "connected to " + peer_ : "not connected") << "\n";
  for (auto const& k : candidates_)
    os << "  candidate " << k->peer << ": " << k->held.size() << " bytes in " << std::fixed << std::setprecision(1)
       << now - k->since << " s\n";
  os << "  server:";
  list(server, false);
  os << "\n  candidates:";
  list(held, false);
  os << "\n  decoder:";
  list(decoder, false);
  os << "\n" << source_->show(false);
  return os.str();
}

}  // namespace KorAgent
