# Sourced by run, test and .ci/run: installs what is missing on a Debian machine, and builds.
# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are for those who source this file

export PATH="$PATH:/usr/sbin:/sbin" # where Debian keeps servers; not in everybody's PATH
die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# What tells that a package is there: a command, a NAME.pc of pkg-config, or a file.
is_there() {
  case $1 in
    /*) compgen -G "$1" > /dev/null ;;
    *.pc) pkg-config --exists "${1%.pc}" 2> /dev/null ;;
    *) command -v "$1" > /dev/null ;;
  esac
}

# need PROBE=PACKAGE...: installs each package whose probe is not there.
need() {
  local item missing=()
  for item in "$@"; do
    is_there "${item%%=*}" || missing+=("${item#*=}")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local by_hand="install by hand: ${missing[*]}"
  command -v apt-get > /dev/null || die "this is no Debian system; $by_hand (or what they are called here)"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo > /dev/null || die "packages are missing and there is no sudo; have an administrator $by_hand"
    as_root=(sudo)
  fi
  echo "installing ${missing[*]}" >&2
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"; } > "$log" 2>&1; then
    die "apt-get failed ($(grep -m1 '^E:' "$log" || tail -n1 "$log")); with a network, try again or $by_hand"
  fi
  rm -f "$log"
}

to_build=("c++=g++" cmake=cmake ninja=ninja-build pkg-config=pkg-config jsoncpp.pc=libjsoncpp-dev glib-2.0.pc=libglib2.0-dev)
to_serve=(lighttpd=lighttpd curl=curl openssl=openssl setpriv=util-linux)
to_test=(gtest.pc=libgtest-dev node=nodejs npm=npm chromium=chromium)

# The browser's driver and the accessibility scanner of the page tests, as tests/page locks them.
need_page_test_packages() {
  if [ ! tests/page/node_modules/.package-lock.json -nt tests/page/package-lock.json ]; then
    echo "installing the page tests' packages" >&2
    npm ci --prefix tests/page --ignore-scripts --no-audit --no-fund > /dev/null ||
      die "npm could not install the page tests' packages; with a network, try again"
  fi
}

# build PRESET [CMAKE OPTION...]: prints the build's output only when it fails.
build() {
  local log
  if [[ $PWD =~ [^-A-Za-z0-9_./+:@,] ]]; then
    die "the path of this folder has a '${BASH_REMATCH[0]}', which a shell may split or expand; put it elsewhere"
  fi
  log=$(mktemp)
  echo "building ($1)" >&2
  if ! { cmake --preset "$@" && cmake --build --preset "$1"; } > "$log" 2>&1; then
    tail -n 40 "$log" >&2
    rm -f "$log"
    die "the build failed"
  fi
  rm -f "$log"
}
