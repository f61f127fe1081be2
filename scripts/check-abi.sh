#!/usr/bin/env bash
# Compares the shared library's binary interface with the one in abi/: what it exports
# (symbols.txt), and the layout of the types behind that (VarnoNetwork.abi.xz, for abidiff).
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
scripts/build.sh abi
nm --dynamic --defined-only --format=just-symbols $build/VarnoNetwork/libVarnoNetwork.so |
  c++filt | LC_ALL=C sort --unique >$build/symbols.txt

# abidiff compares the types that functions lead to. The packet types are in headers alone: the
# same library with a function for each shows them.
types=(VarnoNetwork/Network/{Command,Event,Notification}/*Packet.h)
{
  echo '#include <VarnoNetwork/VarnoNetwork.h>'
  echo 'namespace varno {'
  basename --multiple --suffix=.h "${types[@]}" | sed 's,.*,void interface(const &\&) {},'
  echo '}'
} >$build/interface.cpp
g++ -std=c++20 -g -ffile-prefix-map="$PWD"=. -fPIC -shared -I. $build/interface.cpp \
  -Wl,--whole-archive $build/VarnoNetwork/libVarnoNetwork.a -Wl,--no-whole-archive \
  -Wl,--version-script=cmake/VarnoNetwork.map -o $build/interface.so
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
  --exported-interfaces-only --headers-dir VarnoNetwork --drop-private-types \
  --suppressions abi/internals.suppr --out-file $build/VarnoNetwork.abi $build/interface.so

if [[ ${1:-} == --update ]]; then
  cp $build/symbols.txt abi/symbols.txt
  xz --stdout $build/VarnoNetwork.abi >abi/VarnoNetwork.abi.xz
  exit
fi

status=0
diff --unified=0 abi/symbols.txt $build/symbols.txt || status=1
xz --decompress --stdout abi/VarnoNetwork.abi.xz >$build/baseline.abi
abidiff $build/baseline.abi $build/VarnoNetwork.abi || status=1
if ((status)); then
  echo "check-abi.sh: the binary interface changed. If that is meant: scripts/check-abi.sh --update" >&2
fi
exit $status
