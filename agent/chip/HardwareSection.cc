#include "agent/chip/HardwareSection.h"

#include "agent/Agent.h"
#include "agent/chip/ChipModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigValue.h"
#include "models/routing/RoutesInExactMatch.h"

namespace KorAgent {

void HardwareSection::parse(ConfigValue const& doc, ConfigNames&) {
  if (doc.has("hardware")) {
    ConfigValue const hw = doc.at("hardware");
    hw.object({"maxEcmp", "adjSharing", "exactMatchLengths"});
    if (hw.has("maxEcmp")) maxEcmp_ = uint32_t(hw.at("maxEcmp").unsignedInt(0, UINT32_MAX));
    if (hw.has("adjSharing")) {
      std::string const mode = hw.at("adjSharing").word({"on", "off", "default"});
      adjSharing_ = mode == "on"    ? Routing::Hardware::AdjSharing::on
                    : mode == "off" ? Routing::Hardware::AdjSharing::off
                                    : Routing::Hardware::AdjSharing::platformDefault;
    }
    if (hw.has("exactMatchLengths")) {
      for (auto const& l : hw.at("exactMatchLengths").elements()) {
        uint32_t const bits = uint32_t(l.unsignedInt(0, 128));
        Routing::RoutesInExactMatch len;
        if (!Routing::RoutesInExactMatch::fromBits(bits, len)) l.fail("not a multiple of 4 in 48..112");
        if (!exactMatchLengths_.insert(bits).second) l.fail("length " + std::to_string(bits) + " is named twice");
      }
    }
  }
  if (doc.has("knobs")) {
    for (auto const& [knob, v] : doc.at("knobs").members()) {
      if (knob == "maxEcmp" || knob == "adjSharing") v.fail("'" + knob + "' is a hardware setting: under /hardware");
      if (!VrfModule::knobKnown(knob)) v.fail("unknown knob '" + v.keyParsed<std::string>(knob) + "'");
      // A nice value is what setpriority() takes.
      knobs_[knob] = VrfModule::knobIsInteger(knob) ? double(v.signedInt(-20, 19)) : v.duration();
    }
  }
}

void HardwareSection::doApplyAdds(Agent& agent, ConfigSection const& nextSection, ConfigReport& report) {
  auto const& next = static_cast<HardwareSection const&>(nextSection);
  // The capabilities first: the FECs and routes that come after are
  // reviewed against them.
  if (maxEcmp_ != next.maxEcmp_ && report.doInput("/hardware/maxEcmp", [&] { agent.module<ChipModule>().maxEcmpIs(next.maxEcmp_); }))
    maxEcmp_ = next.maxEcmp_;
  if (exactMatchLengths_ != next.exactMatchLengths_ &&
      report.doInput("/hardware/exactMatchLengths", [&] {
        agent.module<ChipModule>().exactMatchLengthsIs(std::vector<uint32_t>(next.exactMatchLengths_.begin(), next.exactMatchLengths_.end()));
      }))
    exactMatchLengths_ = next.exactMatchLengths_;
  // After init a new sharing mode makes the library ask its host to exit
  // (a daemon restarts it in process): the last hardware change.
  if (adjSharing_ != next.adjSharing_ &&
      report.doInput("/hardware/adjSharing", [&] { agent.module<ChipModule>().adjSharingIs(next.adjSharing_); }))
    adjSharing_ = next.adjSharing_;
  // Knobs the file drops return to their defaults; then the named ones.
  for (auto it = knobs_.begin(); it != knobs_.end();) {
    std::string const& knob = it->first;
    double const value = it->second;
    double const def = VrfModule::knobDefault(knob);
    bool const dropped = !next.knobs_.count(knob);
    if (dropped && value != def &&
        !report.doInput((nlohmann::json::json_pointer("/knobs") / knob).to_string(), [&] { agent.module<VrfModule>().knobIs(knob, def); })) {
      ++it;
      continue;
    }
    it = dropped ? knobs_.erase(it) : std::next(it);
  }
  for (auto const& kv : next.knobs_) {
    std::string const& knob = kv.first;
    double const value = kv.second;
    auto it = knobs_.find(knob);
    double const have = it == knobs_.end() ? VrfModule::knobDefault(knob) : it->second;
    if (have != value && !report.doInput((nlohmann::json::json_pointer("/knobs") / knob).to_string(),
                                         [&] { agent.module<VrfModule>().knobIs(knob, value); }))
      continue;
    knobs_[knob] = value;
  }
}

}  // namespace KorAgent
