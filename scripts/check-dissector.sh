#!/usr/bin/env bash
# Holds what tshark shows with the dissector against what the library says of the same frames.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

scripts/build.sh release dissector_sample
for seed in 1 2; do
  build/release/tests/dissector_sample "$work/capture.pcapng" "$work/varno.lua" $seed \
    >"$work/capture.jsonl"
  python3 tests/wireshark/check.py "$work/capture.pcapng" "$work/varno.lua" "$work/capture.jsonl" \
    "$work"
done
