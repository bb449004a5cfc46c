#!/usr/bin/env bash
# The whole test run, as CI does it:
#   format  clang-format check of every tracked C++ file
#   dev     native build (-Werror) and its tests
#   asan    native build under AddressSanitizer and UBSan, and its tests
#   mingw   Windows build (-Werror), its tests run under Wine
#   release native optimised build (-Werror), the build users ship, and its
#           tests
#   tsan    native build under ThreadSanitizer of the test programs, and the
#           catalog tests (threads fetching against threads that close)
#   bench   release build of the benchmarks, run once briefly: every case's
#           result check must pass; timings never fail it
# Each build stage configures, builds and runs CTest with the preset of the
# same name; the tests include the package checks (exports, find_package and
# add_subdirectory clients). Every stage runs even after a failure; the exit
# status is non-zero if any failed.
#
#   tools/run-tests.sh                all stages
#   tools/run-tests.sh dev mingw      only the stages named
#   KZ_JOBS=N                         build and test jobs (default 2)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

jobs=${KZ_JOBS:-2}
export WINEDEBUG=${WINEDEBUG:--all}
all_stages=(format dev asan mingw release tsan bench)
if [[ $# -gt 0 ]]; then
  stages=("$@")
else
  stages=("${all_stages[@]}")
fi
for stage in "${stages[@]}"; do
  case $stage in
    format | dev | asan | mingw | release | tsan | bench) ;;
    *)
      echo "usage: $0 [format|dev|asan|mingw|release|tsan|bench]..." >&2
      exit 2
      ;;
  esac
done

logs=$root/build/logs
mkdir -p "$logs"
rm -f "$logs/total.txt"

declare -a summary=()
total_passed=0
total_failed=0
total_skipped=0
any_failed=0
started=$SECONDS

banner() { printf '\n========== %s ==========\n' "$*"; }

# Runs CTest for one preset (further arguments go to ctest) and adds its
# counts to the totals. ctest's own output, summary lines included, goes to
# the terminal as is.
ctest_counts=""
run_ctest() {
  local preset=$1 log=$logs/$1-ctest.log rc=0
  shift
  ctest --preset "$preset" -j "$jobs" "$@" 2>&1 | tee "$log" || rc=$?
  local line total failed skipped
  line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' \
    "$log" | tail -n 1 || true)
  if [[ -z $line ]]; then
    ctest_counts="no test ran"
    return 1
  fi
  failed=$(sed -E 's/.* ([0-9]+) tests? failed out of.*/\1/' <<<"$line")
  total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<<"$line")
  skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \((Skipped|Disabled)\)$' \
    "$log" || true)
  local passed=$((total - failed - skipped))
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  total_skipped=$((total_skipped + skipped))
  ctest_counts="$passed passed, $failed failed, $skipped skipped"
  [[ $total -gt 0 && $rc -eq 0 ]]
}

build_stage() {
  local preset=$1
  banner "$preset: configure"
  cmake --preset "$preset" || {
    ctest_counts="configure failed"
    return 1
  }
  banner "$preset: build"
  cmake --build --preset "$preset" -j "$jobs" || {
    ctest_counts="build failed"
    return 1
  }
  banner "$preset: test"
  run_ctest "$preset"
}

# ThreadSanitizer: only the test programs that the catalog tests need, and
# only those tests, to keep the run short.
tsan_stage() {
  banner "tsan: configure"
  cmake --preset tsan || {
    ctest_counts="configure failed"
    return 1
  }
  banner "tsan: build"
  cmake --build --preset tsan -j "$jobs" \
    --target kzcommon_tests kzcommon_internal_tests || {
    ctest_counts="build failed"
    return 1
  }
  banner "tsan: test"
  run_ctest tsan -R 'Catalog|^internal\.'
}

format_stage() {
  banner "format"
  local out rc=0
  out=$(tools/check-format.sh 2>&1) || rc=$?
  printf '%s\n' "$out"
  ctest_counts=$(tail -n 1 <<<"$out")
  return $rc
}

for stage in "${stages[@]}"; do
  stage_start=$SECONDS
  failed_before=$total_failed
  ctest_counts=""
  if [[ $stage == format ]]; then
    if format_stage; then status=ok; else status=FAILED; fi
  elif [[ $stage == tsan ]]; then
    if tsan_stage; then status=ok; else status=FAILED; fi
  else
    if build_stage "$stage"; then status=ok; else status=FAILED; fi
  fi
  if [[ $status != ok ]]; then
    any_failed=1
    # A stage that failed before any test did (format, configure, build)
    # counts as one failure in the total.
    [[ $total_failed -ne $failed_before ]] || total_failed=$((total_failed + 1))
  fi
  summary+=("$(printf '%-7s %-7s %5ds  %s' "$stage" "$status" \
    $((SECONDS - stage_start)) "$ctest_counts")")
done

banner "summary"
printf '%s\n' "${summary[@]}"
printf 'wall time %ds\n' $((SECONDS - started))
if [[ $any_failed -ne 0 ]]; then
  echo "RESULT: FAILED"
else
  echo "RESULT: all stages passed"
fi
total_line="Total: $total_passed passed, $total_failed failed, $total_skipped skipped"
echo "$total_line" >"$logs/total.txt"
echo "$total_line"
exit $any_failed
