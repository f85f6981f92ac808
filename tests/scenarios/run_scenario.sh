#!/bin/sh
# Runs one scenario through kor-agent and compares its output with the
# expected file; prints a diff on mismatch. The agent exits 1 when the
# scenario had bad lines (some cases test exactly that); anything above 1 is a
# crash and fails the test.
#   run_scenario.sh AGENT FILE.scn EXPECTED      (a scenario file)
#   run_scenario.sh AGENT --demo EXPECTED        (the built-in demo)
agent=$1 scn=$2 expected=$3
out=$(mktemp)
trap 'rm -f "$out"' EXIT
if [ "$scn" = "--demo" ]; then
  "$agent" >"$out"
else
  "$agent" "$scn" >"$out"
fi
rc=$?
if [ $rc -gt 1 ]; then
  echo "kor-agent exited with status $rc" >&2
  cat "$out"
  exit 1
fi
if ! diff -u "$expected" "$out"; then
  # The demo is what a plain `kor-agent` prints; a scenario is its file's run.
  regen="$agent $scn"
  [ "$scn" = "--demo" ] && regen="$agent"
  echo "output differs from $expected (regenerate with: $regen > $expected, then review)" >&2
  exit 1
fi
