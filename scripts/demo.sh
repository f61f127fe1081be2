#!/usr/bin/env bash
# Builds the demo's programs, after installing what that takes, and starts it with these arguments.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/dependencies.sh build test >&2
scripts/build.sh release varno phone >&2
exec examples/demo.sh build/release/tools/varno/varno build/release/examples/phone "$@"
