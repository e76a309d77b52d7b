#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the tests: ./test.sh [CTEST ARGUMENT...]
#
#   ./test.sh                 all tests
#   ./test.sh -L unit         those that need no sound server
#   ./test.sh -R follows -V   those with "follows" in their names, with their output
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

scripts/install-deps.sh --tests
scripts/build.sh release
# Three at a time on two cores: most of them wait. Every server test has a sound server of its own.
exec ctest --preset release --parallel 3 --no-tests=error "$@"
