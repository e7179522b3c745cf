# Sourced by every command: its usage, installing, building. As run explains, nothing that run calls uses $().
# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are for those who source this file

# ---- Usage and messages

script=${script:-$(readlink -f "$0")} # a command that changes the folder has set it

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# quietly MESSAGE COMMAND...: when the command fails, shows the end of its output and ends with MESSAGE.
quietly() {
  local log=build/output.$$
  mkdir -p build
  "${@:2}" > "$log" 2>&1 && rm "$log" && return
  (($? < 128)) || exit 130 # interrupted
  tail -n 40 "$log" >&2
  rm "$log"
  die "$1"
}

# The usage is the comment at the head of the command.
usage() {
  sed -n '2,/^$/ s/^# \{0,1\}//p' "$script"
}

# refuse REASON: for wrong arguments.
refuse() {
  printf '%s: %s\n\n' "${0##*/}" "$1" >&2
  usage >&2
  exit 2
}

[[ " $* " != *" -h "* && " $* " != *" --help "* ]] || { usage; exit; }

# ---- Installing, on a Debian machine

export PATH="$PATH:/usr/sbin:/sbin" # Debian keeps servers there

to_build=("c++=g++" cmake=cmake ninja=ninja-build pkg-config=pkg-config jsoncpp.pc=libjsoncpp-dev glib-2.0.pc=libglib2.0-dev)
to_serve=(lighttpd=lighttpd curl=curl openssl=openssl setpriv=util-linux)
to_test=(gtest.pc=libgtest-dev node=nodejs npm=npm chromium=chromium)

# A probe is a command, a NAME.pc of pkg-config, or the pattern of a file.
is_there() {
  case $1 in
    /*) compgen -G "$1" > /dev/null ;;
    *.pc) pkg-config --exists "${1%.pc}" 2> /dev/null ;;
    *) command -v "$1" > /dev/null ;;
  esac
}

# Debian starts a web server on port 80 of all addresses when it is installed, and at every boot.
# With systemd, a mask set beforehand prevents both, and outlives upgrades.
mask_lighttpd() {
  quietly "Debian's lighttpd service cannot be masked" "${as_root[@]}" systemctl mask lighttpd
  echo "masked Debian's lighttpd service; to use it: systemctl unmask lighttpd" >&2
}

disable_lighttpd() {
  "${as_root[@]}" invoke-rc.d lighttpd stop > /dev/null 2>&1 || true # it may not have been started
  quietly "Debian's lighttpd service cannot be disabled" "${as_root[@]}" update-rc.d lighttpd disable
  echo "stopped and disabled Debian's lighttpd service; to use it: update-rc.d lighttpd enable" >&2
}

# need PROBE=PACKAGE...: installs each package whose probe fails.
need() {
  local item missing=() as_root=() finish=true
  for item in "$@"; do
    is_there "${item%%=*}" || missing+=("${item#*=}")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local by_hand="install by hand: ${missing[*]}"
  command -v apt-get > /dev/null || die "this is not a Debian system; $by_hand (or what they are called here)"
  if [ "$EUID" -ne 0 ]; then
    command -v sudo > /dev/null || die "packages are missing and there is no sudo; have an administrator $by_hand"
    as_root=(sudo)
  fi
  echo "installing ${missing[*]}" >&2
  if [[ " ${missing[*]} " == *" lighttpd "* ]]; then
    if [ -d /run/systemd/system ]; then mask_lighttpd; else finish=disable_lighttpd; fi
  fi
  local failure="apt-get failed; with a network, try again or $by_hand"
  quietly "$failure" "${as_root[@]}" apt-get update
  quietly "$failure" "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
  $finish
}

# The checks of the page's languages, the browser's driver and the accessibility scanner.
need_npm_packages() {
  if [ ! node_modules/.package-lock.json -nt package-lock.json ]; then
    echo "installing npm packages" >&2
    quietly "npm ci failed; with a network, try again" \
      npm ci --ignore-scripts --no-audit --no-fund
  fi
}

# ---- Building

# build PRESET [NAME [CMAKE OPTION...]]: builds in build/NAME, or build/PRESET.
build() {
  local folder=$PWD/build/${2:-$1} options=()
  # CMake refuses a folder that was moved. --fresh keeps what else is in it, such as settings.
  if [ -e "$folder/CMakeCache.txt" ] && ! grep -qxF "CMAKE_CACHEFILE_DIR:INTERNAL=$folder" "$folder/CMakeCache.txt"; then
    options=(--fresh)
  fi
  echo "building (${2:-$1})" >&2
  quietly "the build failed" cmake "${options[@]}" --preset "$1" -B "$folder" "${@:3}"
  quietly "the build failed" cmake --build "$folder"
}
