#!/usr/bin/env bash
# Searches for inputs that break the library: runs each fuzz target on its corpus and on a frame of
# every packet type, then looks for new inputs for a while, as many targets at a time as there are
# processors.
#   scripts/fuzz.sh [SECONDS [TARGET...]]   SECONDS for each target, 30 unless given; 0: corpus only
#   scripts/fuzz.sh merge [TARGET...]       replaces the corpus by a small set of inputs, out of it
#                                           and of those found, that reaches what all of them do
# What is found stays in build/fuzz/found, and the next search goes on from there.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
shift || true
if [[ ! $seconds =~ ^([0-9]+|merge)$ ]]; then
  echo "usage: scripts/fuzz.sh [SECONDS|merge [TARGET...]]" >&2
  exit 2
fi
targets=("${@:-receive streams roundtrip cutter pcapng log notation explain scenario}")
read -ra targets <<<"${targets[*]}"
# The longest input of each target. A script of stream operations is short: what it writes is not.
declare -A longest=([receive]=4096 [streams]=256 [roundtrip]=4096 [cutter]=1024
  [pcapng]=2048 [log]=2048 [notation]=2048 [explain]=2048 [scenario]=2048)
for target in "${targets[@]}"; do
  if [[ -z ${longest[$target]:-} ]]; then
    echo "fuzz.sh: no target '$target'; there are: ${!longest[*]}" >&2
    exit 2
  fi
done

work=build/fuzz
scripts/build.sh fuzz
start=()
# AddressSanitizer does not start where the system randomizes addresses too widely.
if setarch -R true 2>/dev/null; then
  start=(setarch -R)
fi
export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1
rm -rf $work/seeds
"${start[@]}" $work/fuzz/fuzz_seeds $work/seeds

for target in "${targets[@]}"; do
  mkdir -p "$work/found/$target" "$work/seeds/$target" "$work/artifacts" "fuzz/corpus/$target"
done

fuzz() { # TARGET ARGUMENT...: all output goes to the target's log
  local target=$1
  "${start[@]}" "$work/fuzz/fuzz_$target" -max_len="${longest[$target]}" -timeout=20 \
    -rss_limit_mb=2048 -malloc_limit_mb=64 -artifact_prefix="$work/artifacts/$target-" \
    "${@:2}" >>"$work/$target.log" 2>&1
}

search() { # TARGET
  local corpus=(fuzz/corpus/"$1" "$work/seeds/$1")
  : >"$work/$1.log"
  fuzz "$1" -runs=0 -seed=1 "${corpus[@]}" || return
  ((seconds == 0)) || fuzz "$1" -max_total_time="$seconds" -print_final_stats=1 \
    -dict=fuzz/wire.dict "$work/found/$1" "${corpus[@]}"
}

merge() { # TARGET
  local merged=$work/merged/$1
  rm -rf "$merged"
  mkdir -p "$work/merged" "fuzz/corpus/$1"
  cp -r "$work/seeds/$1" "$merged"
  : >"$work/$1.log"
  fuzz "$1" -merge=1 -use_counters=0 "$merged" "fuzz/corpus/$1" "$work/found/$1"
  # The seeds are made anew each time.
  local seed
  for seed in "$work/seeds/$1"/*; do
    rm -f "$merged/${seed##*/}"
  done
  rm -rf "fuzz/corpus/$1"
  mv "$merged" "fuzz/corpus/$1"
}

report() { # TARGET
  local log=$work/$1.log
  awk -v target="$1" '
    / cov: [0-9]+/ { for (at = 1; at < NF; ++at) if ($at == "cov:") coverage = $(at + 1) }
    /DONE/ && !read { read = substr($1, 2) }
    /^stat::number_of_executed_units/ { tried = $2 }
    END { printf "%-10s %5d known inputs, %10d tried, %5d edges reached\n",
                 target, read, tried, coverage }' "$log"
}

if [[ $seconds == merge ]]; then
  for target in "${targets[@]}"; do
    merge "$target"
    echo "$target: $(find "fuzz/corpus/$target" -type f | wc -l) inputs"
  done
  exit
fi

status=0
running=0
declare -A process
for target in "${targets[@]}"; do
  if ((running == $(nproc))); then
    wait -n || true
    ((running -= 1))
  fi
  search "$target" &
  process[$target]=$!
  ((running += 1))
done
for target in "${targets[@]}"; do
  if wait "${process[$target]}"; then
    report "$target"
    continue
  fi
  status=1
  echo "fuzz.sh: $target found something; its output is in $work/$target.log" >&2
  artifact=$(sed -n "s/.*Test unit written to //p" "$work/$target.log" | tail -n 1)
  if [[ -n $artifact ]]; then
    echo "To see it again: ${start[*]} $work/fuzz/fuzz_$target $artifact" >&2
  else
    tail -n 20 "$work/$target.log" >&2
  fi
done
exit $status
