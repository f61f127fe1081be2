#!/usr/bin/env bash
# Configures a preset and builds targets of it (all, unless named). Says little unless it fails.
#   scripts/build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:?usage: scripts/build.sh PRESET [TARGET...]}
shift

log=build/$preset.configure.log
mkdir -p build
configure() {
  if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
    cat "$log"
    exit 1
  fi
}
configure
# When the compiler is another than last time, cmake starts over and forgets the preset's variables.
if grep --quiet 'require your cache to be deleted' "$log"; then
  configure --fresh
fi
echo "Building build/$preset"
cmake --build --preset "$preset" ${1:+--target "$@"} -- --quiet
