#!/usr/bin/env bash
# Runs every built fuzz target for a short time on a copy of its seed corpus.
# usage: fuzz/run_smoke.sh BUILD_DIR [SECONDS]
set -euo pipefail
build=$1
seconds=${2:-20}
here=$(cd "$(dirname "$0")" && pwd)
status=0
for exe in "$build"/fuzz/fuzz_*; do
  [ -x "$exe" ] || continue
  name=$(basename "$exe" | sed 's/^fuzz_//')
  work=$(mktemp -d)
  [ -d "$here/corpus/$name" ] && cp -r "$here/corpus/$name/." "$work/"
  echo "== fuzz $name for ${seconds}s"
  if ! "$exe" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 "$work" \
       > "$work.log" 2>&1; then
    tail -50 "$work.log"
    status=1
  else
    grep -E 'stat::number_of_executed_units|Done' "$work.log" | tail -2 || true
  fi
  rm -rf "$work" "$work.log"
done
exit $status
