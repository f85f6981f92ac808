#!/usr/bin/env python3
"""kor-agent beside the real routing suite: zebra sends its routes over FPM,
the kernel its links and neighbours over rtnetlink, and the agent's FIB and
chip must hold exactly the routes zebra has installed.

  frr_fpm_test.py --agent PATH [--routes N] [--keep]

Runs in a network and PID namespace of its own (see frr_lab.py). Steps:
  connected and static routes (staticd), IPv4 and IPv6, ECMP, blackhole;
  neighbours from `ip neigh` resolving their next hops; N kernel routes from
  `ip -batch` that zebra reflects (a tenth IPv6, a tenth ECMP); a restart of
  the FPM connection whose replay must write nothing to the chip; zebra
  the hardware's next-hop groups switched on (`set nexthopGroupSupported on`):
  every route over a zebra group moves to that group's FEC, the rest stay,
  and a second replay writes nothing; resilient ECMP over a zebra group that
  loses a member rewrites only that member's buckets; zebra switched to
  inline next hops (`no fpm use-next-hop-groups`) and its replay; static
  route changes; the kernel routes removed. The steps up to the first replay
  run with the agent expanding zebra's objects into FECs, the rest with
  groups: one lab, both ways.
Exit 0: passed; 1: failed (with the daemons' and the agent's last lines);
77: skipped, with the reason (no frr, no namespaces, an agent without
--fpm/--netlink).
"""
import argparse
import ipaddress
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import frr_lab  # noqa: E402
from frr_lab import GW4, GW6, MACS, LabError  # noqa: E402

FPM_PORT = 26200  # not zebra's default, so the configured port is the one used

STATICS = [
    "ip route 192.0.2.0/24 10.0.0.2",
    "ip route 198.51.100.0/24 10.0.0.2",
    "ip route 198.51.100.0/24 10.0.0.3",
    "ip route 203.0.113.0/24 blackhole",
    "ipv6 route 2001:db8:100::/48 2001:db8::2",
    "ipv6 route 2001:db8:200::/48 2001:db8::2",
    "ipv6 route 2001:db8:200::/48 2001:db8::3",
]
RESILIENT4 = ipaddress.ip_network("100.64.0.0/24")
RESILIENT_GWS = ["10.0.0.2", "10.0.0.3", "10.0.0.4"]
# The agent's library group ids for zebra's objects start here (its FEC
# ids of the route source's range).
GROUP_ID_BASE = 1 << 48


def group_fec(group_id):
    """How the agent names a group's FEC in every show."""
    return "nextHopGroupAdj:%d" % group_id


ECMP4 = ipaddress.ip_network("198.51.100.0/24")
ECMP6 = ipaddress.ip_network("2001:db8:200::/48")
SINGLE4 = ipaddress.ip_network("192.0.2.0/24")
DROP4 = ipaddress.ip_network("203.0.113.0/24")


def kernel_route(i):
    """The i-th kernel route: (prefix, next hops)."""
    if i % 10 == 9:
        return "2001:db8:%x:%x::/64" % (0x1000 + i // 65536, i % 65536), GW6
    return "%d.%d.%d.0/24" % (20 + i // 65536, (i // 256) % 256, i % 256), GW4


# One next hop of a chip L2 adjacency as `show chip` prints it.
# (A resilient adjacency's next hops carry their bucket bitmaps.)
L2ADJ_HOP = re.compile(r"([0-9a-f.:]+)(?: bitmap \d+)?: nextHopArp(?:Resolved ([0-9a-f:]{17})|Required)")
# A next hop's buckets in `show resilient`: "  10.0.0.2 4 {0-3}".
RESILIENT_HOP = re.compile(r"^\s+([0-9a-f.:]+) (\d+) \{([0-9,\- ]*)\}", re.M)
BUCKET_WRITES = re.compile(r"bucket writes (\d+)")


class CheckFailed(Exception):
    pass


class FpmTest:
    def __init__(self, lab, agent, routes):
        self.lab = lab
        self.agent = agent
        self.routes = routes
        self.sock = lab.path("agent.sock")
        self.passed = 0

    # -- the agent ----------------------------------------------------------

    def ask(self, cmd):
        r = subprocess.run([self.agent, "--ask", self.sock, cmd], capture_output=True, text=True, timeout=120)
        if r.returncode != 0:
            raise LabError("kor-agent --ask '%s': %s" % (cmd, r.stderr.strip()))
        return r.stdout

    def ask_json(self, cmd):
        text = self.ask(cmd)
        try:
            return json.loads(text)
        except ValueError:
            raise LabError("kor-agent --ask '%s': not JSON: %s" % (cmd, text[:300]))

    def chip_routes(self):
        """The chip's routes of VRF default: {network: route record}."""
        return {ipaddress.ip_network(r["prefix"]): r for r in self.ask_json("show routes json")["routes"]
                if r["vrf"] == "default"}

    def fib_routes(self):
        """The prefixes of the agent's FIB route tables (VRF default)."""
        out = set()
        for line in self.ask_json("show inputs json")["routes"]:
            words = line.split()
            if words[0] == "default":
                out.add(ipaddress.ip_network(words[1]))
        return out

    def adjs(self):
        return {a["fec"]: a for a in self.ask_json("show adj json")["adjs"] if a["vrf"] == "default"}

    def chip_writes(self):
        return {t["name"]: (t["creates"], t["updates"], t["deletes"])
                for t in self.ask_json("show chip json")["tables"]}

    def chip_l2adj(self):
        """The chip's L2 adjacencies and group adjacencies: {index: {next
        hop: MAC or None while ARP is required}}."""
        out = {}
        for t in self.ask_json("show chip json")["tables"]:
            if t["name"] in ("l2adj", "nhg"):
                for index, text in t["entries"].items():
                    out[int(index)] = {h: mac or None for h, mac in L2ADJ_HOP.findall(text)}
        return out

    def fpm_state(self):
        return self.ask_json("show fpm json")

    def resilient_buckets(self, prefix):
        """The buckets of each next hop in the prefix's resilient table:
        {next hop: set of bucket numbers}; {} while it has no table."""
        text = self.ask("show resilient")
        at = text.find("Prefix: %s," % prefix)
        if at < 0:
            return {}
        end = text.find("Prefix: ", at + 1)
        out = {}
        for hop, _, spans in RESILIENT_HOP.findall(text[at:end if end > 0 else len(text)]):
            buckets = set()
            for span in filter(None, re.split(r"[, ]+", spans)):
                lo, _, hi = span.partition("-")
                buckets.update(range(int(lo), int(hi or lo) + 1))
            out[hop] = buckets
        return out

    def bucket_writes(self):
        m = BUCKET_WRITES.search(self.ask("show chip"))
        return int(m.group(1)) if m else 0

    def fpm_connected(self):
        return self.fpm_state().get("peer") is not None

    def fpm_routes(self):
        r = self.fpm_state()["routes"]
        return r["ipv4Routes"] + r["ipv6Routes"]

    def fpm_accepted(self):
        return self.fpm_state()["server"]["accepted"]

    # -- checks -------------------------------------------------------------

    def check(self, cond, what, detail=""):
        if not cond:
            raise CheckFailed(what + (": " + detail if detail else ""))
        self.passed += 1
        print("ok   %s" % what, flush=True)

    @staticmethod
    def diff(expected, actual, limit=8):
        missing = sorted(set(expected) - set(actual), key=str)[:limit]
        extra = sorted(set(actual) - set(expected), key=str)[:limit]
        return "%d expected, %d held; missing %s; extra %s" % (
            len(expected), len(actual), [str(p) for p in missing], [str(p) for p in extra])

    def converge(self, what, timeout, agent_count=None, fib_ready=None):
        """Waits until the chip holds exactly zebra's FIB and fib_ready(FIB)
        holds; returns that FIB and the chip's routes. agent_count: what the
        agent's FPM route count must be before the tables are dumped."""
        deadline = time.monotonic() + timeout
        pause = 0.2
        while True:
            # Dumping zebra's and the chip's tables takes seconds at 100,000
            # routes: wait on the agent's route count first.
            if (agent_count and not agent_count(self.fpm_routes()) and time.monotonic() < deadline
                    and self.lab.alive("agent")):
                time.sleep(0.3)
                continue
            fib = self.lab.zebra_fib()
            chip = self.chip_routes()
            if set(chip) == set(fib) and (not fib_ready or fib_ready(fib)):
                return fib, chip
            if not self.lab.alive("agent"):
                raise CheckFailed("kor-agent exited:\n" + self.lab.tail("agent", 30))
            if not self.lab.alive("zebra"):
                raise CheckFailed("zebra exited:\n" + self.lab.tail("zebra", 30))
            if time.monotonic() > deadline:
                if set(chip) == set(fib):
                    raise CheckFailed("%s: the chip holds zebra's %d routes, but zebra's FIB is not as the kernel "
                                      "changes left it after %.0f s" % (what, len(fib), timeout))
                raise CheckFailed("%s: the chip does not hold zebra's routes after %.0f s" % (what, timeout),
                                  self.diff(fib, chip))
            time.sleep(pause)
            pause = min(pause * 2, 3.0)

    def check_same(self, what, timeout, agent_count=None, fib_ready=None):
        fib, chip = self.converge(what, timeout, agent_count, fib_ready)
        self.check(True, "%s: chip holds zebra's %d routes" % (what, len(fib)))
        # Each route's L2 adjacency in the chip names zebra's gateways; a
        # connected route's names the zero address, a blackhole none.
        l2 = self.chip_l2adj()
        wrong = []
        for p, hops in fib.items():
            zero = ipaddress.ip_address("::" if p.version == 6 else "0.0.0.0")
            want = {ipaddress.ip_address(h["ip"]) if h.get("ip") else zero for h in hops if not h.get("blackhole")}
            have = {ipaddress.ip_address(a) for a in l2.get(chip[p]["l2Adj"], {})}
            if want != have:
                wrong.append("%s: zebra %s, chip %s" % (p, sorted(map(str, want)), sorted(map(str, have))))
        self.check(not wrong, "%s: every route's next hops in the chip are zebra's" % what,
                   "%d differ: %s" % (len(wrong), "; ".join(wrong[:5])))
        agent_fib = self.fib_routes()
        self.check(agent_fib == set(fib), "%s: agent FIB holds zebra's routes" % what, self.diff(fib, agent_fib))
        return fib, chip

    def check_vias(self, chip, adjs, l2, prefix, gateways, resolved):
        """The route's FEC has one via per gateway, and its L2 adjacency in
        the chip carries each gateway with its neighbour's MAC (resolved) or
        waiting for ARP (not resolved)."""
        r = chip.get(prefix)
        self.check(r is not None, "%s in the chip" % prefix)
        a = adjs.get(r["fec"])
        self.check(a is not None and a["vias"] == len(gateways),
                   "%s: FEC %s has %d vias" % (prefix, r["fec"], len(gateways)), "adjacency %s" % a)
        hops = l2.get(r["l2Adj"], {})
        want = {g: MACS[g] if resolved else None for g in gateways}
        self.check(hops == want, "%s: chip L2 adjacency %d %s" % (
            prefix, r["l2Adj"], "has the neighbours' MACs" if resolved else "waits for ARP"),
            "holds %s, want %s" % (hops, want))

    # -- steps --------------------------------------------------------------

    def start(self):
        self.lab.links_up()
        self.lab.start("agent", [self.agent, "--fpm", "127.0.0.1:%d" % FPM_PORT, "--netlink",
                                 "--socket", self.sock], ready=self.sock)
        self.lab.start_zebra()
        self.lab.start_staticd(STATICS)
        self.lab.start_bgpd()
        self.lab.wait_for(self.fpm_connected, "zebra to connect to the agent", 30, alive="agent")
        self.check(True, "zebra connected to kor-agent on 127.0.0.1:%d" % FPM_PORT)

    def statics(self):
        fib, chip = self.check_same("static", 30)
        for p in (SINGLE4, ECMP4, DROP4, ECMP6):
            self.check(p in fib, "zebra installed %s" % p)
        self.check(chip[DROP4]["routeType"] != chip[SINGLE4]["routeType"],
                   "blackhole %s is not a forwarding route" % DROP4, "%s" % chip[DROP4])
        adjs, l2 = self.adjs(), self.chip_l2adj()
        self.check_vias(chip, adjs, l2, ECMP4, GW4, resolved=False)
        self.check_vias(chip, adjs, l2, ECMP6, GW6, resolved=False)

    def neighbours(self):
        self.lab.neighbours_add(GW4 + GW6)
        want = {(a, MACS[a]) for a in GW4 + GW6}

        def held():
            arps = self.ask_json("show inputs json")["arp"]
            have = {(w[1], w[3]) for w in (s.split() for s in arps) if len(w) >= 4}
            return want <= have
        self.lab.wait_for(held, "the agent to learn the neighbours", 20, alive="agent", every=0.3)
        self.check(True, "agent learned the %d neighbours from the kernel" % len(want))

        def resolved():
            chip, l2 = self.chip_routes(), self.chip_l2adj()
            return all(p in chip and None not in l2.get(chip[p]["l2Adj"], {None: None}).values()
                       for p in (SINGLE4, ECMP4, ECMP6))
        self.lab.wait_for(resolved, "the static routes' next hops to resolve", 20, alive="agent", every=0.3)
        chip, adjs, l2 = self.chip_routes(), self.adjs(), self.chip_l2adj()
        self.check_vias(chip, adjs, l2, SINGLE4, GW4[:1], resolved=True)
        self.check_vias(chip, adjs, l2, ECMP4, GW4, resolved=True)
        self.check_vias(chip, adjs, l2, ECMP6, GW6, resolved=True)

    def kernel_routes(self):
        add, prefixes = [], []
        for i in range(self.routes):
            p, hops = kernel_route(i)
            prefixes.append(ipaddress.ip_network(p))
            if i % 10 == 4:
                add.append("route add %s %s" % (p, " ".join("nexthop via " + h for h in hops)))
            else:
                add.append("route add %s via %s" % (p, hops[0]))
        secs = self.lab.ip_batch(add, "add.batch")
        print("     ip -batch: %d kernel routes in %.2f s" % (self.routes, secs), flush=True)
        t0 = time.monotonic()
        kernel = set(prefixes)
        fib, chip = self.check_same("kernel", 150, lambda n: n >= self.routes, lambda fib: kernel <= fib.keys())
        print("     zebra -> agent -> chip: %.1f s after ip -batch ended" % (time.monotonic() - t0), flush=True)
        self.check(all(p in chip for p in prefixes), "every kernel route is in the chip")
        adjs, l2 = self.adjs(), self.chip_l2adj()
        for i in (4, 14, 9, 0):  # ECMP IPv4 twice, IPv6, IPv4
            p, hops = kernel_route(i)
            self.check_vias(chip, adjs, l2, ipaddress.ip_network(p), hops if i % 10 == 4 else hops[:1],
                            resolved=True)
        self.kernel = prefixes

    def replay(self, what="replay"):
        before = self.chip_writes()
        accepted = self.fpm_accepted()
        self.lab.vtysh("conf", "no fpm address")
        self.lab.wait_for(lambda: not self.fpm_connected(), "the agent to see zebra go", 20, alive="agent")
        self.check(True, "zebra disconnected (no fpm address)")
        self.check(self.chip_writes() == before, "chip untouched while zebra is away")
        self.lab.vtysh("conf", "fpm address 127.0.0.1 port %d" % FPM_PORT)
        self.lab.wait_for(self.fpm_connected, "zebra to reconnect", 30, alive="agent")
        self.check(self.fpm_accepted() == accepted + 1, "zebra reconnected")
        # The replay is over once the agent has swept what the new connection
        # did not re-send (after a quiet spell on the connection).
        self.lab.wait_for(lambda: not self.fpm_state()["routes"]["sweepPending"], "the replay to end", 120,
                          alive="agent", every=0.5)
        self.check_same(what, 30)
        writes = self.chip_writes()
        self.check(writes == before, "%s of %d routes wrote nothing to the chip" % (what, len(self.lab.zebra_fib())),
                   "before %s, after %s" % (before, writes))

    def group_routes(self, fib):
        """The routes of zebra's last dump (fib) it sends over a group
        object: {network: the library group id it must use}. A route with
        one next hop uses a single object (expanded in either mode), a
        blackhole none."""
        ids = self.lab.nhg_ids
        return {p: GROUP_ID_BASE + ids[p] for p, hops in fib.items()
                if len([h for h in hops if not h.get("blackhole")]) > 1 and ids.get(p)}

    def groups(self):
        """The hardware publishes next-hop groups: every route over one of
        zebra's group objects moves to the group's FEC, in the chip over a
        group adjacency of zebra's next hops; every other route stays."""
        before = self.chip_routes()
        self.ask("set nexthopGroupSupported on")

        def moved():
            chip = self.chip_routes()
            return sum(r["routeType"] == "nexthopGroupRoute" for r in chip.values()) == len(want)
        want = self.group_routes(self.lab.zebra_fib())
        self.lab.wait_for(moved, "the routes over zebra's groups to move to group FECs", 60, alive="agent", every=1.0)
        fib, chip = self.check_same("groups", 30)
        want = self.group_routes(fib)
        state = self.fpm_state()["routes"]
        self.check(state["mode"] == "nexthopGroups", "show fpm: mode nexthopGroups", state["mode"])
        wrong = ["%s: %s fec %s, want group %s" % (p, r["routeType"], r["fec"], want.get(p))
                 for p, r in chip.items()
                 if (r["routeType"] == "nexthopGroupRoute") != (p in want)
                 or (p in want and r["fec"] != group_fec(want[p]))
                 or (p not in want and r["fec"] != before[p]["fec"])]
        self.check(not wrong, "%d routes over zebra's groups moved to their group FECs, the other %d stayed" % (
            len(want), len(chip) - len(want)), "; ".join(wrong[:5]))
        self.check(state["groups"]["held"] == len(set(want.values())),
                   "one library group per zebra group in use (%d)" % len(set(want.values())), "%s" % state["groups"])
        self.check(ECMP4 in want and ECMP6 in want and SINGLE4 not in want,
                   "static ECMP routes over groups, single ones not", "%s" % sorted(map(str, want))[:5])

    def check_over_group(self, prefix):
        """The chip's route of the prefix is over the group of the object
        zebra gives it, to zebra's next hops (one prefix looked up: the
        tables are checked whole by the other steps)."""
        fib = self.lab.zebra_fib(prefix)
        want = self.group_routes(fib)
        r = self.ask_json("show route default %s json" % prefix.network_address)["route"] or {}
        hops = set(self.chip_l2adj().get(r.get("l2Adj"), {}))
        self.check(prefix in want and r.get("routeType") == "nexthopGroupRoute" and r["fec"] == group_fec(want[prefix])
                   and hops == {h["ip"] for h in fib[prefix]},
                   "%s over zebra's group %s, to its next hops" % (prefix, want.get(prefix)),
                   "chip %s over %s" % (r, sorted(hops)))

    def resilient(self):
        """Resilient ECMP over a zebra group: a static route over three
        gateways spreads over 3 x 4 buckets; one gateway removed, zebra
        moves the route to the group of the other two, and only the removed
        gateway's buckets are rewritten."""
        self.ask("set resilientEcmpSupported on")
        self.ask("resilient add default %s capacity 3 redundancy 4" % RESILIENT4)
        self.lab.neighbours_add(RESILIENT_GWS[2:])
        self.lab.vtysh("conf", *("ip route %s %s" % (RESILIENT4, g) for g in RESILIENT_GWS))

        def spread(n):
            return lambda: len(self.resilient_buckets(RESILIENT4)) == n and self.resilient_buckets(RESILIENT4)
        before = self.lab.wait_for(spread(3), "%s's resilient table over 3 next hops" % RESILIENT4, 30,
                                   alive="agent", every=0.3)
        self.check(all(len(b) == 4 for b in before.values()), "%s: 4 buckets per next hop" % RESILIENT4, "%s" % before)
        self.check_over_group(RESILIENT4)
        writes = self.bucket_writes()
        self.lab.vtysh("conf", "no ip route %s %s" % (RESILIENT4, RESILIENT_GWS[1]))
        after = self.lab.wait_for(spread(2), "%s's table to drop %s" % (RESILIENT4, RESILIENT_GWS[1]), 30,
                                  alive="agent", every=0.3)
        kept = all(before[g] <= after[g] for g in after)
        self.check(kept and set().union(*after.values()) == set().union(*before.values()),
                   "%s: the other next hops kept their buckets and took %s's" % (RESILIENT4, RESILIENT_GWS[1]),
                   "before %s, after %s" % (before, after))
        moved = self.bucket_writes() - writes
        self.check(moved == len(before[RESILIENT_GWS[1]]), "only the removed next hop's %d buckets were rewritten" %
                   len(before[RESILIENT_GWS[1]]), "%d bucket writes" % moved)
        self.check_over_group(RESILIENT4)
        self.lab.vtysh("conf", *("no ip route %s %s" % (RESILIENT4, g) for g in RESILIENT_GWS[::2]))
        self.lab.wait_for(lambda: RESILIENT4 not in self.chip_routes(), "%s to leave the chip" % RESILIENT4, 20,
                          alive="agent", every=0.3)

    def inline(self):
        """Zebra switched to inline next hops: it reconnects and re-sends the
        whole table without next-hop objects; the chip must still hold
        exactly its routes, over FECs of the inline next-hop sets."""
        accepted = self.fpm_accepted()
        self.lab.vtysh("conf", "no fpm use-next-hop-groups")
        self.lab.wait_for(lambda: self.fpm_accepted() > accepted, "zebra to reconnect in inline mode", 30,
                          alive="agent")
        self.lab.wait_for(lambda: not self.fpm_state()["routes"]["sweepPending"], "the inline replay to end", 120,
                          alive="agent", every=0.5)
        fib, chip = self.check_same("inline", 60)
        self.check(self.fpm_state()["routes"]["nexthopObjects"] == 0, "no next-hop object left after the inline replay")
        self.lab.wait_for(lambda: self.fpm_state()["routes"]["groups"]["held"] == 0,
                          "the groups to leave the library after the FEC grace", 10, alive="agent", every=0.3)
        self.check(True, "no library group left after the inline replay")
        adjs, l2 = self.adjs(), self.chip_l2adj()
        for p, gws in ((ECMP4, GW4), (ECMP6, GW6), (ipaddress.ip_network(kernel_route(4)[0]), GW4)):
            self.check_vias(chip, adjs, l2, p, gws, resolved=True)

    def static_changes(self):
        self.lab.vtysh("conf", "no ip route 198.51.100.0/24 10.0.0.3", "no ip route 192.0.2.0/24 10.0.0.2")
        self.lab.wait_for(lambda: SINGLE4 not in self.chip_routes(), "192.0.2.0/24 to leave the chip", 20,
                          alive="agent", every=0.3)
        self.check(True, "removed static 192.0.2.0/24 left the chip")

        def one_via():
            chip, adjs = self.chip_routes(), self.adjs()
            return ECMP4 in chip and adjs.get(chip[ECMP4]["fec"], {}).get("vias") == 1
        self.lab.wait_for(one_via, "198.51.100.0/24 to drop to one via", 20, alive="agent", every=0.3)
        self.check(True, "ECMP static 198.51.100.0/24 down to one via")

    def agent_stops(self):
        p = self.lab.procs["agent"]
        p.terminate()
        try:
            rc = p.wait(timeout=60)
        except subprocess.TimeoutExpired:
            rc = "none after 60 s"
        self.check(rc == 0, "kor-agent stops cleanly on SIGTERM", "exit %s:\n%s" % (rc, self.lab.tail("agent", 30)))

    def kernel_removed(self):
        dels = ["route del %s" % kernel_route(i)[0] for i in range(self.routes)]
        self.lab.ip_batch(dels, "del.batch")
        kernel = set(self.kernel)
        # Left: the connected and static routes, a dozen.
        fib, chip = self.check_same("removed", 150, lambda n: n < 100, lambda fib: not kernel & fib.keys())
        self.check(not any(p in chip for p in self.kernel), "no kernel route is left in the chip")


def inside(args):
    lab = frr_lab.FrrLab(args.work, FPM_PORT)
    t = FpmTest(lab, args.agent, args.routes)
    t0 = time.monotonic()
    try:
        steps = [t.start, t.statics, t.neighbours, t.kernel_routes, t.replay, t.groups,
                 lambda: t.replay("group replay"), t.resilient, t.inline, t.static_changes, t.kernel_removed,
                 t.agent_stops]
        for step in steps:
            t1 = time.monotonic()
            step()
            print("     %s: %.1f s" % (getattr(step, "__name__", "group replay").replace("<lambda>", "group replay"),
                                      time.monotonic() - t1), flush=True)
    except (CheckFailed, LabError, subprocess.TimeoutExpired) as e:
        print("FAIL %s" % e, flush=True)
        for what, fn in (("kor-agent: show fpm", lambda: t.ask("show fpm")),
                         ("zebra: show fpm counters", lambda: lab.vtysh("show fpm counters"))):
            try:
                print("--- %s:\n%s" % (what, fn()), flush=True)
            except (LabError, subprocess.TimeoutExpired) as why:
                print("--- %s: %s" % (what, why), flush=True)
        for name in ("agent", "zebra", "staticd"):
            print("--- last lines of %s:\n%s" % (name, lab.tail(name, 15)), flush=True)
        print("%d passed, 1 failed" % t.passed)
        return 1
    finally:
        lab.stop_all()
    print("%d passed, 0 failed (%.0f s)" % (t.passed, time.monotonic() - t0))
    return 0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--agent", required=True)
    ap.add_argument("--routes", type=int, default=100000)
    ap.add_argument("--keep", action="store_true", help="keep the work directory")
    ap.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    ap.add_argument("--work", help=argparse.SUPPRESS)
    args = ap.parse_args()
    if args.inside:
        return inside(args)

    if not os.access(args.agent, os.X_OK):
        print("FAIL no agent at %s" % args.agent)
        return 1
    reason = frr_lab.missing_frr()
    if not reason:
        usage = subprocess.run([args.agent, "--help"], capture_output=True, text=True)
        missing = [f for f in ("--fpm", "--netlink") if f not in usage.stdout + usage.stderr]
        if missing:
            reason = "%s has no %s option" % (args.agent, " or ".join(missing))
    if reason:
        print("SKIPPED: " + reason)
        return frr_lab.SKIP
    work = tempfile.mkdtemp(prefix="kor-frr-")
    try:
        rc, why = frr_lab.isolate([sys.executable, os.path.abspath(__file__), "--inside", "--agent",
                                   os.path.abspath(args.agent), "--routes", str(args.routes), "--work", work])
        if why:
            print("SKIPPED: " + why)
            return frr_lab.SKIP
        return rc
    finally:
        if args.keep:
            print("work directory kept: " + work)
        else:
            shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
