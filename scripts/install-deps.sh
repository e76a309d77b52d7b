#!/usr/bin/env bash
# Installs the Debian packages that are missing, and says nothing when none is.
#
#   scripts/install-deps.sh          what building and starting the program needs
#   scripts/install-deps.sh --tests  also what the tests and the demo need: sound servers and screens
#                                    of their own
#   scripts/install-deps.sh --package    also what scripts/package.sh needs
#   scripts/install-deps.sh --ci     also what the checks of .ci/run need, with all of the above
#
# A machine that already has a sound server keeps exactly that one: a second server would compete
# with it for the sound card at the next login. The tests for the other server are skipped then.
# With CI=true both servers are installed, whatever is there.
#
# Everything goes to stderr, so that "./run.sh --version" prints one line on stdout.
set -euo pipefail
exec >&2

build_packages=(g++ cmake ninja-build pkg-config python3 gettext libpulse-dev libsdl2-dev
  libcairo2-dev libpango1.0-dev libglib2.0-dev libatk1.0-dev nlohmann-json3-dev libgtest-dev libgmock-dev)
# pactl, pacat and parec, without a server.
client_packages=(pulseaudio-utils)
# A virtual X11 screen with a window manager and hands to use it, a Wayland one, and fonts for the
# writing systems of all languages: the only pictures that can be looked at are those with letters.
test_packages=(locales xvfb openbox i3-wm wmctrl xdotool x11-utils weston desktop-file-utils
  dbus xsettingsd python3-dbus python3-gi at-spi2-core python3-pyatspi python3-numpy python3-scipy
  libpipewire-0.3-dev
  fonts-dejavu-core fonts-noto-core fonts-noto-cjk)
server_packages=(pulseaudio pipewire pipewire-pulse wireplumber)
package_packages=(dpkg-dev file lintian appstream man-db desktop-file-utils
  shared-mime-info libglib2.0-bin)
# Clang in the version that the release prefers: 14 on Debian 12, 19 on Debian 13.
ci_packages=(clang libclang-rt-dev clang-tidy clang-format llvm libbenchmark-dev libfftw3-dev
  shellcheck debootstrap)

installed() {
  [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null || true) == installed ]]
}

has_sound_server() {
  installed pulseaudio || installed pipewire-pulse
}

as_root() {
  if [[ $(id -u) == 0 ]]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "Neither root nor sudo: cannot run $*"
    return 1
  fi
}

# Never removes a package: whatever this machine has stays.
apt() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 \
    -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$@" </dev/null
}

install() {
  local log
  log=$(mktemp)
  echo "Installing: $*"
  if apt update >>"$log" 2>&1 &&
    apt install --yes --no-install-recommends --no-remove "$@" >>"$log" 2>&1; then
    rm -f "$log"
    return
  fi
  cat "$log"
  rm -f "$log"
  echo "These packages could not be installed: $*"
  [[ $(id -u) == 0 ]] ||
    echo "Where there is no sudo, once as root: su -c '$(realpath "$0")$script_arguments'"
  exit 1
}
script_arguments=${*:+ $*}

tests=no
package=no
ci=no
for argument in "$@"; do
  case $argument in
    --tests) tests=yes ;;
    --package) package=yes ;;
    --ci) tests=yes package=yes ci=yes ;;
    *)
      echo "Unknown argument: $argument (known: --tests, --package, --ci)"
      exit 2
      ;;
  esac
done

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  for tool in g++ cmake ninja pkg-config; do
    command -v "$tool" >/dev/null && continue
    echo "Not a Debian system: please install the counterparts of these Debian packages yourself:"
    echo "  ${build_packages[*]} libsodium-dev ${client_packages[*]}"
    exit 1
  done
  exit 0
fi

wanted=("${build_packages[@]}" "${client_packages[@]}")
# Monocypher seals the settings file where it is there; libsodium is what Debian has.
if ! pkg-config --exists 'monocypher >= 4' 2>/dev/null; then
  wanted+=(libsodium-dev)
fi
# By its file: the package's name depends on the release.
if ! ldconfig=$(PATH=$PATH:/sbin ldconfig -p 2>/dev/null) || [[ $ldconfig != *libatk-bridge-2.0.so.0* ]]; then
  wanted+=(libatk-bridge2.0-0)
fi
if [[ $tests == yes ]]; then
  wanted+=("${test_packages[@]}")
  if [[ ${CI:-} == true ]] || ! has_sound_server; then
    wanted+=("${server_packages[@]}")
  fi
fi
if [[ $package == yes ]]; then
  wanted+=("${package_packages[@]}")
fi
if [[ $ci == yes ]]; then
  wanted+=("${ci_packages[@]}")
fi

missing=()
for name in "${wanted[@]}"; do
  installed "$name" || missing+=("$name")
done
if ((${#missing[@]} > 0)); then
  install "${missing[@]}"
fi
