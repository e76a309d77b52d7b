#!/usr/bin/env bash
# Checks the program's sources with clang-tidy and the rules in .clang-tidy, without building the
# program. The rules are kept with the version of Debian 12, 14; later ones have checks of their own.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# How the sources are compiled, and the one header that is generated.
scripts/build.sh fuzz velmora_i18n
exec run-clang-tidy -quiet -p build-fuzz "^$PWD/src/"
