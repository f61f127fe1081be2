#!/usr/bin/env bash
# Builds the examples, after installing what that takes, and starts the demo with these arguments.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh build test >&2
scripts/build.sh release examples/all >&2
exec build/release/examples/demo "$@"
