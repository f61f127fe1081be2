#!/usr/bin/env bash
# Counts the instructions that each benchmark case executes, under callgrind: the same numbers on
# every run. They are kept in build/bench/instructions.txt.
#   scripts/instructions.sh [--compare FILE] [CASE...]
#     --compare FILE   shows the change since FILE, a copy of an earlier instructions.txt
#     CASE             measures only the cases whose name begins so, for example "send text"
set -euo pipefail
cd "$(dirname "$0")/.."

before=/dev/null
if [[ ${1:-} == --compare ]]; then
  before=${2:?usage: scripts/instructions.sh [--compare FILE] [CASE...]}
  shift 2
fi

scripts/dependencies.sh build bench instructions >&2
scripts/build.sh bench >&2

program=build/bench/bench/varno_instructions
times=100
after=build/bench/instructions.txt
: >"$after.new"

isChosen() {
  local prefix
  (($# > 1)) || return 0
  for prefix in "${@:2}"; do
    [[ $1 == "$prefix"* ]] && return 0
  done
  return 1
}

count() { # CASE WAY
  valgrind --tool=callgrind --callgrind-out-file=/dev/null \
    --collect-atstart=no --toggle-collect=varnoMeasured "$program" "$1" "$2" $times 2>&1 |
    sed --quiet 's/.*Collected : //p'
}

"$program" --list | while IFS=$'\t' read -r name way; do
  isChosen "$name" "$@" || continue
  instructions=$(count "$name" "$way")
  if [[ -z $instructions || $instructions == 0 ]]; then
    echo "instructions.sh: callgrind counted nothing for '$name', $way" >&2
    exit 1
  fi
  printf '%s\t%s\t%d\n' "$name" "$way" $(((instructions + times / 2) / times)) >>"$after.new"
done
mv "$after.new" "$after"

awk -F '\t' '
  FILENAME == ARGV[1] && ARGV[1] != "-" { old[$1 FS $2] = $3; next }
  !($1 in seen) { seen[$1]; names[++cases] = $1 }
  { now[$1 FS $2] = $3 }
  function cell(name, way,    key) {
    key = name FS way
    if (!(key in now)) return ""
    if (!(key in old) || old[key] == now[key]) return now[key]
    return sprintf("%d (%+.1f%%)", now[key], 100 * (now[key] - old[key]) / old[key])
  }
  END {
    row = "%-30s %20s %20s %20s %20s\n"
    printf row, "instructions", "library", "floor", "peer", "reference"
    for (at = 1; at <= cases; ++at) {
      name = names[at]
      printf row, name, cell(name, "library"), cell(name, "floor"), cell(name, "peer"),
             cell(name, "reference")
    }
  }' "$before" "$after"
