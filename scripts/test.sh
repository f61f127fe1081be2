#!/usr/bin/env bash
# Checks everything, the cheap things first, and stops at the first that fails.
#   scripts/test.sh            every stage
#   scripts/test.sh STAGE...   these only
set -euo pipefail
cd "$(dirname "$0")/.."

# Compiles each public header on its own.
headers=_verify_interface_header_sets
headersTargets="VarnoNetwork-static$headers VarnoTraffic-static$headers"
headersTargets+=" VarnoLink-static$headers VarnoDisplay-static$headers"

# A stage: its name | the groups of packages it needs | its command.
stages=(
  "format       | format                       | scripts/format.sh --check"
  "scripts      | scripts                      | shellcheck scripts/*.sh tests/tools/*.sh examples/*.sh .ci/run"
  "cppcheck     | cppcheck                     | scripts/cppcheck.sh"
  "release      | build test                   | preset release"
  "captures     | build test captures          | scripts/check-captures.sh"
  "dissector    | build test dissector         | scripts/check-dissector.sh"
  "page         | build page                   | scripts/check-page.sh"
  "install      | build install package        | scripts/check-install.sh"
  "docs         | build docs                   | scripts/check-docs.sh"
  "tidy         | build test bench sanitizers tidy | scripts/tidy.sh"
  "asan         | build test sanitizers        | preset asan"
  "tsan         | build test sanitizers        | preset tsan"
  "clang-libcxx | build test libcxx            | preset clang-libcxx"
  "headers      | build test libcxx            | scripts/build.sh clang-libcxx $headersTargets"
  "fuzz         | build sanitizers             | scripts/fuzz.sh 10"
  "bench        | build bench                  | benchmarks"
  "abi          | build abi                    | scripts/check-abi.sh"
  "s390x        | build test s390x             | preset s390x"
  "armhf        | build test armhf             | preset armhf"
  "arm64        | build test arm64             | preset arm64"
)

preset() {
  scripts/build.sh "$1" && ctest --preset "$1" --parallel "$(nproc)"
}

# Builds them, and nothing else, with both compilers; each program checks that what it compares does
# the same.
benchmarks() {
  local preset
  for preset in bench bench-os; do
    scripts/build.sh $preset bench/all || return
    build/$preset/bench/varno_instructions --list >/dev/null || return
  done
}

names=()
declare -A needs command
for stage in "${stages[@]}"; do
  IFS='|' read -r name groups run <<<"$stage"
  name=${name// /}
  names+=("$name")
  needs[$name]=$groups
  command[$name]=$run
done

for name in "$@"; do
  if [[ -z ${needs[$name]:-} ]]; then
    echo "test.sh: no stage '$name'; there are: ${names[*]}" >&2
    exit 2
  fi
done
chosen=("${@:-${names[@]}}")

# The log has every line; the terminal does without those about tests that start and pass.
passing='/^ +Start +[0-9]+: /d; / Passed +[0-9.]+ sec *$/d'

mkdir -p build
summary=()
passed=0
failed=0
for name in "${chosen[@]}"; do
  echo "=== $name"
  log=build/$name.log
  start=$SECONDS
  status=0
  {
    # Groups and command are lists of words, to be split.
    # shellcheck disable=SC2086
    scripts/dependencies.sh ${needs[$name]} && ${command[$name]}
  } 2>&1 | tee "$log" | sed --unbuffered --regexp-extended "$passing" || status=1
  verdict=$( ((status)) && echo FAILED || echo ok)
  summary+=("$(printf '%-14s %-7s %5d s' "$name" "$verdict" $((SECONDS - start)))")
  if [[ $(grep 'tests passed, ' "$log") =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
    summary[-1]+="  $(grep 'tests passed, ' "$log")"
    failed=$((failed + BASH_REMATCH[1]))
    passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
  fi
  ((status)) && break
done

echo "=== summary"
printf '%s\n' "${summary[@]}"
((passed + failed)) && echo "$passed passed, $failed failed"
if ((status)); then
  echo "test.sh: stage $name failed; its output is in $log" >&2
  exit 1
fi
