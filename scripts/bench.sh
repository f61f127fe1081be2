#!/usr/bin/env bash
# Measures every benchmark case and prints how the library stands against the floor and against the
# byte-at-a-time reference. Figures are medians of one run whose cases take turns at random.
#   scripts/bench.sh [--docs] [BENCHMARK-OPTION...]
#     --docs             writes the table and the plot to docs/, too
#     BENCHMARK-OPTION   for example --benchmark_filter='send text' or --benchmark_repetitions=50
set -euo pipefail
cd "$(dirname "$0")/.."

report=(--plot build/bench/performance.svg)
if [[ ${1:-} == --docs ]]; then
  report=(--plot docs/performance.svg --page docs/performance.md)
  shift
fi

scripts/dependencies.sh build bench >&2
scripts/build.sh bench >&2

results=build/bench/results.json
log=build/bench/benchmarks.log
if ! build/bench/bench/varno_benchmarks \
  --benchmark_enable_random_interleaving=true --benchmark_repetitions=25 \
  --benchmark_min_time=0.02 --benchmark_out=$results --benchmark_out_format=json "$@" >$log 2>&1
then
  cat $log >&2
  exit 1
fi
python3 bench/report.py $results "${report[@]}"
