"""A private network lab for running the routing suite's daemons beside
kor-agent: a network and PID namespace of its own (so nothing outside it is
touched and everything in it dies with it), a veth pair with IPv4 and IPv6
addresses so next hops resolve, and zebra (FPM over netlink towards a TCP
port on loopback), staticd and bgpd started from configuration files in a
work directory, with their vty sockets there for vtysh.

FrrLab is used from inside the namespace: a script calls isolate() first,
which re-runs it under `unshare` and returns the child's exit code (or a
reason why no namespace could be made), and `--inside` tells it where it is.
"""
import ctypes
import ipaddress
import json
import os
import pwd
import shutil
import signal
import subprocess
import sys
import time

FRR_DIR = "/usr/lib/frr"
SKIP = 77  # ctest SKIP_RETURN_CODE

# Interfaces and addresses of the lab. Gateways on v0's subnets get their
# neighbour entries from the test (`ip neigh`), not from ARP.
V0_ADDR4, V0_ADDR6 = "10.0.0.1/24", "2001:db8::1/64"
V1_ADDR4, V1_ADDR6 = "10.0.1.1/24", "2001:db8:1::1/64"
GW4 = ["10.0.0.2", "10.0.0.3"]
GW6 = ["2001:db8::2", "2001:db8::3"]
MACS = {"10.0.0.2": "02:00:00:00:00:02", "10.0.0.3": "02:00:00:00:00:03", "10.0.0.4": "02:00:00:00:00:04",
        "2001:db8::2": "02:00:00:00:00:02", "2001:db8::3": "02:00:00:00:00:03"}


def missing_frr():
    """Why the routing suite cannot run here, or None."""
    for d in ("zebra", "staticd", "bgpd"):
        if not os.access(os.path.join(FRR_DIR, d), os.X_OK):
            return "%s/%s not installed (Debian package frr)" % (FRR_DIR, d)
    if not shutil.which("vtysh"):
        return "vtysh not installed (Debian package frr)"
    try:
        pwd.getpwnam("frr")
    except KeyError:
        return "no user frr (Debian package frr)"
    if os.geteuid() != 0:
        return "not root: the daemons and the namespace need root"
    return None


def _die_with_parent():
    # unshare gets SIGKILL when this process dies (say, at a test timeout);
    # its --kill-child then takes the namespace's first process and with it
    # every process of the PID namespace, and the network namespace goes.
    ctypes.CDLL(None, use_errno=True).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


UNSHARE = ["unshare", "--net", "--pid", "--fork", "--mount", "--mount-proc", "--kill-child"]


def isolate(argv):
    """Runs argv (which must end up calling FrrLab) in a new network, PID and
    mount namespace. Returns (exit code, None) or (None, reason) when no
    namespace can be made."""
    probe = subprocess.run(UNSHARE + ["true"], capture_output=True, text=True)
    if probe.returncode != 0:
        return None, "cannot create namespaces (%s): %s" % (
            " ".join(UNSHARE), probe.stderr.strip() or "exit %d" % probe.returncode)
    proc = subprocess.Popen(UNSHARE + argv, preexec_fn=_die_with_parent)
    try:
        return proc.wait(), None
    except BaseException:
        proc.kill()
        proc.wait()
        raise


class LabError(Exception):
    pass


class FrrLab:
    def __init__(self, workdir, fpm_port, log=print):
        self.dir = workdir
        self.fpm_port = fpm_port
        self.log = log
        self.procs = {}  # name -> Popen
        frr = pwd.getpwnam("frr")
        self.frr_uid, self.frr_gid = frr.pw_uid, frr.pw_gid
        os.chown(self.dir, self.frr_uid, self.frr_gid)
        os.chmod(self.dir, 0o755)

    # -- commands -----------------------------------------------------------

    def run(self, *cmd, input=None, check=True, timeout=120):
        r = subprocess.run(list(cmd), input=input, capture_output=True, text=True, timeout=timeout)
        if check and r.returncode != 0:
            raise LabError("%s: exit %d: %s" % (" ".join(cmd), r.returncode, (r.stderr or r.stdout).strip()))
        return r.stdout

    def ip(self, *args):
        return self.run("ip", *args)

    def ip_batch(self, lines, name):
        """Runs `ip -batch` over the lines; returns the seconds it took."""
        path = os.path.join(self.dir, name)
        with open(path, "w") as f:
            f.write("\n".join(lines) + "\n")
        t0 = time.monotonic()
        self.run("ip", "-batch", path, timeout=600)
        return time.monotonic() - t0

    def links_up(self):
        if not os.path.exists("/proc/self/ns/net"):
            raise LabError("no network namespaces in this kernel")
        self.ip("link", "set", "lo", "up")
        self.ip("link", "add", "v0", "type", "veth", "peer", "name", "v1")
        for dev, a4, a6 in (("v0", V0_ADDR4, V0_ADDR6), ("v1", V1_ADDR4, V1_ADDR6)):
            self.ip("addr", "add", a4, "dev", dev)
            self.ip("-6", "addr", "add", a6, "dev", dev, "nodad")
            self.ip("link", "set", dev, "up")

    def neighbours_add(self, addrs):
        for a in addrs:
            self.ip("neigh", "replace", a, "lladdr", MACS[a], "dev", "v0", "nud", "permanent")

    # -- daemons ------------------------------------------------------------

    def path(self, name):
        return os.path.join(self.dir, name)

    def write(self, name, text, frr_owned=True):
        p = self.path(name)
        with open(p, "w") as f:
            f.write(text)
        if frr_owned:
            os.chown(p, self.frr_uid, self.frr_gid)
        return p

    def start(self, name, argv, ready=None, timeout=20):
        out = open(self.path(name + ".out"), "w")
        self.procs[name] = subprocess.Popen(argv, stdout=out, stderr=subprocess.STDOUT,
                                            stdin=subprocess.DEVNULL)
        out.close()
        if ready:
            self.wait_for(lambda: os.path.exists(ready), "%s to open %s" % (name, ready), timeout,
                          alive=name)

    def start_frr(self, daemon, config, extra=()):
        conf = self.write(daemon + ".conf", config)
        argv = [os.path.join(FRR_DIR, daemon), "-f", conf, "--vty_socket", self.dir,
                "-z", self.path("zserv.api"), "-i", self.path(daemon + ".pid"),
                "-A", "127.0.0.1", "-P", "0", "--log", "file:" + self.path(daemon + ".log")]
        self.start(daemon, argv + list(extra), ready=self.path(daemon + ".vty"))

    def start_zebra(self, use_nhg=True, extra_config=""):
        config = "fpm address 127.0.0.1 port %d\n" % self.fpm_port
        if not use_nhg:
            config += "no fpm use-next-hop-groups\n"
        # -s: the kernel socket's receive buffer, as Debian's daemons file
        # sets it; with the default one, a burst of 100,000 route changes
        # overruns it and zebra misses some of them.
        self.start_frr("zebra", config + extra_config, ["-M", "dplane_fpm_nl", "-s", "90000000"])

    def start_staticd(self, routes):
        self.start_frr("staticd", "".join(r + "\n" for r in routes))

    def start_bgpd(self, asn=65001):
        # No peers: started so that the suite runs as deployed, listening on no port.
        self.start_frr("bgpd", "router bgp %d\n bgp router-id 10.0.0.1\n" % asn, ["-p", "0"])

    def alive(self, name):
        p = self.procs.get(name)
        return p is not None and p.poll() is None

    def stop(self, name):
        p = self.procs.pop(name, None)
        if p is None:
            return
        if p.poll() is None:
            p.terminate()
            try:
                p.wait(timeout=10)
            except subprocess.TimeoutExpired:
                p.kill()
                p.wait()

    def stop_all(self):
        for name in reversed(list(self.procs)):
            self.stop(name)

    def tail(self, name, lines=20):
        for suffix in (".log", ".out"):
            p = self.path(name + suffix)
            if os.path.exists(p):
                with open(p, errors="replace") as f:
                    text = f.readlines()[-lines:]
                if text:
                    return "".join(text)
        return ""

    # -- vtysh --------------------------------------------------------------

    def vtysh(self, *cmds, check=True):
        argv = ["vtysh", "--vty_socket", self.dir]
        for c in cmds:
            argv += ["-c", c]
        return self.run(*argv, check=check)

    def vtysh_json(self, cmd):
        text = self.vtysh(cmd)
        try:
            return json.loads(text)
        except ValueError as e:
            raise LabError("vtysh -c '%s': not JSON (%s): %s" % (cmd, e, text[:200]))

    def zebra_fib(self, prefix=None):
        """The routes zebra has installed in its FIB (default VRF), both
        families, or the one prefix given: {ip_network: [next hop as vtysh's
        JSON has it, for each one in the FIB]}. The next-hop object each
        uses, as zebra sent it over FPM, is left in nhg_ids ({ip_network:
        id}): dumping 100,000 routes takes seconds, so once serves both."""
        fib, self.nhg_ids = {}, {}
        fams = ("ip", "ipv6") if prefix is None else ("ipv6" if prefix.version == 6 else "ip",)
        for fam in fams:
            for p, entries in self.vtysh_json("show %s route %sjson" % (fam, "" if prefix is None else
                                                                       "%s " % prefix)).items():
                for e in entries:
                    if e.get("installed"):
                        net = ipaddress.ip_network(p)
                        fib[net] = [h for h in e.get("nexthops", []) if h.get("fib")]
                        self.nhg_ids[net] = e.get("installedNexthopGroupId", e.get("nexthopGroupId"))
        return fib

    def fpm_counters(self):
        c = self.vtysh_json("show fpm counters json")
        return c.get("fpm-counters", c)

    # -- waiting ------------------------------------------------------------

    def wait_for(self, cond, what, timeout, alive=None, every=0.1):
        deadline = time.monotonic() + timeout
        while True:
            v = cond()
            if v:
                return v
            if alive and not self.alive(alive):
                raise LabError("%s exited while waiting for %s:\n%s" % (alive, what, self.tail(alive)))
            if time.monotonic() > deadline:
                raise LabError("timed out after %.0f s waiting for %s" % (timeout, what))
            time.sleep(every)
