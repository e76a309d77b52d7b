#!/usr/bin/env bash
# Shows that Velmora does what it is told, on any machine: no desktop, no sound card, no sound
# server of the person's is needed or touched.
#
# A private sound server with one silent output device plays pink noise. What arrives at that device
# is recorded twice, first without and then with Velmora, and compared band by band with the preset.
# Velmora's window is on a virtual screen; a picture of it is left in build/demo. At the end the
# program has to leave the server as it found it.
#
#   scripts/demo.sh [PROGRAM]    PROGRAM: build/Velmora where none is given
#
# Exit status 0 when everything was as asked. Needs what scripts/install-deps.sh --tests installs.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
velmora=${1:-$root/build/Velmora}
preset=rock # whose gains demo_sound.py knows
shot=$root/build/demo/velmora.png

# shellcheck source=scripts/private_session.sh
source "$root/scripts/private_session.sh"

is_as_large() {
  (($(stat -c %s "$1") >= $2))
}

# Records what reaches "speakers": record FILE SECONDS
record() {
  local recorder bytes
  bytes=$("$root/scripts/demo_sound.py" length "$2")
  : >"$1" # there to be looked at, however late the recorder starts
  parec "${raw_format[@]}" --latency-msec=50 --device=speakers.monitor --client-name=Recorder \
    >"$1" 2>"$work/recorder.log" &
  recorder=$!
  running+=("$recorder")
  wait_until "the recording" 30 is_as_large "$1" "$bytes"
  end_process "$recorder" 5 || true
  forget_last
}

start_velmora() {
  "$velmora" --preset "$preset" >"$work/velmora.log" 2>&1 &
  velmora_pid=$!
  running+=("$velmora_pid")
  wait_until "the start of the equalizer" 20 routed
  wait_until "the first picture in the window" 20 has_window
}

stop_velmora() {
  end_process "$velmora_pid" 20 || fail "the program did not end when it was asked to"
  forget_last
  wait_until "the return of the default device and the removal of the virtual sink" 10 untouched
}

need_programs
[[ -x $velmora ]] || fail "there is no $velmora; ./run.sh builds it"
velmora=$(realpath "$velmora")

say "$("$velmora" --version): preset \"$preset\" on pink noise, on a private sound server and screen"
enter_private_session
start_server
start_screen 1280x800
start_player noise
say "Recording what reaches the output device without Velmora ..."
record "$work/before.raw" 5
start_velmora
say "Recording what reaches it with Velmora ..."
record "$work/after.raw" 7
picture "$shot"
stop_velmora
say "Velmora has ended; default device, streams and devices are as they were before."
say
"$root/scripts/demo_sound.py" compare "$work/before.raw" "$work/after.raw"
say "The window: $shot"
