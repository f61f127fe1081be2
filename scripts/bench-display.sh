#!/usr/bin/env bash
# Measures how many small frames a second `varno display` takes over TCP while it records them.
#   scripts/bench-display.sh [FRAMES]   1,000,000 unless told
set -euo pipefail
cd "$(dirname "$0")/.."

frames=${1:-1000000}
scripts/dependencies.sh build >&2
scripts/build.sh release varno >&2
varno=build/release/tools/varno/varno
work=$(mktemp -d)
display=
trap '[[ -z $display ]] || kill "$display" 2>/dev/null || true; rm -rf "$work"' EXIT

# Every tenth one changes what the driver sees. The display hangs up behind the last.
awk -v count="$frames" 'BEGIN {
  for (i = 1; i < count; ++i) print i % 10 ? "KeepAlive" : "SpeedNotification message=" i % 200
  print "HudDisconnect"
}' | $varno encode --raw >"$work/frames"

$varno display tcp-listen://127.0.0.1:0 --headless --record "$work/display.pcapng" \
  >"$work/out" 2>"$work/errors" &
display=$!
until grep --quiet '^ready' "$work/out"; do sleep 0.05; done
port=$(sed -nE '1s/.*:([0-9]+)$/\1/p' "$work/out")
begin=$(date +%s%N)
exec {link}<>"/dev/tcp/127.0.0.1/$port"
cat "$work/frames" >&"$link"
cat <&"$link" >"$work/answers" # until the display hangs up, 100 ms after the last frame
end=$(date +%s%N)
kill -TERM "$display"
wait "$display"
display=
recorded=$($varno decode --quiet --direction to-display "$work/display.pcapng" | wc -l)
awk -v frames="$frames" -v recorded="$recorded" -v seconds=$(((end - begin) / 1000))e-6 'BEGIN {
  printf "%d frames a second, with %d of %d recorded\n", frames / (seconds - 0.1), recorded, frames
}'
cat "$work/errors"
