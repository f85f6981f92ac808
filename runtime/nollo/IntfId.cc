#include "nollo/IntfId.h"

#include <array>

#include "nollo/ParseError.h"
#include "vix/RangeError.h"

namespace Nollo {

namespace {

using Kind = IntfId::Kind;

// What each kind's name may carry. Numbers after the first are 1..4095.
struct KindRule {
  Kind kind;
  char const* name;
  char const* field;  // names the first number in range errors
  size_t minNumbers, maxNumbers;
  uint32_t firstMin, firstMax;
  bool subIntf;
};

constexpr std::array<KindRule, 10> kRules{{
    {Kind::none, "", "", 0, 0, 0, 0, false},
    {Kind::ethernet, "Ethernet", "port", 1, 3, 1, 65535, true},
    {Kind::portChannel, "Port-Channel", "port", 1, 1, 1, 65535, true},
    {Kind::vlan, "Vlan", "vlanId", 1, 1, 1, 4094, false},
    {Kind::cpu, "Cpu", "", 0, 0, 0, 0, false},
    {Kind::loopback, "Loopback", "id", 1, 1, 0, 65535, false},
    {Kind::management, "Management", "id", 1, 2, 0, 65535, false},
    {Kind::vxlan, "Vxlan", "id", 1, 1, 1, 65535, false},
    {Kind::tunnel, "Tunnel", "id", 1, 1, 0, 65535, false},
    {Kind::null, "Null", "id", 1, 1, 0, 0, false},
}};

constexpr uint32_t kMaxLater = 4095;
constexpr uint32_t kMaxSub = 16383;

KindRule const& rule(Kind k) { return kRules[size_t(k)]; }

// Reads a decimal number without leading zeros at text[i..]; advances i.
bool readNumber(std::string_view text, size_t& i, uint32_t& out) {
  size_t start = i;
  uint64_t v = 0;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9' && i - start < 6) v = v * 10 + uint64_t(text[i++] - '0');
  if (i == start || (i - start > 1 && text[start] == '0') || v > 0xffffffffu) return false;
  if (i < text.size() && text[i] >= '0' && text[i] <= '9') return false;
  out = uint32_t(v);
  return true;
}

// Checks numbers and sub-interface against the kind's rule; returns the
// failing field's message, or "" when they fit.
std::string rangeProblem(KindRule const& r, uint32_t const* nums, size_t count, uint32_t sub) {
  if (count < r.minNumbers || count > r.maxNumbers) return std::string("IntfId::numbers count not allowed for ") + r.name;
  if (count && (nums[0] < r.firstMin || nums[0] > r.firstMax))
    return std::string("IntfId::") + r.field + " < " + std::to_string(r.firstMin) + " or > " +
           std::to_string(r.firstMax) + " not allowed";
  for (size_t k = 1; k < count; ++k)
    if (nums[k] < 1 || nums[k] > kMaxLater) return "IntfId::number < 1 or > 4095 not allowed";
  if (sub && !r.subIntf) return std::string("IntfId::subIntfId not allowed for ") + r.name;
  if (sub > kMaxSub) return "IntfId::subIntfId < 1 or > 16383 not allowed";
  return {};
}

uint64_t pack(Kind kind, uint32_t const* nums, size_t count, uint32_t sub) {
  uint64_t v = uint64_t(kind) << 56 | uint64_t(sub) << 2 | count;
  if (count > 0) v |= uint64_t(nums[0]) << 40;
  if (count > 1) v |= uint64_t(nums[1]) << 28;
  if (count > 2) v |= uint64_t(nums[2]) << 16;
  return v;
}

}  // namespace

IntfId::IntfId(std::string_view name) {
  auto i = parse(name);
  if (!i) throw ParseError::malformed("interface name", name);
  value_ = i->value_;
}

std::optional<IntfId> IntfId::parse(std::string_view name) {
  if (name.empty()) return IntfId();
  for (auto const& r : kRules) {
    std::string_view prefix(r.name);
    if (prefix.empty() || name.substr(0, prefix.size()) != prefix) continue;
    size_t i = prefix.size();
    uint32_t nums[3] = {0, 0, 0};
    size_t count = 0;
    uint32_t sub = 0;
    if (r.maxNumbers > 0) {
      while (true) {
        if (count == r.maxNumbers || !readNumber(name, i, nums[count])) return std::nullopt;
        ++count;
        if (i < name.size() && name[i] == '/') {
          ++i;
          continue;
        }
        break;
      }
      if (i < name.size() && name[i] == '.') {
        ++i;
        if (!r.subIntf || !readNumber(name, i, sub) || sub == 0) return std::nullopt;
      }
    }
    if (i != name.size() || !rangeProblem(r, nums, count, sub).empty()) return std::nullopt;
    IntfId id;
    id.value_ = pack(r.kind, nums, count, sub);
    return id;
  }
  return std::nullopt;
}

IntfId IntfId::make(Kind kind, std::initializer_list<uint32_t> numbers, uint32_t subIntf) {
  if (size_t(kind) >= kRules.size()) throw Vix::RangeError("IntfId::kind out of range");
  uint32_t nums[3] = {0, 0, 0};
  size_t count = 0;
  for (uint32_t n : numbers) {
    if (count == 3) throw Vix::RangeError("IntfId::numbers count not allowed for " + std::string(rule(kind).name));
    nums[count++] = n;
  }
  if (auto problem = rangeProblem(rule(kind), nums, count, subIntf); !problem.empty()) throw Vix::RangeError(problem);
  IntfId id;
  id.value_ = pack(kind, nums, count, subIntf);
  return id;
}

char const* IntfId::kindName(Kind k) { return size_t(k) < kRules.size() ? rule(k).name : "?"; }

uint32_t IntfId::number(size_t i) const {
  if (i >= numberCount()) return 0;
  switch (i) {
    case 0: return uint32_t(value_ >> 40) & 0xffff;
    case 1: return uint32_t(value_ >> 28) & 0xfff;
    default: return uint32_t(value_ >> 16) & 0xfff;
  }
}

std::string IntfId::str() const {
  std::string s = kindName(kind());
  for (size_t k = 0; k < numberCount(); ++k) {
    if (k) s += '/';
    s += std::to_string(number(k));
  }
  if (isSubIntf()) {
    s += '.';
    s += std::to_string(subIntfId());
  }
  return s;
}

std::ostream& operator<<(std::ostream& os, IntfId const& i) { return os << i.str(); }

}  // namespace Nollo
