# shellcheck shell=bash
# A private session for scripts that show the program: a sound server with one silent device, and a
# virtual screen. The user's session is neither needed nor reached. Source this file.
#
# Call need_programs and enter_private_session first. However the script ends, all processes are
# ended; if it failed, their logs are shown.

session_scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=
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

# The process started last has ended.
forget_last() {
  unset 'running[-1]'
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

# Tries to install what is missing.
need_programs() {
  local program
  for program in pactl pacat parec python3 Xvfb xdotool; do
    command -v "$program" >/dev/null && has_server && continue
    say "Something is missing: trying to install it." >&2
    "$session_scripts/install-deps.sh" --tests
    break
  done
  has_server || fail "neither PulseAudio nor PipeWire with WirePlumber is here as a private server"
}

# PulseAudio, or what a desktop with PipeWire has.
has_server() {
  command -v pulseaudio >/dev/null ||
    { command -v pipewire && command -v pipewire-pulse && command -v wireplumber; } >/dev/null
}

enter_private_session() {
  work=$(mktemp -d "${TMPDIR:-/tmp}/velmora-demo.XXXXXX")
  mkdir -m 700 "$work"/{home,run,run/pulse,config,state,cache,data,screen}
  printf 'autospawn = no\n' >"$work/client.conf"
  export HOME=$work/home XDG_RUNTIME_DIR=$work/run XDG_CONFIG_HOME=$work/config
  export XDG_STATE_HOME=$work/state XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data
  export PULSE_SERVER=unix:$work/run/pulse/native PULSE_CLIENTCONFIG=$work/client.conf
  export PULSE_COOKIE=$work/cookie
  # Our messages must not reach the user's desktop.
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$work/no-bus DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/no-bus
  unset DISPLAY XAUTHORITY WAYLAND_DISPLAY SDL_VIDEODRIVER PULSE_SINK PULSE_SOURCE
}

# ---- Sound

ask() {
  timeout 5 pactl "$@" 2>/dev/null
}

server_answers() {
  [[ $(ask get-default-sink) == speakers ]]
}

start_server() {
  if command -v pulseaudio >/dev/null; then
    start_pulseaudio
  else
    start_pipewire
  fi
  wait_until "the start of the private sound server" 20 server_answers
}

start_pulseaudio() {
  cat >"$work/server.pa" <<END
.fail
load-module module-native-protocol-unix auth-anonymous=1 socket=$work/run/pulse/native
load-module module-null-sink sink_name=speakers rate=48000 channels=2 format=float32le sink_properties=device.description=Speakers
set-default-sink speakers
END
  pulseaudio -n --daemonize=no --use-pid-file=no --exit-idle-time=-1 --log-target=stderr \
    --file="$work/server.pa" >"$work/server.log" 2>&1 &
  running+=($!)
}

# Without hardware and without a bus, so that it cannot disturb the user's own.
start_pipewire() {
  local folder program
  mkdir -p "$work/config"/pipewire/{pipewire,pipewire-pulse,wireplumber}.conf.d \
    "$work/config"/wireplumber/{wireplumber.conf,main.lua,bluetooth.lua}.d
  for folder in pipewire-pulse wireplumber; do
    echo 'context.properties = { support.dbus = false }' >"$work/config/pipewire/$folder.conf.d/50-alone.conf"
  done
  cat >"$work/config/pipewire/pipewire.conf.d/50-devices.conf" <<END
context.properties = { support.dbus = false }
context.objects = [ { factory = adapter args = {
  factory.name = support.null-audio-sink media.class = Audio/Sink node.name = speakers
  node.description = Speakers audio.rate = 48000 audio.position = [ FL FR ] monitor.channel-volumes = true
} } ]
END
  cat >"$work/config/wireplumber/wireplumber.conf.d/80-no-hardware.conf" <<END
wireplumber.profiles = { main = {
  hardware.audio = disabled hardware.bluetooth = disabled hardware.video-capture = disabled
} }
END
  # The same for WirePlumber 0.4.
  cat >"$work/config/wireplumber/main.lua.d/80-no-hardware.lua" <<END
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
END
  echo 'bluez_monitor.enabled = false' >"$work/config/wireplumber/bluetooth.lua.d/80-no-hardware.lua"
  for program in pipewire wireplumber pipewire-pulse; do
    "$program" >"$work/$program.log" 2>&1 &
    running+=($!)
    # The other two give up where nobody listens yet.
    wait_until "the start of PipeWire" 20 test -S "$work/run/pipewire-0"
  done
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

# A stream at "speakers", nothing on our sink, because there is none.
untouched() {
  [[ $(ask get-default-sink) == speakers && $(streams_on speakers) == 1 ]] && ! has_sink velmora
}

# The player's sound goes to our sink and our sound to "speakers".
routed() {
  [[ $(ask get-default-sink) == velmora && $(streams_on velmora) == 1 && $(streams_on speakers) == 1 ]]
}

# Another program that plays something, quietly.
start_player() {
  pacat --playback --format=s16le --rate=48000 --channels=2 --volume=3000 --latency-msec=100 --client-name=Player \
    </dev/urandom >"$work/player.log" 2>&1 &
  running+=($!)
  wait_until "the start of the player" 20 untouched
}

# ---- The screen

# The X server writes the number of its display once it can be used.
screen_named() {
  [[ $(<"$work/display") =~ ^[0-9]+$ ]]
}

# start_screen WIDTHxHEIGHT
start_screen() {
  : >"$work/display"
  Xvfb -displayfd 1 -screen 0 "$1x24" -nolisten tcp -noreset \
    >"$work/display" 2>"$work/screen.log" &
  running+=($!)
  wait_until "the start of the virtual screen" 20 screen_named
  DISPLAY=:$(<"$work/display")
  # The same picture on every machine, with or without a graphics card.
  export DISPLAY SDL_RENDER_DRIVER=software
  pointer_away
}

# Into the corner, beside the window, so that it neither shows nor lights anything up.
pointer_away() {
  xdotool mousemove 0 0
}

# The program's window; nothing while there is none.
window() {
  xdotool search --onlyvisible --class '^velmora$' 2>/dev/null | head -n 1
}

has_window() {
  [[ -n $(window) ]] && grep -q 'First frame after' "$work/config/Velmora/Velmora.log"
}
