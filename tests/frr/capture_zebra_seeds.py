#!/usr/bin/env python3
"""Records real FPM streams from zebra into fuzz/corpus/fpm/zebra-*.bin: the
seeds of the FPM fuzz target and the input of ZebraCaptureTest.

  tests/frr/capture_zebra_seeds.py [OUTDIR]

Each capture is one zebra run in a namespace of its own, recorded by
scripts/fpm-record.py from the first byte to zebra's exit:
  zebra-{nhg,inline}-static.bin  connected and static routes (single, ECMP,
                                 blackhole, interface), IPv4 and IPv6, then
                                 one static route removed
  zebra-{nhg,inline}-kernel.bin  1000 kernel routes added with `ip -batch`
                                 (every tenth ECMP, a tenth IPv6), then removed
"nhg" is zebra's default (next-hop objects, RTM_NEWNEXTHOP, routes naming
them); "inline" is `no fpm use-next-hop-groups` (RTA_GATEWAY/RTA_MULTIPATH).
Needs root and the frr package.
"""
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import frr_lab  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PORT = 2620

STATICS = [
    "ip route 192.0.2.0/24 10.0.0.2",
    "ip route 198.51.100.0/24 10.0.0.2",
    "ip route 198.51.100.0/24 10.0.0.3",
    "ip route 203.0.113.0/24 blackhole",
    "ip route 198.18.0.0/24 v1",
    "ipv6 route 2001:db8:100::/48 2001:db8::2",
    "ipv6 route 2001:db8:200::/48 2001:db8::2",
    "ipv6 route 2001:db8:200::/48 2001:db8::3",
]


def kernel_routes(n, verb):
    lines = []
    for i in range(n):
        if i % 10 == 9:
            p = "2001:db8:f%03x::/64" % i
            hops = frr_lab.GW6
        else:
            p = "20.%d.%d.0/24" % (i // 256, i % 256)
            hops = frr_lab.GW4
        if verb == "del":
            lines.append("route del %s" % p)
        elif i % 10 == 4:
            lines.append("route add %s %s" % (p, " ".join("nexthop via " + h for h in hops)))
        else:
            lines.append("route add %s via %s" % (p, hops[0]))
    return lines


def settle(lab, quiet=1.0, timeout=60):
    """Waits until zebra's FPM output has been written and stayed still."""
    last, since = None, time.monotonic()
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        c = lab.fpm_counters()
        now = (c.get("bytes-sent"), c.get("obuf-bytes"), c.get("data-plane-contexts-queue"))
        if now != last:
            last, since = now, time.monotonic()
        elif time.monotonic() - since >= quiet and not c.get("obuf-bytes"):
            return
        time.sleep(0.2)
    raise frr_lab.LabError("zebra's FPM output did not settle")


def capture(name, out):
    mode, kind = name.split("-")
    work = tempfile.mkdtemp(prefix="kor-capture-")
    lab = frr_lab.FrrLab(work, PORT)
    try:
        lab.links_up()
        rec = os.path.join(ROOT, "scripts", "fpm-record.py")
        lab.start("record", [sys.executable, rec, "--listen", "127.0.0.1:%d" % PORT,
                             "--idle", "600", "--max-seconds", "300", out])
        time.sleep(0.3)
        lab.start_zebra(use_nhg=(mode == "nhg"), extra_config="zebra nexthop-group keep 1\n")
        lab.start_staticd(STATICS if kind == "static" else [])
        lab.wait_for(lambda: lab.fpm_counters().get("bytes-sent"), "zebra to connect", 30)
        settle(lab)
        if kind == "static":
            lab.vtysh("conf", "no ip route 192.0.2.0/24 10.0.0.2")
        else:
            lab.ip_batch(kernel_routes(1000, "add"), "add.batch")
            settle(lab)
            lab.ip_batch(kernel_routes(1000, "del"), "del.batch")
        time.sleep(2)  # the kept next-hop objects go after a second
        settle(lab)
        lab.stop("staticd")
        lab.stop("zebra")
        lab.procs["record"].wait(timeout=30)
        print(lab.tail("record"), end="")
    finally:
        lab.stop_all()
        subprocess.run(["rm", "-rf", work])


def main():
    if len(sys.argv) >= 3 and sys.argv[1] == "--inside":
        capture(sys.argv[2], sys.argv[3])
        return 0
    reason = frr_lab.missing_frr()
    if reason:
        print("capture_zebra_seeds: " + reason, file=sys.stderr)
        return 1
    outdir = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "fuzz", "corpus", "fpm"))
    os.makedirs(outdir, exist_ok=True)
    for name in ("nhg-static", "inline-static", "nhg-kernel", "inline-kernel"):
        out = os.path.join(outdir, "zebra-%s.bin" % name)
        rc, why = frr_lab.isolate([sys.executable, os.path.abspath(__file__), "--inside", name, out])
        if why:
            print("capture_zebra_seeds: " + why, file=sys.stderr)
            return 1
        if rc != 0:
            return rc
    return 0


if __name__ == "__main__":
    sys.exit(main())
