#!/usr/bin/env bash
# Checks what the documentation says, from the pages themselves:
# - Relative links lead to files and headings that exist.
# - The ```cpp blocks of README and manual compile and run. Those of one page, in their order, are
#   one program; a page without `int main` gets an empty one. Where the page has ```output blocks,
#   they are what the program prints.
# - The ```cmake blocks configure a project in which third_party/VarnoNetwork is this tree. A block
#   without `project` gets one, and an executable of the name that it links where it adds no target.
# - The commands of the ```console blocks, behind "$ ", print what stands below them, messages
#   included. `varno` is this tree's; the page's ```text blocks that name a file are in the folder.
# - The API reference is made from the public headers, without a warning, in build/api/html.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check-docs.sh: $*" >&2
  exit 1
}

quietly() { # COMMAND...: shows what it says only where it fails
  "$@" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
}

prose() { # PAGE: without its code
  awk '/^ *```/ { inCode = !inCode; next } !inCode { gsub(/`[^`]*`/, "code"); print }' "$1"
}

anchors() { # PAGE: a line for each heading
  awk '/^ *```/ { inCode = !inCode } !inCode && /^#+ / { sub(/^#+ /, ""); print tolower($0) }' "$1" |
    sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'
}

checkLinks() { # PAGE
  local target file
  while read -r target; do
    [[ $target != *://* ]] || continue
    file=$(dirname "$1")/${target%%#*}
    [[ $target != '#'* ]] || file=$1
    [[ -e $file ]] || fail "$1 links to $target, which does not exist"
    [[ $target != *'#'* ]] || anchors "$file" | grep -xF -e "${target#*#}" >/dev/null ||
      fail "$1 links to $target, but there is no such heading"
  done < <(prose "$1" | grep -oE '\]\([^) ]+\)' | sed -E 's/^\]\(//; s/\)$//')
}

checkLanguages() { # PAGE: a block that is called otherwise would escape the checks
  local other
  other=$(awk '/^ *```/ && (inCode = !inCode)' "$1" | grep -vxE '```(cpp|output|cmake|sh|console|text( [a-z.-]+)?)' || true)
  [[ -z $other ]] || fail "$1 has a block that begins $other"
}

blocks() { # LANGUAGE PAGE: with #line, so that errors name the page's lines
  awk -v language="$1" -v page="$2" '
    /^```/ && inBlock { inBlock = 0; next }
    $0 == "```" language { inBlock = 1; if (language == "cpp") print "#line", NR + 1, "\"" page "\"" }
    inBlock && $0 != "```" language' "$2"
}

checkProgram() { # PAGE
  local program=$work/${1//\//-} libraries=() library
  blocks cpp "$1" >"$program.cpp"
  [[ -s $program.cpp ]] || return 0
  grep -qE '^(int main\(|#include <gtest/)' "$program.cpp" || echo 'int main() {}' >>"$program.cpp"
  for library in Display Link Traffic Network; do # users before those they use
    libraries+=("$(find "$work/prefix" -name "libVarno$library.a")")
  done
  if grep -q '^#include <gtest/' "$program.cpp"; then
    libraries+=(-lgtest_main -lgtest) # it has the program's main
  fi
  quietly "${CXX:-c++}" -std=c++20 -Wall -Wextra -Wpedantic -Werror -pthread \
    -I "$work/prefix/include" -I . "$program.cpp" \
    "${libraries[@]}" -o "$program"
  timeout 20 stdbuf -oL "$program" </dev/null >"$program.printed" 2>&1 ||
    fail "$1: the program failed with $?: $(cat "$program.printed")"
  blocks output "$1" >"$program.output"
  [[ ! -s $program.output ]] || diff "$program.output" "$program.printed" ||
    fail "$1: the program prints (>) something else than the page shows (<)"
  echo "ok: $1, program"
}

checkCommands() { # PAGE
  local folder=$work/commands line
  blocks console "$1" >"$work/console"
  [[ -s $work/console ]] || return 0
  rm -rf "$folder"
  mkdir "$folder"
  awk -v folder="$folder" '
    /^```/ && file { file = ""; next }
    /^```text ./ { file = folder "/" $2; next }
    file { print >file }' "$1"
  (
    cd "$folder"
    export PATH=$work/prefix/bin:$PATH LC_ALL=C.UTF-8
    while IFS= read -r line; do
      [[ $line == '$ '* ]] || continue
      printf '%s\n' "$line"
      timeout 20 bash -c "${line:2}" </dev/null || (($? != 124)) || echo "It does not end."
    done <"$work/console"
  ) >"$work/printed" 2>&1
  diff "$work/console" "$work/printed" ||
    fail "$1: the commands print (>) something else than the page shows (<)"
  echo "ok: $1, commands"
}

checkProject() { # PAGE NUMBER
  local project=$work/project
  rm -rf "$project"
  mkdir -p "$project/third_party"
  ln -s "$PWD" "$project/third_party/VarnoNetwork"
  touch "$project/main.cpp"
  awk -v number="$2" '
    /^```/ && inBlock { inBlock = 0; next }
    $0 == "```cmake" { inBlock = 1; ++seen; next }
    inBlock && seen == number' "$1" >"$project/block.cmake"
  if ! grep -q '^project(' "$project/block.cmake"; then
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(Application LANGUAGES CXX)'
    grep -qE '^add_(executable|library)\(' "$project/block.cmake" ||
      sed -nE 's/^target_link_libraries\((\S+) .*/add_executable(\1 main.cpp)/p' "$project/block.cmake"
  fi >"$project/CMakeLists.txt"
  cat "$project/block.cmake" >>"$project/CMakeLists.txt"
  quietly cmake -G Ninja -S "$project" -B "$project/build" -DCMAKE_PREFIX_PATH="$work/prefix" \
    -DFETCHCONTENT_SOURCE_DIR_VARNONETWORK="$PWD"
  echo "ok: $1, cmake block $2"
}

mapfile -t pages < <(git ls-files --cached --others --exclude-standard -- '*.md')
for page in "${pages[@]}"; do
  checkLinks "$page"
  checkLanguages "$page"
done
echo "ok: the links of ${#pages[@]} pages"

scripts/build.sh package
quietly cmake --install build/package --prefix "$work/prefix"

rm -rf build/api
export VARNO_HEADERS=$work/prefix/include
VARNO_VERSION=$(awk '/^#define VARNO_NETWORK_VERSION_/ { v = v (v ? "." : "") $3 } END { print v }' \
  VarnoNetwork/Version.h)
export VARNO_VERSION
# An accessor whose name says all needs no comment; a class without one is a mistake.
{
  cat docs/Doxyfile
  printf '%s\n' 'EXTRACT_ALL = NO' 'WARN_AS_ERROR = NO' 'GENERATE_HTML = NO'
} | doxygen - >"$work/log" 2>&1
! grep 'Compound .* is not documented' "$work/log" || fail "these classes have no comment"
quietly doxygen docs/Doxyfile
echo "ok: API reference of $VARNO_VERSION in build/api/html"

for page in README.md SECURITY.md CONTRIBUTING.md docs/*.md; do
  checkProgram "$page"
  checkCommands "$page"
  count=$(grep -cx '```cmake' "$page" || true)
  for ((number = 1; number <= count; ++number)); do
    checkProject "$page" "$number"
  done
done
