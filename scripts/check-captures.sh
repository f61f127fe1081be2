#!/usr/bin/env bash
# Compares the captures that are written here with Wireshark's own tools: these must accept them
# without a message and show what was written, and what they write must be read back.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check-captures.sh: $*" >&2
  exit 1
}

quietly() { # COMMAND...: has to succeed and to complain of nothing
  "$@" 2>"$work/errors" || fail "$*: $(cat "$work/errors")"
  [[ ! -s $work/errors ]] || fail "$* says: $(cat "$work/errors")"
}

same() { # WHAT EXPECTED FOUND
  diff "$2" "$3" >"$work/difference" || fail "$1: $(cut -c1-200 "$work/difference" | head -n 10)"
  echo "ok: $1"
}

scripts/build.sh release capture_sample
sample=build/release/tests/capture_sample
for seed in 1 2; do
  quietly $sample write "$work/$seed.pcapng" $seed >"$work/$seed.txt"
done
file=$work/1.pcapng

quietly capinfos "$file" >"$work/info"
for told in 'USER 0' 'phone-to-display' 'display-to-phone'; do
  grep --quiet "$told" "$work/info" || fail "capinfos does not tell $told"
done
echo "ok: capinfos"

# A record is one packet, or several with the error of a wrong gap between them.
fields=(time_epoch interface_name packet_flags_direction packet_flags_wrong_inter_frame_gap_error
  packet_flags_crc_error packet_flags_packet_too_error packet_flags_packet_too_short_error
  packet_flags_unaligned_frame_error packet_flags_start_frame_delimiter_error len comment)
tshark -r "$file" -T fields -E separator='|' "${fields[@]/#/-eframe.}" 2>"$work/errors" |
  awk -F '|' '{
    bytes += $10
    if (!first) first = $11
    if ($4 == 0) {
      sub(/^0*\./, ".", $1)
      print $1, $2, $3 + 0, $5 $6 $7 $8 $9, bytes, first
      bytes = 0
      first = ""
    }
  }' >"$work/seen"
awk -F '|' '{
  errors = "00000"
  if ($3 == "fault" && $4 > 0) errors = "10000"
  if ($3 == "long") errors = "01000"
  if ($3 == "short") errors = "00100"
  if ($3 == "torn") errors = "00010"
  if ($3 == "noise") errors = "00001"
  note = $6
  gsub(/\\x0A/, "\\n", note)
  if ($3 ~ /^(link up|link down|note)$/ || ($3 == "fault" && $4 == 0)) {
    note = $3 (note == "" ? "" : ": ") note
  }
  time = $1 == 0 ? ".000000000" : substr($1, 1, length($1) - 9) "." substr($1, length($1) - 8)
  print time, $2 == "<" ? "display-to-phone" : "phone-to-display",
        $2 == ">" ? 1 : $2 == "<" ? 2 : 0, errors, $4, note
}' "$work/1.txt" >"$work/expected"
same "tshark" "$work/expected" "$work/seen"

readBack() { # TOOL FILE EXPECTED: what the tool has written
  quietly $sample show "$2" >"$work/found"
  same "$1" "$3" "$work/found"
}
readBack "read" "$file" "$work/1.txt"
quietly editcap "$file" "$work/copy.pcapng" >"$work/log"
readBack "editcap" "$work/copy.pcapng" "$work/1.txt"
# A comment that is added comes on a line of its own. Up to the first record of several packets, the
# packets' numbers are those of the records.
awk -F '|' '$4 > 262144 { exit } { print }' "$work/1.txt" |
  sed 's/$/\\x0Aedited/; s/|\\x0Aedited$/|edited/' >"$work/expected"
count=$(wc -l <"$work/expected")
edits=()
for ((number = 1; number <= count; ++number)); do edits+=(-a "$number:edited"); done
quietly editcap -r "${edits[@]}" "$file" "$work/few.pcapng" "1-$count" >"$work/log"
readBack "editcap -r -a" "$work/few.pcapng" "$work/expected"
quietly mergecap -w "$work/both.pcapng" "$file" "$work/2.pcapng"
quietly $sample show "$work/both.pcapng" | sort >"$work/found"
sort "$work/1.txt" "$work/2.txt" >"$work/expected"
same "mergecap" "$work/expected" "$work/found"
quietly mergecap -a -I none -w "$work/both.pcapng" "$file" "$work/2.pcapng"
cat "$work/1.txt" "$work/2.txt" >"$work/expected"
readBack "mergecap -a" "$work/both.pcapng" "$work/expected"

# A live capture: to tshark, the tap is a network interface. tshark looks for such programs only in
# the system's folder where root runs it.
asUser=()
if ((EUID == 0)); then asUser=(setpriv --reuid=65534 --regid=65534 --clear-groups); fi
mkdir "$work/live" "$work/live/programs" "$work/live/libraries"
scripts/build.sh release varno
cp build/release/tools/varno/varno "$work/live/programs"
cp build/release/Varno*/libVarno*.so.1 "$work/live/libraries"
chmod 755 "$work"
chmod --recursive 777 "$work/live"
cat >"$work/live/talk.txt" <<'END'
(1) > KeepAlive
(2) < WifiStationStatus eventType=1 ipAddress=10.0.0.7
(3) > SystemTime timeInMillis=125
END
inLive() {
  (cd "$work/live" && "${asUser[@]}" env HOME="$work/live" LD_LIBRARY_PATH="$work/live/libraries" \
    WIRESHARK_EXTCAP_DIR="$work/live/programs" timeout 60 "$@")
}
inLive programs/varno replay talk.txt unix-listen://display --as display --expect --gap-limit 10ms \
  --quiet 2>"$work/display.log" &
until [[ -S $work/live/display ]]; do sleep 0.1; done
inLive tshark -i varno-tap -o "extcap.varno_tap.phoneside:unix-listen://$work/live/phone" \
  -o "extcap.varno_tap.displayside:unix://$work/live/display" -c 5 -w live.pcapng \
  2>"$work/tshark.log" &
until [[ -S $work/live/phone ]]; do sleep 0.1; done
inLive programs/varno replay talk.txt unix://phone --expect --gap-limit 10ms --quiet \
  2>"$work/phone.log" || fail "replay: $(cat "$work/phone.log" "$work/tshark.log")"
wait
inLive programs/varno decode --quiet live.pcapng | sed 's/^([0-9.]*) //' | grep '^[<>]' |
  cut -d ' ' -f 1,2 >"$work/found"
printf '%s\n' '> KeepAliveCommandPacket' '< WifiStationStatusEventPacket' \
  '> SystemTimeCommandPacket' >"$work/expected"
same "tshark -i varno-tap" "$work/expected" "$work/found"
