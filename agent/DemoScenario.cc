#include "agent/DemoScenario.h"

namespace KorAgent {

char const* DemoScenario::text() {
  return R"(# Built-in demo of kor-agent (see docs/scenario.md).
echo == a switch with room for 3 VRFs besides default
maxvrfs 3
set totalTimeForRouteUpdates 200ms
vrf add red
vrf add blue
vrf add green
intf add Ethernet1 vrf red vlan 10
intf add Ethernet2 vrf blue vlan 20
intf add Ethernet3 vlan 30
echo == one resolved adjacency in the default VRF
routing default on
intf add Vlan40 vlan 40
intf add Ethernet4
arp add default 10.4.0.2 00:1c:73:00:00:05 Vlan40
mac add 40 00:1c:73:00:00:05 Ethernet4
fec add 2 via 10.4.0.2 Vlan40
arp add red 10.1.0.2 00:1c:73:00:00:02 Ethernet1
arp add blue 10.2.0.2 00:1c:73:00:00:03 Ethernet2
arp add default 2001:db8::2 00:1c:73:00:00:04 Ethernet3
fec add 1 vrf red via 10.1.0.2 Ethernet1
route add red 10.1.1.0/24 fec 1
init
run until idle
show vrfs
show l2adj
echo == a fourth VRF finds no free id
vrf add purple
run until idle
show vrfs
echo == deleting blue frees its id; the waiting purple takes it
vrf del blue
run until idle
show vrfs
echo == the road of a route: FIB route and FEC, the hand-over, the chip's route on the L2 adjacency
echo == two VRFs, IPv4 and IPv6, ECMP over two next hops in red
intf add Ethernet5 vrf red vlan 50 routed
arp add red 10.1.0.3 00:1c:73:00:00:06 Ethernet5
arp add red 2001:db8:1::2 00:1c:73:00:00:07 Ethernet1
arp add red 2001:db8:1::3 00:1c:73:00:00:08 Ethernet5
fec add 3 vrf red via 10.1.0.2 Ethernet1 via 10.1.0.3 Ethernet5
fec add 4 vrf red via 2001:db8:1::2 Ethernet1 via 2001:db8:1::3 Ethernet5
route add red 10.9.0.0/16 fec 3
route add red 2001:db8:9::/48 fec 4
fec add 5 via 2001:db8::2 Ethernet3
route add default 192.0.2.0/24 fec 2
route add default 2001:db8:5::/48 fec 5
run until idle
cmd AR4 a
cmd AR6 a
show l2adj
show routes
show chip
echo == layer 2: VLANs 100 and 200, a trunk (native 200), an access port, a LAG, one blocked port
intf add Ethernet11
intf add Ethernet12
intf add Ethernet13
intf add Ethernet14
intf add Ethernet15
vlan add 100,200
switchport Ethernet11 mode trunk
switchport Ethernet11 trunk allowed vlan 100,200
switchport Ethernet11 trunk native vlan 200
switchport Ethernet12 access vlan 100
switchport Port-Channel7 mode trunk
switchport Port-Channel7 trunk allowed vlan 100,200
lag add Port-Channel7 Ethernet13 Ethernet14
switchport Ethernet15 access vlan 200
stp topology add MST1 vlan 100,200
stp port Ethernet11 topology MST1 state forwarding
stp port Ethernet12 topology MST1 state forwarding
stp port Port-Channel7 topology MST1 state forwarding
stp port Ethernet15 topology MST1 state discarding
run until idle
echo == a flood from the access port: tagged on the trunks, one copy on the LAG member the hash picks
packet in Ethernet12 dst ff:ff:ff:ff:ff:ff src 00:1c:73:00:01:01 hash 0
packet in Ethernet12 dst ff:ff:ff:ff:ff:ff src 00:1c:73:00:01:01 hash 4
echo == untagged on the trunk is its native VLAN; the blocked port gets nothing, and sends nothing
packet in Ethernet11 dst ff:ff:ff:ff:ff:ff src 00:1c:73:00:01:02
packet in Ethernet13 vlan 200 dst ff:ff:ff:ff:ff:ff src 00:1c:73:00:01:03
packet in Ethernet15 dst ff:ff:ff:ff:ff:ff src 00:1c:73:00:01:04
)";
}

}  // namespace KorAgent
