#!/usr/bin/env bash
# Has clang-tidy look at everything that is compiled here, by the checks of .clang-tidy.
#   scripts/tidy.sh [REGEX]   only at the files whose path REGEX matches, for example Utf8
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh build test bench sanitizers tidy >&2
# What CMake generates and GoogleTest's sources are compiled, too, but not ours.
product='(VarnoNetwork|VarnoTraffic|VarnoLink|VarnoDisplay|tools)'
others='(bench|docs|examples|fuzz|tests)'

configure() { # NAME CMAKE-ARGUMENT...
  work=build/$1
  mkdir -p build
  if ! cmake --preset analysis -B "$work" "${@:2}" >"$work.configure.log" 2>&1; then
    cat "$work.configure.log"
    exit 1
  fi
}

check() { # REGEX
  if ! grep --quiet --extended-regexp "\"file\": \"$1" "$work/compile_commands.json"; then
    echo "tidy.sh: no file's path matches '$1'" >&2
    exit 2
  fi
  if ! run-clang-tidy -quiet -p "$work" -j "$(nproc)" "$1" >"$work.log" 2>&1; then
    # Without the command for each file and the count of warnings in other people's headers.
    grep --invert-match --extended-regexp '^[^ ]*clang-tidy|warnings? generated|^$' "$work.log"
    exit 1
  fi
}

checkBatches() { # NAME FOLDERS
  configure "$1" -DCMAKE_UNITY_BUILD=ON
  check "$PWD/($2|$work/$2/.*/Unity)/"
}

if (($#)); then
  configure analysis
  check "$PWD/($product|$others)/.*$1"
  exit
fi

# In batches of files, which takes a fifth of the time. That these are sources, the analyzer, which
# follows a function along its paths, knows by this name in the path alone. So it gets what users
# run: in tests it takes much of GoogleTest for leaks.
checkBatches UnifiedSource "$product"
checkBatches analysis-batches "$others"
