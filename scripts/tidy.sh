#!/usr/bin/env bash
# Checks the program's sources with clang-tidy 14 and the rules in .clang-tidy, without building the
# program.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# How the sources are compiled, and the one header that is generated.
scripts/build.sh fuzz velmora_i18n
exec run-clang-tidy-14 -quiet -p build-fuzz "^$PWD/src/"
