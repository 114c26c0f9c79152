#!/usr/bin/env bash
# Sets up, builds and runs every test twice: a normal build and an AddressSanitizer +
# UndefinedBehaviorSanitizer build. Ends with ctest's summary of each and one closing line
# "N passed, N failed"; exits non-zero on any failure.
set -uo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/scripts/setup.sh" || exit 1

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

passed=0
failed=0
status=0
for flavour in release asan; do
  echo "== $flavour build"
  if ! bash "$root/scripts/build.sh" "$flavour"; then
    echo "== $flavour build failed"
    status=1
    failed=$((failed + 1))
    continue
  fi
  echo "== $flavour tests"
  log="$root/build/$flavour/ctest-summary.log"
  # One test at a time: the end-to-end dictation tests play speech at real pace against a 3 s
  # finish race, and a neighbour hogging both cores would make them measure the machine.
  ctest --test-dir "$root/build/$flavour" --output-on-failure --timeout 600 | tee "$log"
  [[ ${PIPESTATUS[0]} -eq 0 ]] || status=1
  summary=$(grep -E '[0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
  if [[ $summary =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
  else
    status=1
  fi
done

echo "$passed passed, $failed failed"
exit $status
