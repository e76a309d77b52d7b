#!/usr/bin/env bash
# Photographs Velmora's window in every state, while music plays on a private sound server.
#
#   scripts/screenshots.sh [DIRECTORY]    every state; DIRECTORY: build/screenshots if none is given
#   scripts/screenshots.sh --readme       the pictures of the README, into docs/pictures
#
# Needs build/Velmora (./run.sh builds it), or another program in VELMORA, and what
# scripts/install-deps.sh --tests installs. Looking at the pictures is left to whoever calls this.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
velmora=${VELMORA:-$root/build/Velmora}

# shellcheck source=scripts/private_session.sh
source "$root/scripts/private_session.sh"

# Left to right and right to left, long words, tall letters, and many scripts.
languages=(en de ar he hi bn ja zh_TW th ru el)

# Where to click, as X,Y in the full view at its first size.
power=504,35
presets=682,35
save=819,35
device=168,608
language_row=300,391 # of the settings panel

# A run of the program: begin LANGUAGE SWITCH...
begin() {
  rm -rf "$work/config/Velmora"
  begin_again "$@"
}

# The same with what earlier runs left.
begin_again() {
  local language=$1
  shift
  TRSL_LANG=$language "$velmora" "$@" >"$work/velmora.log" 2>&1 &
  velmora_pid=$!
  running+=("$velmora_pid")
  wait_until "the first picture in the window" 20 has_window
}

end() {
  end_process "$velmora_pid" 20 || fail "the program did not end when it was asked to"
  forget_last
}

click() {
  xdotool mousemove --window "$(window)" "${1%,*}" "${1#*,}" sleep 0.1 \
    mousedown 1 sleep 0.06 mouseup 1 sleep 0.2
  pointer_away
}

# The bars rise, and a menu is painted, within the blink of an eye.
settle() {
  sleep 0.7
}

take() {
  settle
  picture "$out/$1.png"
  say "$1"
}

# One picture of one run: shot NAME LANGUAGE SWITCH...
shot() {
  local name=$1
  shift
  begin "$@"
  wait_until "the start of the equalizer" 20 routed
  take "$name"
  end
}

# The same after a click: clicked NAME PLACE SWITCH...
clicked() {
  local name=$1 place=$2
  shift 2
  begin en "$@"
  wait_until "the start of the equalizer" 20 routed
  settle
  click "$place"
  take "$name"
  end
}

without_server() {
  PULSE_SERVER=unix:$work/nobody begin en "${@:2}"
  take "$1"
  end
}

# The question after a crash: crashed NAME LANGUAGE SWITCH...
crashed() {
  local name=$1
  shift
  begin "$@"
  kill -SEGV "$velmora_pid"
  wait "$velmora_pid" 2>/dev/null || true
  forget_last
  rm -f "$work/config/Velmora/Velmora.log"
  begin_again "$@"
  take "$name"
  end
}

# A moving picture of the spectrum.
moving() {
  local name=$1
  shift
  begin "$@"
  wait_until "the start of the equalizer" 20 routed
  settle
  picture "$out/$name.png" 48
  say "$name"
  end
}

muted() {
  begin en "${@:2}"
  wait_until "the start of the equalizer" 20 routed
  ask set-sink-mute speakers 1
  take "$1"
  ask set-sink-mute speakers 0
  end
}

views_of() {
  local theme=$1
  shot "full-$theme-en" en --theme "$theme" --preset rock
  shot "collapsed-$theme-en" en --theme "$theme" --preset rock --collapsed
  shot "compact-$theme-en" en --theme "$theme" --preset rock --compact
  shot "settings-$theme-en" en --theme "$theme" --settings
  clicked "off-$theme-en" "$power" --theme "$theme" --preset rock
  clicked "presets-$theme-en" "$presets" --theme "$theme" --preset rock
  clicked "save-$theme-en" "$save" --theme "$theme" --preset rock
  clicked "devices-$theme-en" "$device" --theme "$theme"
  clicked "languages-$theme-en" "$language_row" --theme "$theme" --settings
  without_server "no-server-$theme-en" --theme "$theme"
  without_server "no-server-compact-$theme-en" --theme "$theme" --compact
  crashed "crash-$theme-en" en --theme "$theme"
  muted "muted-$theme-en" --theme "$theme"
  muted "muted-compact-$theme-en" --theme "$theme" --compact
}

every_state() {
  local theme language
  for theme in dark light; do
    views_of "$theme"
  done
  shot zoom-1.25-dark-en en --size 1200x800 --preset rock
  shot zoom-1.5-light-en en --size 1440x960 --preset rock --theme light
  shot zoom-2-dark-en en --size 1920x1280 --preset rock
  shot zoom-2-compact-dark-en en --compact --size 840x264 --preset rock
  for language in "${languages[@]:1}"; do
    shot "full-dark-$language" "$language" --preset rock
    shot "compact-dark-$language" "$language" --preset rock --compact
    shot "settings-light-$language" "$language" --theme light --settings
    crashed "crash-dark-$language" "$language"
  done
}

for_readme() {
  shot full-dark en --preset rock
  shot full-light en --preset rock --theme light
  shot compact en --preset rock --compact
  moving spectrum en --preset rock --collapsed --size 720x255
}

photograph=every_state
out=${1:-$root/build/screenshots}
if [[ ${1:-} == --readme ]]; then
  photograph=for_readme
  out=$root/docs/pictures
fi

need_programs
[[ -x $velmora ]] || fail "there is no $velmora; ./run.sh builds it"
velmora=$(realpath "$velmora")
mkdir -p "$out"
out=$(realpath "$out")
enter_private_session
start_server
start_screen 2000x1400
start_player music
"$photograph"
