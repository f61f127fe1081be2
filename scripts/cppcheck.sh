#!/usr/bin/env bash
# Runs cppcheck on all code but the tests, whose macros it cannot read. .cppcheck lists its false
# reports.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh cppcheck >&2
cppcheck --std=c++20 --enable=warning,style,performance,portability --suppressions-list=.cppcheck \
  --quiet --error-exitcode=1 --template='{file}:{line}: {message} [{id}]' -j "$(nproc)" -I . \
  VarnoNetwork VarnoTraffic VarnoLink VarnoDisplay bench docs examples fuzz tools
