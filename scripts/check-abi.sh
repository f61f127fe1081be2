#!/usr/bin/env bash
# Compares the binary interface of each shared library with the one in abi/: what it exports
# (LIBRARY.symbols.txt), and the layout of the types behind that (LIBRARY.abi.xz, for abidiff).
#   scripts/check-abi.sh            shows what differs
#   scripts/check-abi.sh --update   takes the present interface as the baseline
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ ${1:-} != '' && $1 != --update ]]; then
  echo "usage: scripts/check-abi.sh [--update]" >&2
  exit 2
fi

# The baseline holds what one compiler makes of the sources with one standard library.
# shellcheck source=/dev/null
here="$(. /etc/os-release && echo "$ID ${VERSION_ID:-}") $(uname -m) g++ $(g++ -dumpversion)"
if [[ $here != "debian 12 x86_64 g++ 12" ]]; then
  echo "Not compared: the baseline is for debian 12 x86_64 g++ 12, and this is $here."
  exit 0
fi

scripts/dependencies.sh build abi
build=build/abi
libraries=(VarnoNetwork VarnoTraffic VarnoLink VarnoDisplay)
scripts/build.sh abi "${libraries[@]/%/-static}" "${libraries[@]/%/-shared}"

# The interface of a library. abidiff compares the types that functions lead to; those that are in
# headers alone are shown by the same library with a function for each.
describe() { # LIBRARY TYPE...
  local library=$1 made=$build/$1.interface
  nm --dynamic --defined-only --format=just-symbols $build/"$library/lib$library.so" |
    c++filt | LC_ALL=C sort --unique >"$build/$library.symbols.txt"
  {
    echo "#include <$library/$library.h>"
    echo 'namespace varno {'
    printf 'void interface(const %s&) {}\n' "${@:2}"
    echo '}'
  } >"$made.cpp"
  g++ -std=c++20 -g -ffile-prefix-map="$PWD"=. -fPIC -shared -I. "$made.cpp" \
    -Wl,--whole-archive $build/"$library/lib$library.a" -Wl,--no-whole-archive \
    -Wl,--version-script=cmake/VarnoNetwork.map -o "$made.so"
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
    --exported-interfaces-only --headers-dir "$library" --drop-private-types \
    --suppressions abi/internals.suppr --out-file "$build/$library.abi" "$made.so"
}

mapfile -t packets < <(basename --multiple --suffix=.h \
  VarnoNetwork/Network/{Command,Event,Notification}/*Packet.h)
describe VarnoNetwork "${packets[@]}"
describe VarnoTraffic TrafficRecord
describe VarnoLink ManualClock
describe VarnoDisplay TrafficHistory

if [[ ${1:-} == --update ]]; then
  for library in "${libraries[@]}"; do
    cp "$build/$library.symbols.txt" abi/
    xz --stdout "$build/$library.abi" >"abi/$library.abi.xz"
  done
  exit
fi

status=0
for library in "${libraries[@]}"; do
  diff --unified=0 "abi/$library.symbols.txt" "$build/$library.symbols.txt" || status=1
  xz --decompress --stdout "abi/$library.abi.xz" >$build/baseline.abi
  abidiff $build/baseline.abi "$build/$library.abi" || status=1
done
if ((status)); then
  echo "check-abi.sh: the binary interface changed. If that is intended: scripts/check-abi.sh --update" >&2
fi
exit $status
