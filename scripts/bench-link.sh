#!/usr/bin/env bash
# Measures what carries frames over a link, in one run, with socat for the same bytes: throughput
# with frames of 30,000 bytes, and the time that a small frame takes there and back. socat is
# measured as it comes, with pieces of 8 kB, and with pieces of 256 kB. The best of several rounds
# counts. Then bytes and frames at random are sent through the tap and compared with
# what comes, and with its recording.
#   scripts/bench-link.sh [MEGABYTES]   of the throughput, and of the comparison; 1000 unless told
set -euo pipefail
cd "$(dirname "$0")/.."

megabytes=${1:-1000}
scripts/dependencies.sh build test link >&2
scripts/build.sh release varno link_load >&2
varno=build/release/tools/varno/varno
load=build/release/tests/link_load
work=$(mktemp -d)
middle=
stop() {
  [[ -z $middle ]] || kill -INT "$middle" 2>/dev/null || true
  wait
  middle=
}
trap 'stop; rm -rf "$work"' EXIT

# A port of its own for each line: those that were closed are not free at once.
port=$((20000 + RANDOM % 20000))
lines() {
  in=$((port++))
  out=$((port++))
}

through() { # WAY COMMAND AMOUNT: what link_load prints with that in the middle
  lines
  case $1 in
    nothing) in=$out ;;
    socat | large-socat)
      piece=8192
      [[ $1 == socat ]] || piece=262144
      socat -b $piece \
        "TCP-LISTEN:$in,bind=127.0.0.1,nodelay" "TCP:127.0.0.1:$out,nodelay" &
      ;;
    tap)
      rm -f "$work/capture.pcapng"
      $varno tap --quiet --record "$work/capture.pcapng" "tcp-listen://127.0.0.1:$in" \
        "tcp://127.0.0.1:$out" 2>"$work/said" &
      ;;
  esac
  [[ $1 == nothing ]] || middle=$!
  $load "$2" "$in" "$out" "$3"
  stop
}

best() { # sort's option, from the largest or the smallest: of the numbers on standard input
  sort --general-numeric-sort "$@" | head -n 1
}

for way in socat large-socat tap; do : >"$work/$way.throughput"; done
for way in nothing socat tap; do : >"$work/$way.latency"; done
for _ in 1 2 3; do # in turn, so that all have the same weather
  for way in socat large-socat tap; do
    through $way throughput "$megabytes" >>"$work/$way.throughput"
  done
  for way in nothing socat tap; do through $way latency 20000 >>"$work/$way.latency"; done
done
awk -v socat="$(best --reverse <"$work/socat.throughput")" \
  -v large="$(best --reverse <"$work/large-socat.throughput")" \
  -v tap="$(best --reverse <"$work/tap.throughput")" 'BEGIN {
  printf "frames of 30,000 bytes: socat %.0f MB/s, with large pieces %.0f MB/s, varno tap with " \
    "recording %.0f MB/s: %.2f and %.2f of it\n", socat, large, tap, tap / socat, tap / large
}'
awk -v nothing="$(best <"$work/nothing.latency")" -v socat="$(best <"$work/socat.latency")" \
  -v tap="$(best <"$work/tap.latency")" 'BEGIN {
  printf "a small frame there and back: %.1f us without, socat adds %.1f us, varno tap with " \
    "recording %.1f us: %.2f times as much\n", nothing, socat - nothing, tap - nothing,
    (tap - nothing) / (socat - nothing)
}'

echo "through the tap, $(through tap compare "$megabytes")"
$varno convert "$work/capture.pcapng" - --to wire --direction to-display |
  cmp - <($load stream "$megabytes")
echo "its recording, put together, is what was sent: $(stat --format=%s "$work/capture.pcapng") bytes"
