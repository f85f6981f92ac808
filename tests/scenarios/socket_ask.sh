#!/bin/sh
# The command channel round trip: an agent serving a Unix socket in the
# background, asked from a second process with --ask.
set -u
agent=$1
dir=$(mktemp -d)
sock=$dir/kor.sock
"$agent" --socket "$sock" 2>"$dir/err" &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -rf "$dir"' EXIT
i=0
while [ ! -S "$sock" ]; do
  i=$((i + 1))
  if [ $i -gt 100 ]; then echo "agent did not open $sock" >&2; cat "$dir/err" >&2; exit 1; fi
  sleep 0.05
done
fail() { echo "$1" >&2; echo "--- answer:"; echo "$2"; exit 1; }

"$agent" --ask "$sock" 'SR4u a' >/dev/null || fail "--ask SR4u failed" ""

"$agent" --ask "$sock" 'vrf add red' >/dev/null || fail "--ask vrf add failed" ""
a=$("$agent" --ask "$sock" 'show vrfs') || fail "--ask show vrfs failed" ""
echo "$a" | grep -q "red" || fail "red missing after vrf add over the socket" "$a"
echo "$a" | grep -q "default" || fail "default missing" "$a"

a=$("$agent" --ask "$sock" 'intf add Ethernet1 vlan 4095') || fail "--ask bad line failed" ""
echo "$a" | grep -q "VlanId::value < 1 or > 4094 not allowed" || fail "bad line not reported" "$a"

kill -0 $pid 2>/dev/null || fail "agent died" "$(cat "$dir/err")"
echo "socket round trip ok"
