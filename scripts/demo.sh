#!/usr/bin/env bash
# Shows that Velmora does what it is told, on any machine: no desktop, no sound card, no sound
# server of the person's is needed or touched.
#
# A private PulseAudio with one silent output device plays pink noise. What arrives at that device
# is recorded twice, first without and then with Velmora, and compared band by band with the preset.
# At the end the program has to leave the server as it found it.
#
#   scripts/demo.sh [PROGRAM]    PROGRAM: build/Velmora where none is given
#
# Exit status 0 when everything was as asked. Needs what scripts/install-deps.sh --tests installs.
set -euo pipefail
scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
velmora=${1:-$scripts/../build/Velmora}
preset=rock # whose gains demo_sound.py knows

work=
velmora_pid=
running=() # processes to be ended, in the order in which they were started

say() {
  printf '%s\n' "$*"
}

fail() {
  say "FAILED: $*" >&2
  exit 1
}

# The process ends within SECONDS of being asked, or is ended.
end_process() {
  local pid=$1 deadline=$((SECONDS + $2))
  kill -TERM "$pid" 2>/dev/null || return 0
  while kill -0 "$pid" 2>/dev/null; do
    if ((SECONDS >= deadline)); then
      kill -KILL "$pid" 2>/dev/null || true
      return 1
    fi
    sleep 0.05
  done
}

show_logs() {
  local log
  for log in "$work"/*.log "$work"/config/Velmora/*.log; do
    [[ -s $log ]] || continue
    say "---- ${log##*/}"
    tail -n 40 "$log"
  done
}

clean_up() {
  local status=$? i
  trap - EXIT
  set +e
  if ((status != 0)) && [[ -n $work ]]; then
    show_logs >&2
  fi
  for ((i = ${#running[@]} - 1; i >= 0; --i)); do
    end_process "${running[i]}" 5
  done
  if [[ -n $work ]]; then
    rm -rf "$work"
  fi
  exit "$status"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# Waits until a command succeeds: wait_until "what" SECONDS COMMAND...
wait_until() {
  local what=$1 deadline=$((SECONDS + $2))
  shift 2
  until "$@"; do
    ((SECONDS < deadline)) || fail "$what did not happen in time"
    sleep 0.1
  done
}

# ---- The private sound server

enter_private_session() {
  work=$(mktemp -d "${TMPDIR:-/tmp}/velmora-demo.XXXXXX")
  mkdir -m 700 "$work"/{home,run,config,state,cache,data}
  printf 'autospawn = no\n' >"$work/client.conf"
  export HOME=$work/home XDG_RUNTIME_DIR=$work/run XDG_CONFIG_HOME=$work/config
  export XDG_STATE_HOME=$work/state XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
  export PULSE_SERVER=unix:$work/run/native PULSE_CLIENTCONFIG=$work/client.conf
  export PULSE_COOKIE=$work/cookie
  # No message of ours may reach the person's desktop.
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$work/no-bus DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/no-bus
  unset DISPLAY WAYLAND_DISPLAY PULSE_SINK PULSE_SOURCE
}

ask() {
  timeout 5 pactl "$@" 2>/dev/null
}

server_answers() {
  [[ $(ask get-default-sink) == speakers ]]
}

start_server() {
  cat >"$work/server.pa" <<END
.fail
load-module module-native-protocol-unix auth-anonymous=1 socket=$work/run/native
load-module module-null-sink sink_name=speakers rate=48000 channels=2 format=float32le sink_properties=device.description=Speakers
set-default-sink speakers
END
  pulseaudio -n --daemonize=no --use-pid-file=no --exit-idle-time=-1 --log-target=stderr \
    --file="$work/server.pa" >"$work/server.log" 2>&1 &
  running+=($!)
  wait_until "the start of the private sound server" 20 server_answers
}

has_sink() {
  ask list short sinks | awk -v name="$1" '$2 == name { found = 1 } END { exit !found }'
}

# How many playback streams are on a sink.
streams_on() {
  local index
  index=$(ask list short sinks | awk -v name="$1" '$2 == name { print $1 }')
  ask list short sink-inputs | awk -v sink="$index" '$2 == sink { ++n } END { print n + 0 }'
}

# ---- Playing, recording

raw_format=(--raw --format=float32le --rate=48000 --channels=2)

# Noise at "speakers", nothing on our sink, because there is none.
untouched() {
  [[ $(ask get-default-sink) == speakers && $(streams_on speakers) == 1 ]] && ! has_sink velmora
}

start_noise() {
  pacat --playback "${raw_format[@]}" --latency-msec=100 --client-name=Player \
    < <("$scripts/demo_sound.py" noise) >"$work/player.log" 2>&1 &
  running+=($!)
  wait_until "the start of the noise" 20 untouched
}

# The noise goes to our sink and our sound to "speakers".
routed() {
  [[ $(ask get-default-sink) == velmora && $(streams_on velmora) == 1 && $(streams_on speakers) == 1 ]]
}

is_as_large() {
  (($(stat -c %s "$1") >= $2))
}

# Records what reaches "speakers": record FILE SECONDS
record() {
  local recorder bytes
  bytes=$("$scripts/demo_sound.py" length "$2")
  : >"$1" # there to be looked at, however late the recorder starts
  parec "${raw_format[@]}" --latency-msec=50 --device=speakers.monitor --client-name=Recorder \
    >"$1" 2>"$work/recorder.log" &
  recorder=$!
  running+=("$recorder")
  wait_until "the recording" 30 is_as_large "$1" "$bytes"
  end_process "$recorder" 5 || true
  unset 'running[-1]'
}

# ---- The program

start_velmora() {
  "$velmora" --preset "$preset" >"$work/velmora.log" 2>&1 &
  velmora_pid=$!
  running+=("$velmora_pid")
  wait_until "the start of the equalizer" 20 routed
}

stop_velmora() {
  end_process "$velmora_pid" 20 || fail "the program did not end when it was asked to"
  unset 'running[-1]'
  wait_until "the return of the default device and the removal of the virtual sink" 10 untouched
}

# ----

for tool in pulseaudio pactl pacat parec python3; do
  command -v "$tool" >/dev/null && continue
  say "$tool is missing: trying to install it." >&2
  "$scripts/install-deps.sh" --tests
  break
done
command -v pulseaudio >/dev/null ||
  fail "the demo needs PulseAudio as a private server, and this machine has another sound server"
[[ -x $velmora ]] || fail "there is no $velmora; ./run.sh builds it"
velmora=$(realpath "$velmora")

say "$("$velmora" --version): preset \"$preset\" on pink noise, on a private sound server"
enter_private_session
start_server
start_noise
say "Recording what reaches the output device without Velmora ..."
record "$work/before.raw" 5
start_velmora
say "Recording what reaches it with Velmora ..."
record "$work/after.raw" 7
stop_velmora
say "Velmora has ended; default device, streams and devices are as they were before."
say
"$scripts/demo_sound.py" compare "$work/before.raw" "$work/after.raw"
