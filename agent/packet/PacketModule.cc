#include "agent/packet/PacketModule.h"

#include <stdexcept>

#include "agent/Agent.h"
#include "agent/JsonString.h"
#include "agent/StatementTable.h"
#include "softchip/SoftChip.h"
#include "softchip/packet/PacketPath.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

std::string hex4(uint16_t v) {
  static char const digits[] = "0123456789abcdef";
  std::string s = "0x";
  for (int shift = 12; shift >= 0; shift -= 4) s += digits[(v >> shift) & 0xf];
  return s;
}

// "vlan 100 tpid 0x88a8 inner 7", "untagged".
std::string tagsText(std::vector<SoftChip::FrameTag> const& tags) {
  if (tags.empty()) return "untagged";
  std::string s;
  for (size_t i = 0; i < tags.size(); ++i) {
    if (i) s += ' ';
    s += i ? "inner " : "vlan ";
    s += std::to_string(tags[i].vid);
    if (tags[i].tpid != SoftChip::FrameTag{}.tpid) {
      s += " tpid ";
      s += hex4(tags[i].tpid);
    }
  }
  return s;
}

std::string tagsJson(std::vector<SoftChip::FrameTag> const& tags) {
  std::string s = "[";
  for (auto const& t : tags) {
    if (s.size() > 1) s += ", ";
    s += "{\"tpid\": \"";
    s += hex4(t.tpid);
    s += "\", \"vid\": ";
    s += std::to_string(t.vid);
    s += '}';
  }
  s += ']';
  return s;
}

uint16_t parseTpid(std::string const& text) {
  size_t used = 0;
  unsigned long v = 0;
  try {
    v = std::stoul(text, &used, 0);
  } catch (std::logic_error const&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || v == 0 || v > 0xffff) fail("bad TPID '" + text + "'");
  return uint16_t(v);
}

Nollo::EthAddr parseMac(StatementArgs& a, char const* which) {
  a.keyword(which);
  std::string const& text = a.next("MAC address");
  auto mac = Nollo::EthAddr::parse(text);
  if (!mac) fail(std::string(which) + ": bad MAC address '" + text + "'");
  return *mac;
}

}  // namespace

std::string PacketModule::resultText(SoftChip::Frame const& frame, SoftChip::PacketResult const& r) {
  std::string s = "packet in ";
  s += frame.inPort.str();
  if (!frame.tags.empty()) {
    s += ' ';
    s += tagsText(frame.tags);
  }
  s += ':';
  if (r.vlan) {
    s += " bridged in vlan ";
    s += std::to_string(*r.vlan);
    s += ',';
  }
  if (r.copies.empty()) {
    s += " dropped (";
    s += r.drop;
    s += ")\n";
    return s;
  }
  s += " out";
  char const* sep = " ";
  for (auto const& c : r.copies) {
    s += sep;
    sep = ", ";
    if (c.lag != Nollo::IntfId()) {
      s += c.lag.str();
      s += " (";
      s += c.port.str();
      s += ')';
    } else {
      s += c.port.str();
    }
    s += ' ';
    s += tagsText(c.tags);
  }
  s += '\n';
  return s;
}

std::string PacketModule::resultJson(SoftChip::Frame const& frame, SoftChip::PacketResult const& r) {
  std::string s = "{\"in\": ";
  s += jsonString(frame.inPort.str());
  s += ", \"tags\": ";
  s += tagsJson(frame.tags);
  s += ", \"vlan\": ";
  s += r.vlan ? std::to_string(*r.vlan) : "null";
  s += ", \"fid\": ";
  s += r.fid ? std::to_string(*r.fid) : "null";
  s += ", \"copies\": [";
  char const* sep = "";
  for (auto const& c : r.copies) {
    s += sep;
    sep = ", ";
    s += "{\"port\": ";
    s += jsonString(c.port.str());
    s += ", \"lag\": ";
    s += c.lag != Nollo::IntfId() ? jsonString(c.lag.str()) : "null";
    s += ", \"tags\": ";
    s += tagsJson(c.tags);
    s += '}';
  }
  s += "], \"drop\": ";
  s += r.copies.empty() ? jsonString(r.drop) : "null";
  s += "}\n";
  return s;
}

void PacketModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd(
      {{"packet", "in"},
       "PORT [vlan N [inner M]] [tpid T] dst MAC src MAC [hash N] [json]",
       "walk one frame through the chip's tables: where its copies leave and with which tags", false,
       [this](A& a) -> Apply {
         SoftChip::Frame f;
         std::string const& port = a.next("port");
         auto intf = Nollo::IntfId::parse(port);
         if (!intf) fail("unknown interface '" + port + "'");
         if (!intf->isEthernet()) fail("'" + port + "' is not an Ethernet port");
         f.inPort = *intf;
         if (a.accept("vlan")) {
           f.tags.push_back({SoftChip::FrameTag{}.tpid, A::parseVlan(a.next("VLAN")).value()});
           if (a.accept("inner")) f.tags.push_back({SoftChip::FrameTag{}.tpid, A::parseVlan(a.next("inner VLAN")).value()});
         }
         if (a.accept("tpid")) {
           if (f.tags.empty()) fail("tpid needs a vlan tag");
           f.tags.front().tpid = parseTpid(a.next("TPID"));
         }
         f.dst = parseMac(a, "dst");
         f.src = parseMac(a, "src");
         if (a.accept("hash")) f.flowHash = A::parseUnsigned(a.next("flow hash"), "flow hash");
         bool const json = a.accept("json");
         a.end();
         return [=, this](std::ostream& out) {
           auto const r = SoftChip::PacketPath(*agent_->chip()).walk(f);
           agent_->drainEvents(out);
           out << (json ? resultJson(f, r) : resultText(f, r));
         };
       }});
}

}  // namespace KorAgent
