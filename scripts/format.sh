#!/usr/bin/env bash
# Formats the C++ files, those that git does not know yet included, or with --check names those that
# are not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ ${1:-} != '' && $1 != --check ]]; then
  echo "usage: scripts/format.sh [--check]" >&2
  exit 2
fi

scripts/dependencies.sh format >&2
status=0
while IFS= read -r -d '' file; do
  [[ -e $file ]] || continue # git still knows what was deleted
  if [[ ${1:-} != --check ]]; then
    clang-format -i "$file"
  elif ! clang-format --dry-run --Werror "$file" 2>/dev/null; then
    echo "$file is not formatted; scripts/format.sh does it"
    status=1
  fi
done < <(git ls-files -z --cached --others --exclude-standard -- '*.h' '*.cpp')
exit $status
