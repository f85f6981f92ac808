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
)";
}

}  // namespace KorAgent
