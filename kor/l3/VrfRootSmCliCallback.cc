#include "kor/l3/VrfRootSmCliCallback.h"

#include <charconv>
#include <optional>
#include <sstream>

#include "kor/common/KorCommonSmData.h"
#include "kor/common/VerifyReport.h"
#include "kor/common/VerifySm.h"
#include "kor/l3/VrfRootSm.h"

namespace Kor {

namespace {

std::optional<uint64_t> parseNumber(std::string const& s) {
  uint64_t v = 0;
  auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
  return v;
}

}  // namespace

VrfRootSmCliCallback::VrfRootSmCliCallback(VrfRootSm* vrfRootSm)
    : KorBaseSm(vrfRootSm->acsd(), "KorVrfRootSm"), vrfRootSm_(vrfRootSm) {}

std::string VrfRootSmCliCallback::doCommand(int socket, std::string const& text) {
  KOR_TRACE(1, "Socket: " << socket << ", Command: " << text);
  std::ostringstream out;
  std::string cmd = text.substr(0, 3);
  // The argument starts at the fifth character; blanks before it are not
  // part of it ("SR4u a" and "FR4 a" both ask for all entries).
  std::string arg = text.size() > 4 ? text.substr(4) : std::string();
  arg.erase(0, arg.find_first_not_of(" \t"));
  // The dumps of one VRF's machines name it last: "FR4 a vrf red",
  // "FF6 12 vrf blue", "AA3 vrf red" (all of red); without it, "default".
  // SR4u / SR6u take the VRF name as their argument.
  std::string vrf = VrfName::defaultVrfName;
  if (cmd != "SR4" && cmd != "SR6") {
    size_t at = arg.rfind("vrf ");
    if (at != std::string::npos && (at == 0 || arg[at - 1] == ' ')) {
      vrf = arg.substr(at + 4);
      vrf.erase(0, vrf.find_first_not_of(" \t"));
      arg.erase(at);
      arg.erase(arg.find_last_not_of(" \t") + 1);
    }
  }
  bool all = arg.empty() || arg[0] == 'a';
  Vix::Ptr<VrfRoot> root;
  if (!vrf.empty() && vrf.size() <= VrfName::maxBytes) root = vrfRootSm_->vrfRoot(VrfName(vrf));

  auto prefixArg = [&]<class AF>() -> std::optional<std::optional<Nollo::IpPrefixT<AF>>> {
    if (all) return std::optional<Nollo::IpPrefixT<AF>>();
    KOR_TRACE(1, "Prefix: " << arg);
    auto p = Nollo::IpPrefixT<AF>::parse(arg);
    if (!p) {
      out << "Invalid prefix: " << arg << "\n";
      return std::nullopt;
    }
    return std::optional<Nollo::IpPrefixT<AF>>(*p);
  };
  auto indexArg = [&](char const* what) -> std::optional<std::optional<uint64_t>> {
    if (all) return std::optional<uint64_t>();
    KOR_TRACE(1, what << arg);
    auto v = parseNumber(arg);
    if (!v) {
      out << "Invalid index: " << arg << "\n";
      return std::nullopt;
    }
    return std::optional<uint64_t>(*v);
  };

  // A FEC is named as every show names it ("12", "nextHopGroupAdj:5").
  auto fecArg = [&](char const* what) -> std::optional<std::optional<Quill::Fib::FecId>> {
    if (all) return std::optional<Quill::Fib::FecId>();
    KOR_TRACE(1, what << arg);
    auto f = Quill::Fib::FecId::parse(arg);
    if (!f) {
      out << "Invalid index: " << arg << "\n";
      return std::nullopt;
    }
    return std::optional<Quill::Fib::FecId>(*f);
  };

  if ((cmd == "SR4" || cmd == "SR6") && text.size() > 3 && text[3] == 'u') {
    bool v6 = cmd == "SR6";
    KOR_TRACE(1, (v6 ? " show ip hardware routes-v6 unprogrammmed " : " show ip hardware routes unprogrammmed ")
                     << "allVrf=" << all << " vrf=" << arg);
    if (v6) vrfRootSm_->doShowRoutes6Unprogrammed(out, all, arg);
    else vrfRootSm_->doShowRoutesUnprogrammed(out, all, arg);
    return out.str();
  }
  if (cmd == "VER") {
    // A verification pass now; 'j' asks for the JSON form.
    auto const& sm = acsd()->verifySm();
    if (!sm) return "verify: not initialized\n";
    VerifyReport report(sm->doVerify());
    return arg.empty() || arg[0] != 'j' ? report.text() : report.json();
  }
  if (!root) {
    KOR_TRACE(1, "Vrf " << vrf.substr(0, VrfName::maxBytes) << " not found");
    out << "Vrf " << vrf.substr(0, VrfName::maxBytes) << " not found\n";
    return out.str();
  }
  if (cmd == "FR4" || cmd == "AR4") {
    if (auto p = prefixArg.operator()<Nollo::Ipv4>()) {
      if (cmd[0] == 'F') root->korRouteSm()->showFibRoutes(out, *p);
      else root->korRouteSm()->showKorRoutes(out, *p);
    }
  } else if (cmd == "FR6" || cmd == "AR6") {
    if (auto p = prefixArg.operator()<Nollo::Ipv6>()) {
      if (cmd[0] == 'F') root->korRoute6Sm()->showFibRoutes(out, *p);
      else root->korRoute6Sm()->showKorRoutes(out, *p);
    }
  } else if (cmd == "FF4" || cmd == "FF6") {
    if (auto fec = fecArg("Fec: ")) root->korAdjSm()->showFibFecs(out, cmd == "FF6", *fec);
  } else if (cmd == "AA3") {
    if (auto fec = fecArg("AdjIndex: "))
      root->korAdjSm()->showAdjEntries(out, *fec ? std::optional<uint64_t>((*fec)->value()) : std::nullopt);
  } else if (cmd == "AA2") {
    if (auto v = indexArg("AdjIndex: ")) root->korAdjSm()->showL2Adjacencies(out, *v);
  } else {
    KOR_TRACE(1, "Unknown command: " << text);
    out << "Unknown command: " << text << "\n";
  }
  return out.str();
}

}  // namespace Kor
