#pragma once
// The kernel's links as the agent names them: one record per kernel ifindex
// (name, kind, master, parent, VLAN id, VRF table, link state) and the role
// and interface id each one is given. KernelNetlinkSource feeds it from
// rtnetlink; the FPM route source and the kernel source look up through it
// (ifindex -> interface id and kernel name, table id -> VRF, link -> VRF).
//
// Naming rule, first match wins:
//   - "lo" is skipped: no interface;
//   - a VRF device (kind "vrf") is no interface but the VRF named after the
//     device; its table maps to that VRF (tables 254 main and 255 local are
//     `default`);
//   - a name that parses as an interface id keeps it ("Ethernet1", "Vlan10");
//   - a VLAN link (kind "vlan") is VlanN (N its VLAN id) when its parent is a
//     bridge, else the sub-interface N of its parent's id ("Ethernet3.100");
//     a parent not known yet makes it wait, a parent that cannot carry
//     sub-interfaces leaves it unnamed;
//   - any other link is EthernetN, N its ifindex.
//
// Invariants: an interface id belongs to at most one link. The link that
// holds an id keeps it; another link deriving the same id is a clash and
// takes the id once it is free (the next doName()). A table maps to at most
// one VRF (the device with the lowest ifindex). Malformed links are refused
// whole: linkIs() throws std::invalid_argument naming the link and changes
// nothing. Lookups of an ifindex the map has never seen answer EthernetN, so
// a route source works without the kernel source.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "feeds/NlLink.h"
#include "kor/common/VrfName.h"
#include "nollo/IntfId.h"
#include "vix/HashMap.h"

namespace KorAgent {

class KernelIntfMap {
 public:
  enum class Role : uint8_t { interface, vrf, skipped, clash, waiting, unnamed };
  static char const* roleName(Role r);

  struct Link {
    uint32_t ifindex = 0;
    std::string name;
    std::string kind;
    uint32_t master = 0;
    uint32_t parent = 0;
    uint32_t vrfTable = 0;
    uint16_t vlanId = 0;
    bool up = false;
    Role role = Role::unnamed;
    Nollo::IntfId intf;   // role interface: the id it holds
    uint32_t other = 0;   // role clash: the link holding the id; waiting: the parent
  };

  // What a NEWLINK changed: nothing, only the link state, or something the
  // naming depends on (then doName() is due).
  enum class Change : uint8_t { none, state, naming };

  // Records a link (RTM_NEWLINK). Throws std::invalid_argument naming the
  // link when it is malformed (no name, ifindex 0, VLAN id outside 1..4094, a
  // VLAN without parent, a VRF device without table or on table 254/255, a
  // VRF device named `default`, a link that is its own master or parent).
  Change linkIs(KorFeeds::NlLink const& l);
  // Forgets a link (RTM_DELLINK); false when it was not known.
  bool linkDel(uint32_t ifindex);
  // Gives every link its role and id after naming changes.
  void doName();

  Link const* link(uint32_t ifindex) const;
  Vix::HashMap<uint32_t, Link> const& links() const { return links_; }
  // Every known ifindex in ascending order.
  std::vector<uint32_t> const& ifindexes() const { return sorted_; }

  // The interface id of a link: none for a link without one (lo, a VRF
  // device, a clash...), EthernetN for an ifindex never seen.
  std::optional<Nollo::IntfId> intfOf(uint32_t ifindex) const;
  std::optional<uint32_t> ifindexOf(Nollo::IntfId const& intf) const;
  // The kernel name; nullptr for an unknown ifindex.
  std::string const* nameOf(uint32_t ifindex) const;
  // The VRF of a kernel routing table; none for a table no VRF device owns.
  std::optional<Kor::VrfName> vrfOfTable(uint32_t table) const;
  // Every table a VRF device owns, with its VRF, in table order.
  std::map<uint32_t, std::string> tableVrfs() const;
  // The VRF a link is enslaved to; none: the default VRF.
  std::optional<Kor::VrfName> vrfOf(uint32_t ifindex) const;
  // Whether the link is enslaved to a bridge, bond or other non-VRF master.
  bool isPortOfMaster(uint32_t ifindex) const;
  // Whether the link is a VRF device.
  bool isVrfDevice(uint32_t ifindex) const;

  static constexpr uint32_t kMainTable = 254;
  static constexpr uint32_t kLocalTable = 255;

 private:
  struct Naming {
    Role role = Role::unnamed;
    Nollo::IntfId intf;
    uint32_t other = 0;
  };
  Naming derive(Link const& l) const;
  bool doRelease(Link& l);

  Vix::HashMap<uint32_t, Link> links_;
  Vix::HashMap<Nollo::IntfId, uint32_t> owner_;
  Vix::HashMap<uint32_t, Kor::VrfName> tableVrf_;
  std::vector<uint32_t> sorted_;
};

}  // namespace KorAgent
