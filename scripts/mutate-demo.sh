#!/usr/bin/env bash
# Tells what the demo's scenario is worth: puts each fault of tests/display/demo-faults.txt into the
# demo's phone and plays the demo with it. The scenario has to find 18 of the 20; that the phone
# itself fails does not count. Ends with 1 where it finds fewer, with 2 where a fault cannot be put
# into the phone any more, or the demo fails without one.
set -euo pipefail
cd "$(dirname "$0")/.."

list=tests/display/demo-faults.txt
listed=20
required=18
root=$PWD
build=$root/build/release

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

giveUp() {
  echo "mutate-demo.sh: $1${2:+$'\n'$2}" >&2
  exit 2
}

faults=()
removed=()
added=()
while IFS= read -r line; do
  case $line in
    '# '*)
      faults+=("${line#'# '}")
      removed+=('')
      added+=('')
      ;;
    -*) removed[-1]+=${line#-}$'\n' ;;
    +*) added[-1]+=${line#+}$'\n' ;;
    ?*) giveUp "$list: found \"$line\", expected #, -, + or an empty line" ;;
  esac
done < <(sed '1,/^$/d' "$list")
((${#faults[@]} == listed)) || giveUp "$list has ${#faults[@]} faults, not $listed"

source=$(<examples/phone.cpp)$'\n'
printf '%s' "$source" >"$work/healthy.cpp"
for at in "${!faults[@]}"; do
  old=$'\n'${removed[at]}
  before=${source%%"$old"*}
  after=${source#*"$old"}
  if [[ -z ${removed[at]} || $before == "$source" || $'\n'$after == *"$old"* ]]; then
    giveUp "not in exactly one place of examples/phone.cpp: ${faults[at]}"
  fi
  printf '%s\n%s%s' "$before" "${added[at]}" "$after" >"$work/$at.cpp"
done

scripts/dependencies.sh build test >&2
scripts/build.sh release varno phone >&2

# The build's own commands are run for another source and another program.
object=examples/CMakeFiles/phone.dir/phone.cpp.o
commands=$(ninja -C "$build" -t commands examples/phone)
compile=$(grep --fixed-strings -- " -o $object -c " <<<"$commands")
link=$(grep --fixed-strings -- ' -o examples/phone ' <<<"$commands")

make() { # NAME    the program $work/NAME
  local itsCompile=${compile//"$object"/"$work/$1.o"} itsLink=${link//"$object"/"$work/$1.o"}
  itsCompile=${itsCompile/"$root/examples/phone.cpp"/"$work/$1.cpp"}
  itsLink=${itsLink/' -o examples/phone '/" -o $work/$1 "}
  (cd "$build" && eval "$itsCompile -iquote '$root/examples' && $itsLink") >"$work/$1.log" 2>&1
}

play() { # NAME
  examples/demo.sh "$build/tools/varno/varno" "$work/$1" --headless >"$work/$1.log" 2>&1
}

make healthy || giveUp 'the phone does not compile:' "$(<"$work/healthy.log")"
play healthy || giveUp 'the demo fails without any fault:' "$(<"$work/healthy.log")"

echo "Building the phone with each of $listed faults"
players=()
for at in "${!faults[@]}"; do
  make "$at" || giveUp "does not compile: ${faults[at]}" "$(<"$work/$at.log")"
  play "$at" & # while the next one is compiled
  players+=($!)
done

found=0
for at in "${!faults[@]}"; do
  status=0
  wait "${players[at]}" || status=$?
  # What the scenario has to say begins with the place in it.
  place=$(sed --quiet 's/^display | [^ ]*\(demo\.varno:[0-9]*\):[0-9]*: .*/\1/p' "$work/$at.log")
  verdict='not found'
  if ((status)) && [[ -n $place ]]; then
    verdict="found by $place"
    found=$((found + 1))
  fi
  printf '%2d  %-50s  %s\n' $((at + 1)) "${faults[at]}" "$verdict"
done
echo "$found of $listed found"
((found >= required))
