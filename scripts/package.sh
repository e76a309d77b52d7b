#!/usr/bin/env bash
# Builds the program, makes the Debian package, and checks what is installed with it.
#
#   scripts/package.sh             the package, in build/package, and checks that need no rights
#   scripts/package.sh --install   also installs it on this machine, uses it, installs it over itself
#                                  while it runs, removes and purges it (as root; for test machines)
#
# Installs what is missing for that, as ./run.sh does.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build

# shellcheck source=scripts/private_session.sh
source "$root/scripts/private_session.sh"
# shellcheck source=scripts/quietly.sh
source "$root/scripts/quietly.sh"

must() {
  quietly "$@" || fail "$*"
}

make_package() {
  rm -rf "$build/package"
  # So that nothing in the package is younger than its last change.
  (cd "$build" && SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct 2>/dev/null || date +%s) \
    must cpack --config CPackConfig.cmake -B package)
  package=$(find "$build/package" -maxdepth 1 -name 'velmora_*.deb')
  [[ -f $package ]] || fail "cpack made no package"
}

# bash_completes FILE WANTED WORD...: WANTED is offered at the last word.
bash_completes() (
  # shellcheck disable=SC1090
  source "$1"
  wanted=$2
  shift 2
  # shellcheck disable=SC2034
  COMP_WORDS=(velmora "$@") COMP_CWORD=$#
  _velmora
  [[ " ${COMPREPLY[*]} " == *" $wanted "* ]]
)

# offers_to_open_corrections SHARE: Velmora can open a file of such a name, and an editor stays the default program.
offers_to_open_corrections() (
  mkdir -p "$work/empty" "$work/editor/applications"
  printf '[Desktop Entry]\nType=Application\nName=Editor\nExec=true %%f\nMimeType=text/plain;\n' \
    >"$work/editor/applications/editor.desktop"
  must update-mime-database "$1/mime"
  update-desktop-database "$1/applications" "$work/editor/applications"
  export XDG_DATA_HOME=$work/empty XDG_CONFIG_HOME=$work/empty XDG_DATA_DIRS=$1:$work/editor:/usr/share
  export LC_ALL=C.UTF-8 PATH=$1/../bin:$PATH  # a program that is not found is not offered
  echo 'GraphicEQ: 20 -1; 30 2' >"$work/HD 600 GraphicEQ.txt"
  local type programs # whole: a reader that stops early would fail the writer
  type=$(gio info -a standard::content-type "$work/HD 600 GraphicEQ.txt")
  programs=$(gio mime text/x-velmora-equalizer)
  [[ $type == *text/x-velmora-equalizer* && $programs == "Default "*editor.desktop*Velmora.desktop* ]]
)

check_prefix() {
  local prefix=$work/prefix size
  must cmake --install "$build" --prefix "$prefix"
  [[ $("$prefix/bin/velmora" --version) == "$("$build/Velmora" --version)" ]] ||
    fail "the installed program does not start"
  desktop-file-validate "$prefix/share/applications/Velmora.desktop"
  [[ $(grep -c '^Comment\[de\]=Equalizer\|^GenericName\[fr\]=Égaliseur\|^Keywords\[fr\]=Égaliseur;' \
    "$prefix/share/applications/Velmora.desktop") == 3 ]] ||
    fail "the menu entry lacks its languages"
  offers_to_open_corrections "$prefix/share" || fail "file managers do not offer it for a correction, or before the editor"
  must appstreamcli validate --no-net --pedantic "$prefix"/share/metainfo/*.metainfo.xml
  local complaints
  complaints=$(MANWIDTH=80 man --warnings -l "$prefix/share/man/man1/velmora.1.gz" 2>&1 >/dev/null)
  [[ -z $complaints ]] || fail "the man page: $complaints"
  for size in 16 22 24 32 48 64 128 256 512; do
    [[ $(file -b "$prefix/share/icons/hicolor/${size}x$size/apps/velmora.png") == *" $size x $size,"* ]] ||
      fail "the icon of $size pixels is missing or of another size"
  done
  # Every switch that the program knows is on its page, which the shells' completions are made from.
  local switch
  for switch in $("$build/Velmora" --help | grep -o -- '--[a-z-]*' | sort -u); do
    zgrep -q -- "${switch//-/\\\\-}" "$prefix/share/man/man1/Velmora.1.gz" ||
      fail "the man page does not mention $switch"
    grep -q -- "'$switch\\[" "$prefix"/share/zsh/*/_velmora || fail "zsh does not complete $switch"
    grep -q -- " -l ${switch#--} " "$prefix/share/fish/vendor_completions.d/Velmora.fish" ||
      fail "fish does not complete $switch"
    bash_completes "$prefix/share/bash-completion/completions/Velmora" "$switch" "$switch" ||
      fail "bash does not complete $switch"
  done
  bash_completes "$prefix/share/bash-completion/completions/velmora" light --theme l ||
    fail "bash does not complete --theme l"
}

check_package() {
  lintian --allow-root --fail-on error "$package"
}

apt() {
  must env DEBIAN_FRONTEND=noninteractive apt-get -o Dpkg::Use-Pty=0 --yes --no-install-recommends "$@"
}

start_installed() {
  Velmora >"$work/velmora.log" 2>&1 &
  velmora_pid=$!
  running+=("$velmora_pid")
  wait_until "the start of the equalizer" 20 routed
  wait_until "the first picture in the window" 20 has_window
}

stop_installed() {
  end_process "$velmora_pid" 20 || fail "the program did not end when it was asked to"
  forget_last
  wait_until "the return of the default device" 10 untouched
}

nothing_left() {
  local path
  while read -r path; do
    [[ ! -f $path ]] || fail "$path is left behind"
  done <"$work/files"
}

use_package() {
  if dpkg-query -W -f='${db:Status-Status}' velmora 2>/dev/null | grep -q '^installed'; then
    fail "velmora is installed on this machine: it would be removed"
  fi
  start_server
  start_screen 1280x800
  start_player
  apt install "$package"
  dpkg -L velmora | while read -r path; do [[ -f $path ]] && echo "$path"; done >"$work/files" || true
  start_installed
  grep -q 'System: Package: deb velmora 1.0.2-1' "$work/config/Velmora/Velmora.log" ||
    fail "the program does not know its package"
  apt install --reinstall "$package"
  routed || fail "an upgrade ended the running program"
  stop_installed
  start_installed
  stop_installed
  apt remove velmora
  nothing_left
  apt install "$package"
  apt purge velmora
  nothing_left
  [[ -f $work/config/Velmora/settings.dat ]] || fail "the user's settings are gone"
}

"$root/scripts/install-deps.sh" --package
"$root/scripts/build.sh" release Velmora velmora_menu_entry
make_package
enter_private_session
check_prefix
check_package
if [[ ${1:-} == --install ]]; then
  [[ $(id -u) == 0 ]] || fail "only root can install"
  need_programs
  use_package
  say "Installed, used, replaced while it ran, removed and purged: nothing but the settings is left."
fi
say "The package: $package"
