#pragma once
// A switch interface id: a kind and up to three numbers, plus an optional
// sub-interface number, packed into one 64-bit value so the id is 8 bytes,
// hashes and compares as an integer, and sorts by kind, then numerically by
// its numbers ("Ethernet2" < "Ethernet10" < "Ethernet10/1").
//
//   bits 63..56 kind   55..40 first number   39..28 second   27..16 third
//   bits 15..2  sub-interface number (0 = none)   1..0 count of numbers
//
// Names: "Ethernet1", "Ethernet3/1", "Ethernet3/1/2" (each number >= 1),
// "Port-Channel10", sub-interfaces "Ethernet1.100" / "Port-Channel10.5"
// (1..16383), "Vlan100" (1..4094), "Cpu", "Loopback0", "Management1" and
// "Management1/1", "Vxlan1", "Tunnel5", "Null0". The default id is none and
// its text is "". Parsing is case-sensitive; it throws ParseError
// "malformed interface name '<text>'". Building an id from numbers out of
// range throws Vix::RangeError naming the field.
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Nollo {

class IntfId {
 public:
  enum class Kind : uint8_t { none, ethernet, portChannel, vlan, cpu, loopback, management, vxlan, tunnel, null };

  constexpr IntfId() = default;
  explicit IntfId(std::string_view name);
  static std::optional<IntfId> parse(std::string_view name);

  // Throws Vix::RangeError when a number or the count is out of range for the
  // kind, e.g. "IntfId::vlanId < 1 or > 4094 not allowed".
  static IntfId make(Kind kind, std::initializer_list<uint32_t> numbers, uint32_t subIntf = 0);
  static IntfId ethernet(uint32_t n) { return make(Kind::ethernet, {n}); }
  static IntfId ethernet(uint32_t n1, uint32_t n2) { return make(Kind::ethernet, {n1, n2}); }
  static IntfId ethernet(uint32_t n1, uint32_t n2, uint32_t n3) { return make(Kind::ethernet, {n1, n2, n3}); }
  static IntfId portChannel(uint32_t n) { return make(Kind::portChannel, {n}); }
  static IntfId vlan(uint32_t vlanId) { return make(Kind::vlan, {vlanId}); }
  static IntfId cpu() { return make(Kind::cpu, {}); }
  static IntfId loopback(uint32_t n) { return make(Kind::loopback, {n}); }
  static IntfId management(uint32_t n) { return make(Kind::management, {n}); }
  static IntfId vxlan(uint32_t n) { return make(Kind::vxlan, {n}); }
  static IntfId tunnel(uint32_t n) { return make(Kind::tunnel, {n}); }
  static IntfId null0() { return make(Kind::null, {0}); }

  // "Ethernet", "Port-Channel", ... ("" for none).
  static char const* kindName(Kind k);

  Kind kind() const { return Kind(value_ >> 56); }
  size_t numberCount() const { return value_ & 3; }
  // Number i (0-based) of the name; 0 past numberCount().
  uint32_t number(size_t i) const;
  uint32_t subIntfId() const { return uint32_t(value_ >> 2) & 0x3fff; }
  bool isSubIntf() const { return subIntfId() != 0; }
  // The interface a sub-interface belongs to (itself otherwise).
  IntfId parentIntf() const { IntfId p; p.value_ = value_ & ~(uint64_t(0x3fff) << 2); return p; }

  // Kind predicates are false for sub-interfaces (a sub-interface of
  // Ethernet1 is not a port, see isSubIntf()).
  bool isNone() const { return value_ == 0; }
  bool isEthernet() const { return is(Kind::ethernet); }
  bool isPortChannel() const { return is(Kind::portChannel); }
  bool isVlan() const { return is(Kind::vlan); }
  bool isCpu() const { return is(Kind::cpu); }
  bool isLoopback() const { return is(Kind::loopback); }
  bool isManagement() const { return is(Kind::management); }
  bool isVxlan() const { return is(Kind::vxlan); }
  bool isTunnel() const { return is(Kind::tunnel); }
  bool isNull() const { return is(Kind::null); }
  // The VLAN of a Vlan interface; 0 for any other interface.
  uint16_t vlanId() const { return isVlan() ? uint16_t(number(0)) : 0; }

  uint64_t value() const { return value_; }
  std::string str() const;

  auto operator<=>(IntfId const&) const = default;

 private:
  bool is(Kind k) const { return kind() == k && !isSubIntf(); }
  uint64_t value_ = 0;
};

std::ostream& operator<<(std::ostream& os, IntfId const& i);

}  // namespace Nollo

template <>
struct std::hash<Nollo::IntfId> {
  size_t operator()(Nollo::IntfId const& i) const noexcept { return i.value(); }
};
