#!/usr/bin/env bash
# Measures every benchmark case and prints how the library stands against the floor, the peer and the
# byte-at-a-time reference, as g++, clang and clang -Os compile them. The builds take turns, the cases
# of each in random order; figures are medians over all turns.
#   scripts/bench.sh [--docs | --preset PRESET] [BENCHMARK-OPTION...]
#     --docs             writes the tables and the plot to docs/, too
#     --preset PRESET    measures one build only: bench, bench-clang or bench-os
#     BENCHMARK-OPTION   for example --benchmark_filter='send text' or --benchmark_repetitions=50
set -euo pipefail
cd "$(dirname "$0")/.."

declare -A names=([bench]="g++" [bench-clang]="clang" [bench-os]="clang -Os")
presets=(bench bench-clang bench-os)
report=(--plot build/bench/performance.svg)
if [[ ${1:-} == --docs ]]; then
  report=(--plot docs/performance.svg --page docs/performance.md)
  shift
elif [[ ${1:-} == --preset ]]; then
  presets=("${2:-}")
  if [[ -z ${names[${2:-none}]:-} ]]; then
    echo "bench.sh: no preset '${2:-}'; there are: ${!names[*]}" >&2
    exit 2
  fi
  shift 2
fi

scripts/dependencies.sh build bench >&2
for preset in "${presets[@]}"; do
  scripts/build.sh "$preset" >&2
done

turns=5
results=()
for ((turn = 1; turn <= turns; ++turn)); do
  for preset in "${presets[@]}"; do
    echo "Turn $turn of $turns: ${names[$preset]}" >&2
    result=build/$preset/results-$turn.json
    log=build/$preset/benchmarks.log
    if ! build/"$preset"/bench/varno_benchmarks \
      --benchmark_enable_random_interleaving=true --benchmark_repetitions=5 \
      --benchmark_min_time=0.02 --benchmark_out="$result" --benchmark_out_format=json "$@" \
      >"$log" 2>&1
    then
      cat "$log" >&2
      exit 1
    fi
    results+=("${names[$preset]}=$result")
  done
done
python3 bench/report.py "${results[@]}" "${report[@]}"
