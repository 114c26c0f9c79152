#!/usr/bin/env bash
# Builds the release flavour and runs every benchmark, printing its figures.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh" release
for bench in "$root"/build/release/bench/murvelo_bench_*; do
  [[ -x "$bench" ]] || continue
  echo "== $(basename "$bench")"
  "$bench" "$@"
done
