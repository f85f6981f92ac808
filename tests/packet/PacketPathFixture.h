#pragma once
// A software chip whose layer-2 tables a case writes directly - ports,
// VLANs, translations, LAGs, topologies and port states - and the packet
// path over it. No library runs: what a case writes is what the walk
// reads, so a fault of the walk shows apart from what the library programs.
#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

#include "kor/common/KorPortList.h"
#include "softchip/SoftChip.h"
#include "softchip/packet/PacketPath.h"

namespace KorTest {

class PacketPathFixture : public ::testing::Test {
 protected:
  using IntfId = Nollo::IntfId;
  using Mode = Bridging::SwitchportConfig::Mode;
  using PortState = Bridging::Topology::PortState;
  using Tag = SoftChip::FrameTag;
  using Tags = std::vector<Tag>;

  static IntfId eth(uint32_t n) { return IntfId::ethernet(n); }
  static IntfId po(uint32_t n) { return IntfId::portChannel(n); }

  void portIs(IntfId const& port, Mode mode, uint16_t defaultVlan, uint16_t tpid = 0x8100) {
    SoftChip::ChipPortVlan row;
    row.defaultVlan = defaultVlan;
    row.tagging = mode;
    row.tpid.hwVlanTpidIs(tpid);
    row.tpid.vlanTpidIs(tpid);
    row.tpid.dot1QTunnelIs(mode == Mode::dot1qTunnel);
    chip_.vlan().portVlanTable().write(port, row);
  }
  // Every member both accepts and sends frames of the VLAN.
  void vlanIs(uint16_t vlan, std::initializer_list<std::pair<IntfId, bool>> members) {
    SoftChip::ChipVlan row;
    for (auto const& [port, tagged] : members) {
      row.members[port] = tagged;
      row.ingress.insert(port);
      row.egress.insert(port);
    }
    chip_.vlan().vlanTable().write(Kor::VlanId(vlan), row);
  }
  SoftChip::ChipVlan& vlanRow(uint16_t vlan) {
    return const_cast<SoftChip::ChipVlan&>(*chip_.vlan().vlanTable().find(Kor::VlanId(vlan)));
  }
  void lagIs(IntfId const& lag, std::initializer_list<IntfId> ports) {
    chip_.lag().lagTable().write(lag, Kor::KorPortList(ports));
  }
  void xlateIs(bool egress, IntfId const& port, bool native, uint16_t outer, uint16_t inner, uint16_t mapped) {
    auto& t = egress ? chip_.xlate().egressTable() : chip_.xlate().ingressTable();
    t.write(SoftChip::XlateEntryKey{port, native, Bridging::VlanXlateKey(outer, inner)}, mapped);
  }
  // Topology 1 holds the VLANs; every port listed has the state.
  void topoIs(std::initializer_list<uint16_t> vlans) {
    SoftChip::ChipTopo t{"MST1", {}};
    for (auto v : vlans) t.vlans.set(v);
    chip_.stp().topoTable().write(1, t);
  }
  void stateIs(IntfId const& port, PortState s) {
    chip_.stp().stpStateTable().write(SoftChip::StpStateKey{1, port}, s);
  }

  SoftChip::PacketResult walk(IntfId const& in, Tags tags = {}, uint64_t hash = 0) const {
    SoftChip::Frame f;
    f.inPort = in;
    f.tags = std::move(tags);
    f.dst = Nollo::EthAddr::broadcast();
    f.src = Nollo::EthAddr::fromUint64(0x020000000001);
    f.flowHash = hash;
    return SoftChip::PacketPath(chip_).walk(f);
  }
  static SoftChip::EgressCopy out(IntfId const& port, Tags tags, IntfId const& lag = {}) {
    return SoftChip::EgressCopy{port, lag, std::move(tags)};
  }
  using Copies = std::vector<SoftChip::EgressCopy>;

  SoftChip::SoftChip chip_;
};

}  // namespace KorTest
