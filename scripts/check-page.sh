#!/usr/bin/env bash
# Checks the page that `varno` serves: its JavaScript by eslint, its form by prettier, and what it
# does by a real browser; and tries what it is to keep out.
#   scripts/check-page.sh            everything
#   scripts/check-page.sh --format   only formats the files of the page and of its tests
#   scripts/check-page.sh --pictures only makes the manual's pictures
set -euo pipefail
cd "$(dirname "$0")/.."

work=build/page
case ${1:-} in
'' | --format | --pictures) ;;
*)
  echo "usage: scripts/check-page.sh [--format | --pictures]" >&2
  exit 2
  ;;
esac

# The tests run from a copy, so that what npm installs is not among the sources.
mkdir -p $work
cp tests/page/* tests/page/.npmrc tests/page/.prettierrc.json $work/
if ! cmp --silent $work/package-lock.json $work/node_modules/.installed; then
  npm ci --prefix $work --no-audit --no-fund --ignore-scripts >$work/npm.log 2>&1 || {
    cat $work/npm.log
    exit 1
  }
  cp $work/package-lock.json $work/node_modules/.installed
fi

files=(tools/page/site tests/page/*.mjs tests/page/package.json)
prettier=("$work"/node_modules/.bin/prettier --config tests/page/.prettierrc.json --log-level warn)
if [[ ${1:-} == --format ]]; then
  exec "${prettier[@]}" --write "${files[@]}"
fi
"${prettier[@]}" --check "${files[@]}"
$work/node_modules/.bin/eslint --config $work/eslint.config.mjs --max-warnings 0 tools/page/site tests/page

scripts/build.sh release varno
export VARNO=$PWD/build/release/tools/varno/varno SAMPLE=$PWD/tests/page/sample.txt
if [[ ${1:-} == --pictures ]]; then
  PICTURES=$PWD/docs exec node $work/pictures.mjs
fi
# A browser that no longer answers is a failure.
timeout 900 node --test --test-concurrency=1 --test-reporter=tap $work/*.test.mjs
