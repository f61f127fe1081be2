#!/usr/bin/env bash
# Measures `varno decode` with a capture of mixed packets, and tshark, which gets the dissector, with
# the same: megabytes of the capture a second of processor time, and the most memory. The best of
# three runs counts, of tshark the only one.
#   scripts/bench-decode.sh [MEGABYTES]   of the capture; 100 unless told
set -euo pipefail
cd "$(dirname "$0")/.."

megabytes=${1:-100}
scripts/dependencies.sh build captures >&2
scripts/build.sh release varno >&2
varno=build/release/tools/varno/varno
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A line takes 77 bytes in the capture, on the average.
LC_ALL=C awk -v count=$((megabytes * 1000000 / 77)) 'BEGIN {
  for (i = 0; i < count; ++i) {
    printf "(%d.%09d) ", 1500000000 + int(i / 200), (i % 200) * 5000000
    kind = i % 10
    if (i % 1000 == 9) print "< noise FF 41 42"
    else if (i % 1000 == 19) print "> raw 02 7D 7F 7D 7C 7D 7D 00 00 03"
    else if (kind < 2) print "> KeepAlive"
    else if (kind == 2) print "> SystemTime timeInMillis=1500000" 100000 + i % 900000 " timeZoneId=Asia/Seoul"
    else if (kind == 3) print "< WifiStationStatus eventType=" i % 3 " ipAddress=10.0.0." i % 250
    else if (kind == 4) print "> WifiStationMode ssid=\"Garage " i "\" password=\"open sesame\""
    else if (kind == 5) print "> MusicNotification packageName=com.example.music title=\"Song " i "\" message=\"Turn left onto Station Road, then keep right\""
    else if (kind == 6) print "> SocialNotification packageName=com.example.chat title=\"Kim\" message=\"회의가 " i % 60 "분 뒤에 시작됩니다\""
    else if (kind == 7) print "< BluetoothDeviceFound soundDevice.name=\"Car " i % 20 "\" soundDevice.address=00:11:22:33:44:55"
    else print "> SpeedNotification title=" i % 200 " message=km/h"
  }
}' | $varno convert - "$work/mixed.pcapng" --from text
bytes=$(stat --format=%s "$work/mixed.pcapng")
echo "a capture of $((bytes / 1000000)) MB, $($varno decode "$work/mixed.pcapng" 2>&1 >/dev/null | cut -d ' ' -f 2-)"

measure() { # NAME RUNS COMMAND...: sets `seconds` to the least time on the processor
  local name=$1 runs=$2 run least
  shift 2
  for ((run = 0; run < runs; ++run)); do
    command time --format '%U %S %e %M' "$@" 2>"$work/errors" >"$work/out" || true
    tail -n 1 "$work/errors"
  done | awk '{ print $1 + $2, $3, $4 }' | sort --numeric-sort >"$work/times"
  read -r least <"$work/times"
  seconds=${least%% *}
  awk -v name="$name" -v bytes="$bytes" '{
    printf "%-20s %8.1f MB/s: %.2f s of processor time, %.2f s in all, %.1f MB of memory\n", name,
           bytes / 1e6 / $1, $1, $2, $3 / 1024
  }' <<<"$least"
}

measure 'varno decode' 3 $varno decode "$work/mixed.pcapng"
measure 'varno decode --json' 3 $varno decode --json "$work/mixed.pcapng"
json=$seconds
dissector=tools/wireshark/varno.lua
[[ -e $dissector ]] || exit 0
measure 'tshark -T json' 1 tshark -X lua_script:$dissector -r "$work/mixed.pcapng" -T json
awk -v json="$json" -v tshark="$seconds" 'BEGIN {
  printf "varno decode --json is %.1f times as fast as tshark -T json\n", tshark / json
}'
