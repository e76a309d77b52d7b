#!/usr/bin/env bash
# Runs a command in a Debian root of its own, with a copy of this checkout: what a newcomer would see
# on that release.
#
#   scripts/in-root.sh [OPTION...] RELEASE COMMAND...    RELEASE: bookworm, trixie, sid, or 12, 13
#
#   scripts/in-root.sh trixie ./test.sh                  every test on Debian 13
#   scripts/in-root.sh --fresh 12 ./test.sh              the same where nothing is installed yet
#   scripts/in-root.sh trixie                            a shell there
#
#   --fresh        a minimal Debian; otherwise with everything that scripts/install-deps.sh installs
#                  for tests and packages
#   --ccache       compile through ccache; its cache is kept beside the roots
#   --keep NAME    keeps the copy and its builds for the next run of that name, one run at a time;
#                  otherwise the copy is removed when the command ends
#   --share DIR    this machine's DIR is /share there, to hand files in and out
#   --renew        first make a new root, from today's state of the release
#
# The checkout is /root/Velmora there: what git tracks, with its changes, and new files that it does not
# ignore. The command is root, with processes, mounts, /dev, /run and /tmp of its own, without D-Bus
# and without this machine's sound or screen; only the network is shared. However it ends, its
# processes and mounts end with it. Several may run at once.
#
# Needs root, debootstrap and a mirror, but no container engine. Roots are kept in
# ${XDG_CACHE_HOME:-/var/cache}/velmora-roots. Environment: CI is handed on; DEBIAN_MIRROR names
# another mirror than deb.debian.org.
#
# Exit status: the command's; 77 if no such root can be made here.
set -euo pipefail
umask 022
self=$(realpath "${BASH_SOURCE[0]}")
checkout=$(dirname "$(dirname "$self")")
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
copy=root/Velmora # in the root

# shellcheck source=scripts/quietly.sh
source "$checkout/scripts/quietly.sh"

no_root() {
  echo "No Debian root here: $*" >&2
  exit 77
}

usage() {
  echo "$*; the first lines of scripts/in-root.sh explain its use" >&2
  exit 2
}

# ---- Inside the namespaces

# Only what every machine has: no sound card, no screen.
make_devices() {
  local name
  mount -t tmpfs -o mode=755,size=1M dev "$1/dev"
  for name in null zero full random urandom tty; do
    : >"$1/dev/$name"
    mount --bind "/dev/$name" "$1/dev/$name"
  done
  mkdir "$1/dev/pts" "$1/dev/shm"
  mount -t devpts -o newinstance,ptmxmode=666,mode=620 devpts "$1/dev/pts"
  mount -t tmpfs -o mode=1777 shm "$1/dev/shm"
  ln -s pts/ptmx "$1/dev/ptmx"
  ln -s /proc/self/fd "$1/dev/fd"
  ln -s fd/0 "$1/dev/stdin"
  ln -s fd/1 "$1/dev/stdout"
  ln -s fd/2 "$1/dev/stderr"
}

# enter ROOT COMMAND...: as process 1, whose end ends all others.
enter() {
  local root=$1
  shift
  # What becomes the root has to be a mount.
  mount --bind "$root" "$root"
  make_devices "$root"
  mount -t proc proc "$root/proc"
  mount -t sysfs -o ro sysfs "$root/sys"
  mount -t tmpfs -o mode=755 run "$root/run"
  mkdir -m 1777 "$root/run/lock"
  # Names are looked up as here.
  cat /etc/resolv.conf >"$root/etc/resolv.conf"
  cat /etc/hosts >"$root/etc/hosts"
  local variables=(HOME=/root USER=root LOGNAME=root SHELL=/bin/bash LANG=C.UTF-8 TERM="${TERM:-dumb}"
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin)
  local name
  for name in CI http_proxy https_proxy no_proxy; do
    [[ -z ${!name:-} ]] || variables+=("$name=${!name}")
  done
  if [[ -n ${velmora_root_ccache:-} ]]; then
    mkdir -p "$root/ccache"
    mount --bind "$velmora_root_ccache" "$root/ccache"
    variables+=(CCACHE_DIR=/ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  if [[ -n ${velmora_root_share:-} ]]; then
    mkdir -p "$root/share"
    mount --bind "$velmora_root_share" "$root/share"
  fi
  # Not chroot, in which nobody may make a namespace for users, as browsers and tests do.
  cd "$root"
  pivot_root . mnt
  hash -r
  umount --lazy /mnt
  # A command that is not there gives 127, as in a shell.
  # shellcheck disable=SC2016  # for the inner shell
  env -i "${variables[@]}" /bin/bash -c 'cd "$HOME/Velmora" 2>/dev/null || cd; "$@"' bash "$@"
}

# run_inside LOWER DIRECTORY COMMAND...: what is written goes to DIRECTORY, LOWER stays as it is.
run_inside() {
  local lower=$1 directory=$2
  shift 2
  if [[ -d $directory/upper ]]; then
    mount -t overlay -o "lowerdir=$lower,upperdir=$directory/upper,workdir=$directory/work" velmora "$directory/root"
  fi
  enter "$directory/root" "$@"
}

case ${1:-} in
  --inside) # for this script itself
    shift
    "$@"
    exit
    ;;
esac

# ---- Outside

# separately FUNCTION ARGUMENT...: with mounts and processes that end with it. It is waited for in a
# way that a signal can interrupt; killing the first process there ends all of them.
separately() {
  local status=0
  unshare --mount --pid --fork --kill-child=KILL --propagation private -- \
    bash "$self" --inside "$@" <&0 &
  child=$!
  wait "$child" || status=$?
  child=
  return "$status"
}
child=
run=
unfinished=

clean_up() {
  local status=$?
  trap - EXIT
  if [[ -n $child ]]; then
    kill -KILL "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || true
  fi
  if [[ -n $unfinished ]]; then
    rm -rf "$unfinished"
  fi
  if [[ -n $run && -z $keep ]]; then
    rm -rf "$run" "$run.lock"
  fi
  exit "$status"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# A root need not survive a power cut, so dpkg need not wait for the disk.
bootstrap() {
  separately debootstrap --variant=minbase "$release" "$unfinished" "$mirror" &&
    echo force-unsafe-io >"$unfinished/etc/dpkg/dpkg.cfg.d/velmora-root" &&
    # A mirror may stand still, as a snapshot does.
    echo 'Acquire::Check-Valid-Until "false";' >"$unfinished/etc/apt/apt.conf.d/velmora-root"
}

add_packages() {
  mkdir "$unfinished/packages"
  cp "$checkout/scripts/install-deps.sh" "$unfinished/packages/"
  local commands="/packages/install-deps.sh --tests --package && apt-get clean"
  if [[ -n $ccache ]]; then
    commands+=" && apt-get -qq install --yes --no-install-recommends ccache </dev/null"
  fi
  CI=true separately enter "$unfinished" bash -c "$commands" &&
    rm -rf "$unfinished/packages"
}

# layer NAME COMMAND...: the command makes $unfinished, which becomes the layer of that name. Other
# users of the layer wait until it is complete. It is in use until this script ends.
layer() {
  local name=$1 lock
  shift
  exec {lock}>>"$roots/$name.lock"
  touch "$roots/$name.lock"
  flock --shared "$lock"
  while [[ ! -d $roots/$name ]]; do
    flock "$lock"
    if [[ ! -d $roots/$name ]]; then
      echo "Making the root $name ..." >&2
      unfinished=$roots/$name.partial
      rm -rf "$unfinished"
      quietly "$@" || no_root "$name could not be made"
      mv "$unfinished" "$roots/$name"
      unfinished=
    fi
    flock --shared "$lock"
  done
}

# Fails while another run uses the layer.
drop_layer() {
  local lock status=1
  exec {lock}>>"$1.lock"
  if flock --nonblock "$lock"; then
    # At once: half a layer must not be taken for one.
    mv "$1" "$(mktemp -d "$roots/runs/run.XXXXXX")"
    status=0
  fi
  exec {lock}>&-
  return "$status"
}

with_packages_on() {
  cp -a "$roots/$1" "$unfinished" && add_packages
}

# What a run left that was killed, and layers that were dropped: nobody holds its lock.
sweep() {
  local old lock
  for old in "$roots"/runs/run.*; do
    [[ $old != *.lock && -d $old ]] || continue
    exec {lock}>>"$old.lock"
    if flock --nonblock "$lock"; then
      rm -rf "$old" "$old.lock"
    fi
    exec {lock}>&-
  done
}

# An overlay where the file system can be one, otherwise a copy.
prepare_run() {
  local identity
  identity=$(stat -c '%n %i %W' "$lower")
  mkdir -p "$run"
  if [[ -e $run/layer && $(<"$run/layer") != "$identity" ]]; then
    rm -rf "$run"
    mkdir "$run"
  fi
  if [[ ! -e $run/layer ]]; then
    mkdir "$run/root" "$run/upper" "$run/work"
    if ! separately mount -t overlay -o "lowerdir=$lower,upperdir=$run/upper,workdir=$run/work" velmora "$run/root" \
      2>/dev/null; then
      rm -rf "$run/upper" "$run/work" "$run/root"
      cp -a "$lower" "$run/root"
    fi
    echo "$identity" >"$run/layer"
  fi
}

# Times stay, so that only what changed is built again; what was built stays in a kept copy.
copy_checkout() {
  local target=$run/root/$copy
  if [[ -d $run/upper ]]; then
    target=$run/upper/$copy
    # An upper directory that is made here takes the place of the lower one, so it needs its rights.
    [[ -d $run/upper/root ]] || install -d -m 700 "$run/upper/root"
  fi
  mkdir -p "$target"
  find "$target" -mindepth 1 -maxdepth 1 ! -name 'build*' -exec rm -rf {} +
  if git -C "$checkout" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git -C "$checkout" ls-files --cached --others --exclude-standard -z |
      (cd "$checkout" && while IFS= read -r -d '' file; do
        [[ ! -e $file && ! -L $file ]] || printf '%s\0' "$file"
      done) | sort -zu | tar -C "$checkout" --null --no-recursion -T - -c | tar -C "$target" --no-same-owner -x
  else
    tar -C "$checkout" --exclude='./build*' -c . | tar -C "$target" --no-same-owner -x
  fi
}

fresh=
ccache=
keep=
share=
renew=
while [[ ${1:-} == --* ]]; do
  case $1 in
    --fresh) fresh=yes ;;
    --ccache) ccache=yes ;;
    --keep | --share)
      [[ -n ${2:-} ]] || usage "$1 needs a value"
      declare "${1#--}=$2"
      shift
      ;;
    --renew) renew=yes ;;
    *) usage "Unknown option: $1" ;;
  esac
  shift
done
case ${1:-} in
  12 | bookworm) release=bookworm ;;
  13 | trixie) release=trixie ;;
  sid) release=sid ;;
  *) usage "Which release? Known: bookworm, trixie, sid" ;;
esac
shift
if (($# == 0)); then
  set -- bash
fi
[[ -z $fresh || -z $ccache ]] || usage "A fresh root has no ccache"
[[ $keep != */* ]] || usage "A name has no slash: $keep"
if [[ -n $share ]]; then
  [[ -d $share ]] || usage "No such directory: $share"
  share=$(realpath "$share")
fi

[[ $(id -u) == 0 ]] || no_root "only root can make one"
command -v debootstrap >/dev/null || no_root "debootstrap is missing; scripts/install-deps.sh --ci installs it"
separately true 2>/dev/null || no_root "no mounts of our own are allowed (a container without the right to them)"

roots=${XDG_CACHE_HOME:-/var/cache}/velmora-roots
mkdir -p "$roots/runs"
if [[ -n $renew ]]; then
  for old in "$roots/$release" "$roots/$release"-packages*; do
    [[ ! -d $old ]] || drop_layer "$old" || usage "$old is in use"
  done
fi
layer "$release" bootstrap
lower=$roots/$release
if [[ -z $fresh ]]; then
  # One for each state of the list of packages; those that nobody has used for a week go.
  variant=$release-packages${ccache:+-ccache}
  name=$variant.$(cksum <"$checkout/scripts/install-deps.sh" | cut -d' ' -f1)
  for old in "$roots/$variant".*; do
    [[ ! -d $old || -z $(find "$old.lock" -mtime +7 2>/dev/null) ]] || drop_layer "$old" || true
  done
  layer "$name" with_packages_on "$release"
  lower=$roots/$name
fi

if [[ -n $keep ]]; then
  run=$roots/runs/kept.$release.$keep
else
  run=$(mktemp --dry-run "$roots/runs/run.XXXXXX")
fi
sweep
exec 9>"$run.lock"
flock --nonblock 9 || usage "Another run has the name $keep"
prepare_run
copy_checkout
if [[ -n $ccache ]]; then
  mkdir -p "$roots/ccache"
  export velmora_root_ccache=$roots/ccache
fi
export velmora_root_share=$share
separately run_inside "$lower" "$run" "$@"
