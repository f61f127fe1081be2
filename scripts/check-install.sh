#!/usr/bin/env bash
# Builds and runs the applications of tests/consumer, one for each library, against the libraries in
# each way of getting them: installed, moved, by pkg-config, with the sources, and from the Debian
# packages, each with both kinds of library. The packages are installed and removed again, which
# takes root.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
packages=()
apt=(env DEBIAN_FRONTEND=noninteractive apt-get --quiet --quiet --yes)
# The libraries around VarnoNetwork, as components.
components=(Traffic Link Display)
cleanUp() {
  rm -rf "$work"
  ((${#packages[@]} == 0)) || "${apt[@]}" purge "${packages[@]}" >/dev/null 2>&1
}
trap cleanUp EXIT

fail() {
  echo "check-install.sh: $*" >&2
  exit 1
}

run() { # WAY KIND PROGRAM...: the programs have to work, with the intended kind of library
  local kind program
  for program in "${@:3}"; do
    kind=static
    if [[ $(ldd "$program" 2>&1) == *libVarno*.so* ]]; then
      kind=shared
    fi
    [[ $kind == "$2" ]] || fail "$1: the program has the $kind library instead of the $2 one"
    "$program" >"$work/log" 2>&1 || fail "$1, $2: ${program##*/}: $(cat "$work/log")"
  done
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
  local programs=("$work"/build/consumer "$work"/build/consumer_*)
  [[ -e ${programs[-1]} ]] || unset 'programs[-1]'
  run "$1" "$2" "${programs[@]}"
}

runCommand() { # WAY PROGRAM: the command has to work where it was installed
  [[ $("$2" --version) == "varno "* ]] || fail "$1: varno does not tell its version"
  [[ $("$2" encode KeepAlive) == "02 7D 7F 0F 00 03" ]] || fail "$1: varno does not encode"
  local program
  program=$(command -v "$2")
  [[ -s ${program%/bin/varno}/share/varno/scenarios/garbage.varno ]] || fail "$1: no scenarios"
  echo "ok: $1, varno"
}

consumeInstalled() { # WAY CMAKE-ARGUMENT...
  local kind list
  for kind in static shared; do
    list=$(printf '%s;' "${components[@]}" $kind)
    consume "$1" $kind -DWANTED_VERSION=1 -DCOMPONENTS="${list%;}" "${@:2}"
  done
}

scripts/build.sh package
cmake --install build/package --prefix "$work/first" >"$work/log"
consumeInstalled "find_package" -DCMAKE_PREFIX_PATH="$work/first"
consume "find_package, BUILD_SHARED_LIBS off" static -DCMAKE_PREFIX_PATH="$work/first" \
  -DCOMPONENTS=Traffic
consume "find_package, BUILD_SHARED_LIBS on" shared -DCMAKE_PREFIX_PATH="$work/first" \
  -DCOMPONENTS=Traffic -DBUILD_SHARED_LIBS=ON
for version in 0 2; do
  if configure -DCMAKE_PREFIX_PATH="$work/first" -DWANTED_VERSION=$version; then
    fail "find_package: version $version was accepted"
  fi
done
if configure -DCMAKE_PREFIX_PATH="$work/first" -DCOMPONENTS="Traffic;Horn" ||
  ! grep --quiet 'component Horn is not installed' "$work/log"; then
  fail "find_package: a component that is missing is not named: $(cat "$work/log")"
fi
# A program that wants the core alone gets that, and nothing that it would have to have installed.
cmake --install build/package --prefix "$work/core" --component runtime >"$work/log"
cmake --install build/package --prefix "$work/core" --component development >"$work/log"
configure -DCMAKE_PREFIX_PATH="$work/core" || fail "the core alone: $(cat "$work/log")"
if [[ -n $(find "$work/core" -name '*VarnoTraffic*') ]]; then
  fail "the core brings VarnoTraffic along"
fi

mkdir "$work/other"
mv "$work/first" "$work/other/moved"
if grep -rI --files-with-matches -e "$work" -e "$PWD" "$work/other/moved"; then
  fail "these installed files name a directory of the build"
fi
runCommand "moved" "$work/other/moved/bin/varno"
consumeInstalled "moved" -DCMAKE_PREFIX_PATH="$work/other/moved"
cmp LICENSE "$work/other/moved/share/licenses/VarnoNetwork/LICENSE"

pkgconfig=$(find "$work/other/moved" -name VarnoNetwork.pc)
library=$(dirname "$(dirname "$pkgconfig")")
grep --quiet '^License: MIT$' "$pkgconfig" || fail "$pkgconfig does not name the license"
export PKG_CONFIG_PATH=${pkgconfig%/*}
consumeByPkgConfig() { # KIND MODULE SOURCE
  local flags
  if [[ $1 == static ]]; then
    read -ra flags < <(pkg-config --static --cflags --libs "$2")
    flags+=(-static)
  else
    read -ra flags < <(pkg-config --cflags --libs "$2")
    flags+=("-Wl,-rpath,$library")
  fi
  c++ -std=c++20 "tests/consumer/$3" -o "$work/consumer" "${flags[@]}"
  run "pkg-config $2" "$1" "$work/consumer"
}
for kind in static shared; do
  consumeByPkgConfig $kind VarnoNetwork main.cpp
  for component in "${components[@]}"; do
    consumeByPkgConfig $kind "Varno$component" "${component,,}.cpp"
  done
done

read -ra flags < <(pkg-config --cflags VarnoNetwork)
refuse() { # COMPILER OPTION LINE: the first error is that line, and only the end of it all follows
  if "$1" -std=c++20 "$2" -fsyntax-only "${flags[@]}" tests/consumer/main.cpp 2>"$work/log"; then
    fail "$1 $2 was accepted"
  fi
  mapfile -t errors < <(grep 'error: ' "$work/log")
  if [[ ${#errors[@]} != 2 || ${errors[0]} != *"$3"* || ${errors[1]} != *'fatal error: '* ]]; then
    fail "$1 $2 is not refused with '$3': $(cat "$work/log")"
  fi
  echo "ok: refused, $1 $2"
}
for compiler in g++ clang++; do
  refuse $compiler -std=c++17 "VarnoNetwork needs C++20: compile with -std=c++20 or later"
  refuse $compiler -fno-rtti "VarnoNetwork needs RTTI: compile without -fno-rtti"
  refuse $compiler -fno-exceptions "VarnoNetwork needs exceptions: compile without -fno-exceptions"
done

# In batches of files, which is faster.
for tools in OFF ON; do
  sources=(-DVARNO_SOURCE_DIR="$PWD" -DVARNO_BUILD_TOOLS="$tools" -DCMAKE_UNITY_BUILD=ON)
  consume "FetchContent, tools $tools" static "${sources[@]}"
  consume "FetchContent, tools $tools" shared "${sources[@]}" -DBUILD_SHARED_LIBS=ON
done

if ((EUID != 0)); then
  echo "Without root the Debian packages are left out"
  exit
fi
rm -f build/package/*.deb
cpack --preset package >"$work/log" 2>&1 || fail "$(cat "$work/log")"
mapfile -t packages < <(for package in build/package/*.deb; do basename "${package%%_*}"; done)
for package in "${packages[@]}"; do
  dpkg-deb --fsys-tarfile build/package/"${package}"_*.deb |
    tar --extract --to-stdout "./usr/share/doc/$package/copyright" >"$work/copyright"
  diff <(sed '1,/^License: Expat$/d; s/^ //; s/^\.$//' "$work/copyright") <(tail -n +5 LICENSE) ||
    fail "the copyright file of $package differs from the license"
done
"${apt[@]}" install ./build/package/*.deb >"$work/log" 2>&1 || fail "$(cat "$work/log")"
consumeInstalled "Debian packages"
runCommand "Debian packages" varno
"${apt[@]}" purge "${packages[@]}" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
packages=()
left=$(find /usr -name '*Varno*' -o -path '*/bin/varno')
[[ -z $left ]] || fail "removing the packages left $left"
