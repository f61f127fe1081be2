#!/usr/bin/env bash
# A phone application and a simulated display, two programs that talk over a Unix socket. The display
# plays demo.varno, which disturbs the line. Ends with 0 where both had what they expected.
#   demo.sh VARNO PHONE [OPTION...]    the programs; the options go to `varno display`
set -euo pipefail

varno=$1
phone=$2
shift 2
scenario=$(dirname "${BASH_SOURCE[0]}")/demo.varno

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
address=unix-listen://$work/display

# A line of each at a time, with the name in front.
named() { # NAME
  sed --unbuffered "s/^/$1 | /"
}

timeout 20 "$varno" display "$address" --scenario "$scenario" "$@" 2>&1 | named display &
display=$!
code=0
timeout 20 "$phone" "unix://$work/display" || code=$?
wait "$display" || code=$?
if ((code == 0)); then
  echo 'demo    | both ended well'
else
  echo "demo    | failed with $code"
fi
exit "$code"
