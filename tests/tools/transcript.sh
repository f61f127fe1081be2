#!/usr/bin/env bash
# Runs the commands of a transcript and compares what they say with what it has:
#   $ COMMAND      for bash, in an empty directory that the commands share
#   its standard output, an empty line as ".", and behind it
#   ! a line of its standard error
#   ? its exit status, unless it is 0
# Lines before the first command, and those that begin with "#", are remarks.
#   transcript.sh DIRECTORY-OF-THE-PROGRAM TRANSCRIPT [--update]
set -euo pipefail

PATH=$(realpath "$1"):$PATH
transcript=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/run"
cd "$work/run"
export LC_ALL=C.UTF-8
unset NO_COLOR

while IFS= read -r line || [[ -n $line ]]; do
  if [[ $line == '$ '* ]]; then
    printf '%s\n' "$line"
    status=0
    timeout 60 bash -c "${line:2}" >"$work/out" 2>"$work/err" </dev/null || status=$?
    sed 's/^$/./' "$work/out"
    sed 's/^/! /' "$work/err"
    ((status == 0)) || echo "? $status"
    isSaid=1
  elif [[ -z $line || $line == '#'* || -z ${isSaid:-} ]]; then
    printf '%s\n' "$line"
  fi
done <"$transcript" >"$work/actual"

if [[ ${3:-} == --update ]]; then
  cp "$work/actual" "$transcript"
elif ! diff --unified=2 --label expected --label actual "$transcript" "$work/actual"; then
  echo "$transcript: what the commands say differs" >&2
  exit 1
fi
