#!/usr/bin/env bash
# Runs every fuzz target for SECONDS on a fresh copy of its seed corpus (the
# inputs it once broke on in regressions/ join the run). A crash, a sanitizer
# report, a leak or a timeout fails the run; the input that did it is left
# under BUILD/fuzz-run/<dir>/ to be kept in fuzz/regressions/<dir>/ with the
# fix.
#   fuzz/run.sh BUILD SECONDS
set -uo pipefail
cd "$(dirname "$0")/.."
build=$1
secs=$2
# target:corpus dir:libFuzzer options
targets=(
  "FpmStreamFuzz:fpm:-max_len=8192"
  "ScenarioFuzz:scenario:-max_len=4096"
  "CommandRequestFuzz:request:-max_len=16384"
  "ConfigFuzz:config:-max_len=8192"
)
status=0
for t in "${targets[@]}"; do
  IFS=: read -r target dir opts <<<"$t"
  work=$build/fuzz-run/$dir
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/found" fuzz/regressions/"$dir"
  cp fuzz/corpus/"$dir"/* "$work/corpus/"
  echo "fuzz $target: ${secs}s"
  # shellcheck disable=SC2086
  if "$build/fuzz/$target" -max_total_time="$secs" -timeout=25 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$work/found/" $opts "$work/corpus" fuzz/regressions/"$dir" >"$work/log" 2>&1; then
    grep -E "^stat::number_of_executed_units|^stat::new_units_added" "$work/log" | sed "s/^/  /"
  else
    status=1
    tail -n 40 "$work/log"
    echo "fuzz $target FAILED; input(s) in $work/found/: keep as fuzz/regressions/$dir/<name> with the fix" >&2
  fi
done
exit $status
