#!/usr/bin/env bash
# Builds and runs one application, tests/consumer, against the library in each way of getting it:
# installed, moved, by pkg-config, with the library's sources, and from the Debian packages, each
# with both kinds of library. The packages are installed and removed again, which takes root.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
packages=()
apt=(env DEBIAN_FRONTEND=noninteractive apt-get --quiet --quiet --yes)
cleanUp() {
  rm -rf "$work"
  ((${#packages[@]} == 0)) || "${apt[@]}" purge "${packages[@]}" >/dev/null 2>&1
}
trap cleanUp EXIT

fail() {
  echo "check-install.sh: $*" >&2
  exit 1
}

run() { # WAY KIND PROGRAM: the program has to work, with the kind of library that was meant
  local kind=static
  if [[ $(ldd "$3" 2>&1) == *libVarnoNetwork.so* ]]; then
    kind=shared
  fi
  [[ $kind == "$2" ]] || fail "$1: the program has the $kind library instead of the $2 one"
  "$3" >"$work/log" || fail "$1, $2: $(cat "$work/log")"
  echo "ok: $1, $2"
}

configure() { # CMAKE-ARGUMENT...
  rm -rf "$work/build"
  cmake -G Ninja -S tests/consumer -B "$work/build" "$@" >"$work/log" 2>&1
}

consume() { # WAY KIND CMAKE-ARGUMENT...
  if ! configure "${@:3}" || ! cmake --build "$work/build" >"$work/log" 2>&1; then
    fail "$1, $2: $(cat "$work/log")"
  fi
  run "$1" "$2" "$work/build/consumer"
}

consumeInstalled() { # WAY CMAKE-ARGUMENT...
  local kind
  for kind in static shared; do
    consume "$1" $kind -DWANTED_VERSION=1 -DCOMPONENT=$kind "${@:2}"
  done
}

scripts/build.sh package
cmake --install build/package --prefix "$work/first" >"$work/log"
consumeInstalled "find_package" -DCMAKE_PREFIX_PATH="$work/first"
consume "find_package, BUILD_SHARED_LIBS off" static -DCMAKE_PREFIX_PATH="$work/first"
consume "find_package, BUILD_SHARED_LIBS on" shared -DCMAKE_PREFIX_PATH="$work/first" \
  -DBUILD_SHARED_LIBS=ON
for version in 0 2; do
  if configure -DCMAKE_PREFIX_PATH="$work/first" -DWANTED_VERSION=$version; then
    fail "find_package: version $version was accepted"
  fi
done

mkdir "$work/other"
mv "$work/first" "$work/other/moved"
if grep -rI --files-with-matches -e "$work" -e "$PWD" "$work/other/moved"; then
  fail "these installed files name a directory of the build"
fi
consumeInstalled "moved" -DCMAKE_PREFIX_PATH="$work/other/moved"
cmp LICENSE "$work/other/moved/share/licenses/VarnoNetwork/LICENSE"

pkgconfig=$(find "$work/other/moved" -name VarnoNetwork.pc)
library=$(dirname "$(dirname "$pkgconfig")")
grep --quiet '^License: MIT$' "$pkgconfig" || fail "$pkgconfig does not name the license"
export PKG_CONFIG_PATH=${pkgconfig%/*}
for kind in static shared; do
  if [[ $kind == static ]]; then
    read -ra flags < <(pkg-config --static --cflags --libs VarnoNetwork)
    flags+=(-static)
  else
    read -ra flags < <(pkg-config --cflags --libs VarnoNetwork)
    flags+=("-Wl,-rpath,$library")
  fi
  c++ -std=c++20 tests/consumer/main.cpp -o "$work/consumer" "${flags[@]}"
  run "pkg-config" $kind "$work/consumer"
done

consume "FetchContent" static -DVARNO_SOURCE_DIR="$PWD"
consume "FetchContent" shared -DVARNO_SOURCE_DIR="$PWD" -DBUILD_SHARED_LIBS=ON

if ((EUID != 0)); then
  echo "Without root the Debian packages are left out"
  exit
fi
rm -f build/package/*.deb
cpack --preset package >"$work/log" 2>&1 || fail "$(cat "$work/log")"
packages=(libvarnonetwork-dev libvarnonetwork1)
for package in "${packages[@]}"; do
  dpkg-deb --fsys-tarfile build/package/"${package}"_*.deb |
    tar --extract --to-stdout "./usr/share/doc/$package/copyright" >"$work/copyright"
  diff <(sed '1,/^License: Expat$/d; s/^ //; s/^\.$//' "$work/copyright") <(tail -n +5 LICENSE) ||
    fail "the copyright file of $package differs from the license"
done
"${apt[@]}" install ./build/package/*.deb >"$work/log" 2>&1 || fail "$(cat "$work/log")"
consumeInstalled "Debian packages"
"${apt[@]}" purge "${packages[@]}" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
packages=()
left=$(find /usr -name '*VarnoNetwork*')
[[ -z $left ]] || fail "removing the packages left $left"
