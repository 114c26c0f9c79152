#!/usr/bin/env bash
# Configures and builds one flavour into build/<flavour>: "release" or "asan" (AddressSanitizer +
# UndefinedBehaviorSanitizer). Extra arguments are ninja targets. Incremental: the build tree is
# the cache.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
flavour="${1:-release}"
shift || true

case "$flavour" in
  release) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DMURVELO_SANITIZE=OFF) ;;
  asan) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DMURVELO_SANITIZE=ON -DMURVELO_BUILD_BENCHMARKS=OFF) ;;
  *) echo "build.sh: unknown flavour $flavour (release or asan)" >&2; exit 2 ;;
esac

dir="$root/build/$flavour"
if [[ ! -f "$dir/build.ninja" ]]; then
  cmake -S "$root" -B "$dir" -G Ninja "${options[@]}" >/dev/null
fi
ninja -C "$dir" "$@"
