#!/usr/bin/env bash
# Installs the Debian packages that the named groups need, if any is missing.
#   scripts/dependencies.sh GROUP...
set -euo pipefail

declare -A groups=(
  [build]="cmake ninja-build g++ nlohmann-json3-dev libasio-dev libcpp-httplib-dev libcli11-dev libedit-dev"
  [test]="googletest"
  [sanitizers]="clang libclang-rt-dev llvm"
  [libcxx]="clang libc++-dev libc++abi-dev"
  [format]="clang-format git"
  [scripts]="shellcheck"
  [tidy]="clang-tidy"
  [cppcheck]="cppcheck"
  [bench]="libbenchmark-dev clang python3"
  [instructions]="valgrind"
  [package]="dpkg-dev file"
  [install]="clang pkg-config"
  [captures]="tshark time"
  [link]="socat"
  [dissector]="tshark python3 lua5.2 lua5.4"
  [page]="chromium fonts-dejavu-core nodejs npm"
  [docs]="doxygen git libgtest-dev"
  [abi]="abigail-tools binutils xz-utils"
  [s390x]="g++-s390x-linux-gnu qemu-user"
  [armhf]="g++-arm-linux-gnueabihf qemu-user"
  [arm64]="g++-aarch64-linux-gnu qemu-user"
)

wanted=()
for group in "$@"; do
  if [[ -z ${groups[$group]:-} ]]; then
    echo "dependencies.sh: no group '$group'; there are: ${!groups[*]}" >&2
    exit 2
  fi
  read -ra packages <<<"${groups[$group]}"
  wanted+=("${packages[@]}")
done

missing=()
for package in "${wanted[@]}"; do
  state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  # A Node.js that is not Debian's brings its npm along, and excludes Debian's.
  if [[ $package == npm ]] && command -v npm >/dev/null; then
    continue
  fi
  if [[ $state != installed && " ${missing[*]} " != *" $package "* ]]; then
    missing+=("$package")
  fi
done
((${#missing[@]})) || exit 0

asRoot=()
if ((EUID != 0)); then
  asRoot=(sudo --non-interactive)
fi
if ! command -v apt-get >/dev/null || ! "${asRoot[@]}" true 2>/dev/null; then
  {
    echo "These Debian packages are missing: ${missing[*]}"
    echo "Install them, then start again:"
    echo "  sudo apt-get install ${missing[*]}"
  } >&2
  exit 1
fi

echo "Installing ${missing[*]}"
apt() {
  "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get --quiet --quiet --option DPkg::Lock::Timeout=600 --option Dpkg::Use-Pty=0 "$@" </dev/null
}
apt update
apt install --yes --no-install-recommends "${missing[@]}" >/dev/null
