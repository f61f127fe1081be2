#!/usr/bin/env bash
# Has cppcheck look at all code but the tests, whose macros it cannot read. .cppcheck lists what it
# reports there that is no fault.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh cppcheck >&2
cppcheck --std=c++20 --enable=warning,style,performance,portability --suppressions-list=.cppcheck \
  --quiet --error-exitcode=1 --template='{file}:{line}: {message} [{id}]' -j "$(nproc)" -I . \
  VarnoNetwork VarnoTraffic bench docs examples fuzz tools
