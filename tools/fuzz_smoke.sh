#!/usr/bin/env bash
# Runs every fuzz target for the given seconds from its checked-in seed corpus, all at once,
# each in a scratch folder (the server targets write logs). Fails when any target finds a fault;
# the reproducer is left in the scratch folder named on the output.
set -uo pipefail
build=$(cd "$1" && pwd)
seconds=$2
root=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
status=0

run() {
  local target=$1 dir=$scratch/$1 extra=()
  # The message and chat targets keep one server for all inputs: what an input adds to its world
  # rightly stays, so the per-input leak check does not apply to them.
  case $target in pic|chat) extra=(-detect_leaks=0) ;; esac
  mkdir -p "$dir/corpus"
  (cd "$dir" && "$build/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
     -print_final_stats=1 "${extra[@]}" corpus "$root/tests/fuzz/corpus/$target" > log.txt 2>&1)
  local rc=$?
  if [ $rc -ne 0 ]; then
    echo "fuzz_$target: FAILED (exit $rc); see $dir/log.txt"
    tail -40 "$dir/log.txt"
  else
    echo "fuzz_$target: $(grep -m1 'stat::number_of_executed_units' "$dir/log.txt" | awk '{print $2}') runs, nothing found"
  fi
  return $rc
}

pids=()
for target in peer pic chat load; do
  run "$target" &
  pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
[ $status -eq 0 ] && rm -rf "$scratch"
exit $status
