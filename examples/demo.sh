#!/usr/bin/env bash
# A phone application and a simulated display, two programs that talk over a Unix socket. The display
# plays demo.varno, which disturbs the line. Ends with 0 where both had what they expected.
#   demo.sh VARNO PHONE [--page [--end]] [OPTION...]
# VARNO and PHONE are the programs; the options go to `varno display`. With --page, the story can be
# seen in a browser: the phone comes when Enter is pressed, where there is a terminal for that, and
# the page stays open until Ctrl-C, or with --end no longer than the story.
set -euo pipefail

varno=$1
phone=$2
shift 2
scenario=$(dirname "${BASH_SOURCE[0]}")/demo.varno

options=()
has_page=false
stays=true
for option in "$@"; do
  case $option in
  --page) has_page=true options+=(--page) ;;
  --end) stays=false ;;
  *) options+=("$option") ;;
  esac
done
$has_page || stays=false

work=$(mktemp -d)
display=
trap 'rm -rf "$work"' EXIT
# Ctrl-C reaches the display, too, which ends by it and has more to say.
trap : INT
trap '[[ -z $display ]] || kill "$display" 2>/dev/null || true' TERM

# A line of each at a time, with the name in front.
named() { # NAME
  trap '' INT
  exec sed --unbuffered "s/^/$1 | /"
}
tell() { # TEXT
  echo "demo    | $1"
}

limit=(timeout --foreground 20)
if $stays; then
  limit=()
  options+=(--stay)
elif $has_page && [[ -t 0 ]]; then
  limit=()
fi
mkfifo "$work/lines"
named display <"$work/lines" &
lines=$!
"${limit[@]}" "$varno" display "unix-listen://$work/display" --scenario "$scenario" \
  "${options[@]}" >"$work/lines" 2>&1 &
display=$!

if $has_page && [[ -t 0 ]]; then
  until [[ -S $work/display ]] || ! kill -0 "$display" 2>/dev/null; do sleep 0.1; done
  tell 'open the page, then press Enter, and the phone comes'
  trap 'wait; exit 130' INT # read would go on
  read -r || true
  trap : INT
fi
code=0
if kill -0 "$display" 2>/dev/null; then
  timeout --foreground 20 "$phone" "unix://$work/display" || code=$?
fi
if $stays && ((code == 0)); then
  tell 'the story is told; the page stays until Ctrl-C'
fi
# A signal ends the waiting, but not yet the display.
while kill -0 "$display" 2>/dev/null; do wait "$display" || true; done
wait "$display" || code=$?
wait "$lines"
if ((code == 0)); then
  tell 'both ended well'
else
  tell "failed with $code"
fi
exit "$code"
