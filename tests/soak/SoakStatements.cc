#include "SoakStatements.h"

#include <cstdio>

namespace KorSoak {

namespace {

char const* const kVrfs[] = {"red", "blue", "green", "v1", "v2", "v3"};
char const* const kShows[] = {"vrfs", "l3", "chip", "inputs", "adj", "l2adj", "routes", "fpm", "kernel"};
char const* const kCodes[] = {"SR4u", "SR6u", "FR4", "FR6", "FF4", "FF6", "AR4", "AR6", "AA3", "AA2"};

}  // namespace

std::string SoakStatements::next() {
  size_t const roll = pick(100);
  if (roll < 55) return change();
  if (roll < 85) return show();
  ++invalid_;
  return garbage();
}

std::string SoakStatements::vrf(bool withDefault) {
  size_t n = sizeof kVrfs / sizeof *kVrfs;
  size_t i = pick(n + (withDefault ? 1 : 0));
  return i == n ? "default" : kVrfs[i];
}

// Ethernet10-25 and Vlan100-107: the zebra side uses Ethernet1-2.
std::string SoakStatements::intf() {
  if (pick(4) == 0) return "Vlan" + std::to_string(100 + pick(8));
  return "Ethernet" + std::to_string(10 + pick(16));
}

// An address in 172.16.0.0/12: net picks the /24.
std::string SoakStatements::ip4(unsigned net) {
  return "172." + std::to_string(16 + net / 256 % 16) + "." + std::to_string(net % 256) + "." +
         std::to_string(1 + pick(254));
}

std::string SoakStatements::mac() {
  char text[18];
  std::snprintf(text, sizeof text, "00:1c:73:00:%02zx:%02zx", pick(4), pick(256));
  return text;
}

std::string SoakStatements::via() {
  if (pick(5) == 0) return " via 2001:db9::" + std::to_string(1 + pick(16)) + " " + intf();
  return " via " + ip4(unsigned(pick(4))) + " " + intf() + (pick(6) == 0 ? " label " + std::to_string(pick(1000)) : "");
}

std::string SoakStatements::change() {
  std::string const id = std::to_string(1 + pick(64));
  switch (pick(12)) {
    case 0: return "vrf add " + vrf(false);
    case 1: return "vrf del " + vrf(false);
    case 2: {
      std::string line = "intf add " + intf();
      if (pick(2)) line += " vrf " + vrf(true);
      if (pick(2)) line += " vlan " + std::to_string(100 + pick(8));
      if (pick(4) == 0) line += " routed";
      if (pick(6) == 0) line += " down";
      return line;
    }
    case 3: return "intf del " + intf();
    case 4: return std::string("intf ") + (pick(2) ? "up " : "down ") + intf();
    case 5: return "arp add " + vrf(true) + " " + ip4(unsigned(pick(4))) + " " + mac() + " " + intf();
    case 6: return "arp del " + vrf(true) + " " + ip4(unsigned(pick(4)));
    case 7: {
      std::string line = "fec add " + id + (pick(2) ? " vrf " + vrf(true) : "");
      for (size_t n = 1 + pick(3); n; --n) line += via();
      return line;
    }
    case 8: return "fec update " + id + via() + (pick(2) ? via() : "");
    case 9: return "fec del " + id;
    case 10: {
      unsigned net = unsigned(pick(512));
      return "route add " + vrf(true) + " 172." + std::to_string(16 + net / 256) + "." + std::to_string(net % 256) +
             ".0/24 fec " + id;
    }
    default: {
      unsigned net = unsigned(pick(512));
      return "route del " + vrf(true) + " 172." + std::to_string(16 + net / 256) + "." + std::to_string(net % 256) +
             ".0/24";
    }
  }
}

std::string SoakStatements::show() {
  switch (pick(6)) {
    case 0: return std::string(kCodes[pick(sizeof kCodes / sizeof *kCodes)]) + " a";
    case 1: return std::string("cmd ") + kCodes[pick(sizeof kCodes / sizeof *kCodes)] + " a";
    case 2: return "show route " + vrf(true) + " " + ip4(unsigned(pick(512)));
    default: {
      std::string line = std::string("show ") + kShows[pick(sizeof kShows / sizeof *kShows)];
      return pick(2) ? line + " json" : line;
    }
  }
}

std::string SoakStatements::garbage() {
  switch (pick(12)) {
    case 0: return "frobnicate all the things";
    case 1: return "vrf add " + std::string(101 + pick(200), 'a');
    case 2: return "intf add Ethernet" + std::to_string(10 + pick(16)) + " vlan " + (pick(2) ? "0" : "4095");
    case 3: return "arp add red 172.16.0.300 " + mac() + " Ethernet10";
    case 4: return "route add default 172.16.0.0/33 fec 1";
    case 5: return "fec add 281474976710656 via 172.16.0.2 Ethernet10";
    case 6: return "cmd XYZ a";
    case 7: return "show everything";
    case 8: return "route add";
    case 9: return std::string(4096 + pick(8192), 'x');  // longer than a command
    case 10: {
      std::string bytes;
      for (size_t n = 1 + pick(64); n; --n) bytes += char(1 + pick(255));
      for (auto& c : bytes)
        if (c == '\n') c = ' ';
      return bytes;
    }
    default: return "intf add Ethernet10 vrf " + vrf(false) + " vlan 10 extra words";
  }
}

}  // namespace KorSoak
