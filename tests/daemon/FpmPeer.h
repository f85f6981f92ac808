#pragma once
// A TCP client of a kor-agent's FPM port on loopback, playing zebra (or a
// stranger) from outside the agent: it sends bytes and watches whether the
// agent keeps or closes the connection. The agent never writes on an FPM
// connection, so anything readable on it is the end of the stream.
#include <cstdint>
#include <vector>

namespace KorTest {

class FpmPeer {
 public:
  // Connects to 127.0.0.1:port; connected() says whether it worked.
  explicit FpmPeer(uint16_t port);
  FpmPeer(FpmPeer const&) = delete;
  FpmPeer& operator=(FpmPeer const&) = delete;
  ~FpmPeer();

  bool connected() const { return fd_ >= 0; }
  // Sends all of `bytes`, waiting for room up to `seconds`; false on an
  // error or a timeout.
  bool send(std::vector<uint8_t> const& bytes, double seconds = 30.0);
  // True once the agent has closed (or reset) the connection, waiting up to
  // `seconds` for it.
  bool closedByAgent(double seconds);
  // True while the agent keeps the connection: nothing readable, no error.
  bool open();
  void close();

 private:
  int fd_ = -1;
};

}  // namespace KorTest
