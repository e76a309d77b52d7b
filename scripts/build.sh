#!/usr/bin/env bash
# Configures a preset where that is due and builds it: scripts/build.sh PRESET [TARGET...]
#
# Everything goes to stderr.
set -euo pipefail
exec >&2
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if (($# < 1)); then
  echo "Usage: scripts/build.sh PRESET [TARGET...]"
  exit 2
fi
preset=$1
shift
directory=build-$preset
if [[ $preset == release ]]; then
  directory=build
fi

if [[ ! -e $directory/build.ninja || CMakePresets.json -nt $directory/build.ninja ]]; then
  cmake --preset "$preset"
fi

targets=()
if (($# > 0)); then
  targets=(--target "$@")
fi
cmake --build "$directory" "${targets[@]}"
