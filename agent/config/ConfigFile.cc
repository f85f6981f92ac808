#include "agent/config/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "agent/Agent.h"
#include "agent/config/ConfigError.h"
#include "agent/config/ConfigNames.h"
#include "agent/config/ConfigValue.h"

namespace KorAgent {

namespace {

using Json = nlohmann::json;

// Follows the parser through the document to refuse a key given twice in
// one object, which the parser would otherwise settle silently by keeping
// the last: each frame is one open object or array and where in it the
// parser is.
class DuplicateKeyCheck {
 public:
  bool operator()(int, Json::parse_event_t event, Json& parsed) {
    switch (event) {
      case Json::parse_event_t::object_start:
      case Json::parse_event_t::array_start:
        frames_.emplace_back();
        frames_.back().array = event == Json::parse_event_t::array_start;
        break;
      case Json::parse_event_t::key: {
        Frame& f = frames_.back();
        f.key = parsed.get<std::string>();
        if (!f.keys.insert(f.key).second) throw ConfigError(pointer().to_string(), "duplicate key '" + f.key + "'");
        break;
      }
      case Json::parse_event_t::object_end:
      case Json::parse_event_t::array_end:
        frames_.pop_back();
        doValueDone();
        break;
      case Json::parse_event_t::value:
        doValueDone();
        break;
    }
    return true;
  }

 private:
  struct Frame {
    bool array = false;
    size_t index = 0;
    std::string key;
    std::set<std::string> keys;
  };
  void doValueDone() {
    if (!frames_.empty() && frames_.back().array) ++frames_.back().index;
  }
  // The pointer of the value being read.
  Json::json_pointer pointer() const {
    Json::json_pointer p;
    for (auto const& f : frames_) p = f.array ? p / f.index : p / f.key;
    return p;
  }

  std::vector<Frame> frames_;
};

// "parse error at line 2, column 7: syntax error while parsing value -
// unexpected '}'; ..." without the parser's prefix, and without the text it
// last read, which may hold bytes that are not text.
std::string syntaxText(Json::parse_error const& e) {
  std::string t = e.what();
  auto at = t.find("parse error at ");
  if (at != std::string::npos) t = t.substr(at + 15);
  else if (auto b = t.find("] "); b != std::string::npos) t = t.substr(b + 2);
  if (auto lr = t.find("; last read"); lr != std::string::npos) t.resize(lr);
  return t;
}

}  // namespace

ConfigFile::ConfigFile(std::string path, Agent const& agent)
    : path_(std::move(path)), agent_(&agent), applied_(sections()) {}

std::vector<std::unique_ptr<ConfigSection>> ConfigFile::sections() const {
  auto s = agent_->newConfigSections();
  std::stable_sort(s.begin(), s.end(), [](auto const& a, auto const& b) { return a->rank() < b->rank(); });
  return s;
}

std::vector<std::unique_ptr<ConfigSection>> ConfigFile::readText(std::string const& text) const {
  auto const& path = path_;
  auto sections = ConfigFile::sections();
  try {
    Json doc;
    try {
      doc = Json::parse(text, DuplicateKeyCheck());
    } catch (Json::parse_error const& e) {
      throw std::invalid_argument(path + ": " + syntaxText(e));
    }
    ConfigValue const root(doc, Json::json_pointer());
    if (!doc.is_object()) root.fail("the configuration is one JSON object");
    std::set<std::string> known;
    std::string list;
    for (auto const& s : sections)
      for (auto const& k : s->keys()) {
        known.insert(k);
        list += (list.empty() ? "" : ", ") + k;
      }
    for (auto const& [key, value] : doc.items())
      if (!known.count(key))
        ConfigValue(value, Json::json_pointer() / key).fail("unknown key '" + key + "' (known here: " + list + ")");
    ConfigNames names;
    for (auto& s : sections) s->parse(root, names);
  } catch (ConfigError const& e) {
    throw std::invalid_argument(path + ": " + e.what());
  } catch (Json::exception const& e) {
    // The typed reads check first; this is a last guard, never a crash.
    throw std::invalid_argument(path + ": " + e.what());
  }
  return sections;
}

std::vector<std::unique_ptr<ConfigSection>> ConfigFile::read() const {
  // A directory opens as a stream but reads as nothing: say so.
  std::error_code ec;
  if (std::filesystem::is_directory(path_, ec)) throw std::invalid_argument(path_ + ": is a directory, not a file");
  std::ifstream in(path_, std::ios::binary);
  if (!in) throw std::invalid_argument(path_ + ": cannot open: " + std::strerror(errno));
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) throw std::invalid_argument(path_ + ": cannot read: " + std::strerror(errno));
  return readText(text.str());
}

ConfigReport ConfigFile::reload(Agent& agent) { return apply(agent, read()); }

ConfigReport ConfigFile::apply(Agent& agent, std::vector<std::unique_ptr<ConfigSection>> const& next) {
  ConfigReport report;
  // Removals first, in the reverse of the creation order - routes, FECs,
  // LAG memberships and interfaces, VRFs - so nothing goes while something
  // that stays still names it; then adds and changes in creation order -
  // hardware, VRFs, interfaces and LAGs, FECs, routes - so everything an
  // item names is there before it.
  for (size_t i = applied_.size(); i-- > 0;) applied_[i]->doApplyRemovals(agent, *next[i], report);
  for (size_t i = 0; i < applied_.size(); ++i) applied_[i]->doApplyAdds(agent, *next[i], report);
  return report;
}

}  // namespace KorAgent
