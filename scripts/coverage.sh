#!/usr/bin/env bash
# Measures how much of the library the tests reach: lines, and the branches that the sources spell
# out (not the edges that an exception takes). Ends with the lines that no test runs and the
# conditions that never came out both ways.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/coverage
scripts/dependencies.sh build test sanitizers
scripts/build.sh coverage
rm -rf $build/profiles
LLVM_PROFILE_FILE=$PWD/$build/profiles/%p.profraw \
  ctest --preset coverage --parallel "$(nproc)" >$build/tests.log || {
  cat $build/tests.log
  exit 1
}
llvm-profdata merge --sparse $build/profiles/*.profraw --output $build/tests.profdata

measured=("$build/tests/varno_tests" "--instr-profile=$build/tests.profdata" VarnoNetwork
  VarnoTraffic VarnoLink VarnoDisplay)
llvm-cov report --show-region-summary=false --show-branch-summary "${measured[@]}"

echo
llvm-cov export --format=lcov "${measured[@]}" | awk -F '[:,]' -v root="$PWD/" '
  function finish() { if (first) gaps = gaps " " (first == last ? first : first "-" last); first = 0 }
  $1 == "SF" { file = $2; sub(root, "", file); gaps = branches = ""; lastLine = 0 }
  $1 == "DA" && $3 == 0 { if (first && $2 == last + 1) last = $2; else { finish(); first = last = $2 } }
  $1 == "DA" && $3 > 0 { finish() }
  $1 == "BRDA" && $5 == 0 && $2 != lastLine { branches = branches " " $2; lastLine = $2 }
  $1 == "end_of_record" {
    finish()
    if (gaps) print file ": lines never run:" gaps
    if (branches) print file ": conditions that came out one way only:" branches
  }'
