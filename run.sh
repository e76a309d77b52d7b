#!/usr/bin/env bash
# Installs what is missing, builds Velmora and starts it: ./run.sh [SWITCH...]
#
#   ./run.sh             start; without a desktop or a sound server: show it on a private one
#   ./run.sh --help      every switch goes on to the program
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
velmora=$root/build/Velmora

"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" release Velmora

# The program itself knows best whether it finds a sound server.
can_be_heard() {
  [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]] && timeout 20 "$velmora" --devices >/dev/null 2>&1
}

if (($# == 0)) && ! can_be_heard; then
  echo "No desktop session with a sound server here: showing Velmora on a private sound server." >&2
  exec "$root/scripts/demo.py"
fi
exec "$velmora" "$@"
