#!/usr/bin/env bash
# Has clang-tidy look at everything that is compiled here, by the checks of .clang-tidy.
#   scripts/tidy.sh [REGEX]   only at the files whose path REGEX matches, for example Utf8
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh build test bench sanitizers tidy >&2
work=build/analysis
mkdir -p build
if ! cmake --preset analysis >$work.configure.log 2>&1; then
  cat $work.configure.log
  exit 1
fi

# What CMake generates and GoogleTest's sources are compiled, too, but not ours.
ours="$PWD/(VarnoNetwork|VarnoTraffic|VarnoLink|VarnoDisplay|bench|docs|examples|fuzz|tests|tools)/.*${1:-}"
if ! grep --quiet --extended-regexp "\"file\": \"$ours" $work/compile_commands.json; then
  echo "tidy.sh: no file's path matches '${1:-}'" >&2
  exit 2
fi
if ! run-clang-tidy -quiet -p $work -j "$(nproc)" "$ours" >$work.log 2>&1; then
  # Without the command for each file and the count of warnings in other people's headers.
  grep --invert-match --extended-regexp '^[^ ]*clang-tidy|warnings? generated|^$' $work.log
  exit 1
fi
