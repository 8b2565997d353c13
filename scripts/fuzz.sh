#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for the given number of seconds, starting from
# its committed corpus. New inputs go to a scratch folder; a crash fails the run and leaves its
# input under fuzz/artifacts/.
set -euo pipefail
build=${1:-build-asan}
seconds=${2:-30}
root=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$root/fuzz/artifacts"
status=0
for target in "$build"/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target"); name=${name#fuzz_}
  work="$build/fuzz-work/$name"
  mkdir -p "$work"
  echo "fuzzing $name for ${seconds}s"
  if ! ASAN_OPTIONS=detect_leaks=1 "$target" -max_total_time="$seconds" -timeout=10 \
        -rss_limit_mb=2048 -max_len=65536 -print_final_stats=1 \
        -artifact_prefix="$root/fuzz/artifacts/$name-" \
        "$work" "$root/fuzz/corpus/$name" >"$work.log" 2>&1; then
    echo "fuzz target $name failed:"; tail -40 "$work.log"; status=1
  else
    grep -E 'stat::number_of_executed_units|cov:' "$work.log" | tail -2 || true
  fi
done
exit $status
