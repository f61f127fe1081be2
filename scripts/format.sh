#!/usr/bin/env bash
# Formats the C++ files that git knows, or with --check names those that are not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  '') mode=(-i) ;;
  --check) mode=(--dry-run --Werror) ;;
  *)
    echo "usage: scripts/format.sh [--check]" >&2
    exit 2
    ;;
esac
git ls-files -z -- '*.h' '*.cpp' | xargs -0 --no-run-if-empty clang-format "${mode[@]}"
