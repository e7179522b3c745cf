#!/usr/bin/env bash
# host/serve.sh BUILD_DIR [--port N] [--reset] [--once]
# Serves the settings page and the program of one build folder behind lighttpd, on 127.0.0.1 only,
# until it is told to stop; everything it started then stops with it. `run` sources this file.
#   --port N   another port than 8080
#   --reset    start over: fresh settings, a new password
#   --once     start over; load, save and load again through the web server, then stop

set -euo pipefail
umask 077 # settings hold a plain-text password
ulimit -c 0 # and so would a core dump
source_dir=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
# shellcheck source=host/common.sh
. "$source_dir/host/common.sh"

daemons=(teskindexd teskvideoindexd teskvideometadatad)
lighttpd='' # its process number

parse_options() {
  port=8080 reset=false once=false
  while [ $# -gt 0 ]; do
    case $1 in
      --port) port=${2-}; shift ;;
      --reset) reset=true ;;
      --once) once=true reset=true ;;
      *) refuse "unknown argument $1" ;;
    esac
    shift || true
  done
  if ! [[ $port =~ ^[1-9][0-9]{0,4}$ ]] || ((port > 65535)); then
    refuse "--port needs a number from 1 to 65535"
  fi
  check_port
}

check_port() {
  if (: < "/dev/tcp/127.0.0.1/$port") 2> /dev/null; then
    die "port $port is taken; choose another one with --port N"
  fi
}

# lock BUILD_DIR: one start at a time builds and serves there, until this script ends.
lock() {
  check_path
  need flock=util-linux
  mkdir -p "$1"
  exec 9> "$1/serve.lock"
  flock -n 9 || die "$1 is being built or served by another start; stop that first"
}

serve() { # BUILD_DIR, which is locked
  build_dir=$(readlink -f "$1")
  root=$build_dir/root server=$build_dir/server
  check_request_lock
  set_up_root
  set_up_administrator
  $once || printf 'user name: admin\npassword: %s\n' "$password"
  start_all
  if $once; then
    # shellcheck source=host/once.sh
    . "$source_dir/host/once.sh"
    show_requests || die "a request failed, or the second load does not show what was saved"
    return
  fi
  echo "page: http://127.0.0.1:$port/   program: POST http://127.0.0.1:$port/dtv_manage.cgi"
  echo "log: $server/error.log"
  echo "ready: http://127.0.0.1:$port/"
  wait "$lighttpd" || true
  die "the server has ended; its log is $server/error.log"
}

# A start ends its requests when it ends, but not when it and its server are killed.
check_request_lock() {
  if [ -e "$server/request.lock" ] && ! flock -n "$server/request.lock" true; then
    die "a request of an earlier start is still running: it holds $server/request.lock"
  fi
}

set_up_root() {
  rm -rf "$root".{new,old}
  if $reset && [ -e "$root" ]; then
    rm -rf "$server"
    mv "$root" "$root.old" # an interruption must not leave half a root
    rm -rf "$root.old"
  fi
  if [ ! -e "$root" ]; then
    cp -R "$source_dir/host/root" "$root.new"
    mv "$root.new" "$root"
  fi
  check_root
  rm -f "$root"/var/run/*.pid # of daemons that were killed: other processes may have their numbers now
  mkdir -p "$server"
}

# The folder list may be missing: removing it shows what the program does without it.
check_root() {
  local skeleton=$source_dir/host/root missing
  missing=$(LC_ALL=C diff -rq -x folder.conf -x .gitkeep "$skeleton" "$root" | sed -n "s|^Only in $skeleton\(.*\): |\1/|p") || true
  [ -z "$missing" ] || die "$root lacks ${missing//$'\n'/, }; start over with --reset"
}

# The administrator's password is shown at the first start alone: only its hash is kept.
set_up_administrator() {
  local hash htpasswd=$server/htpasswd
  password="as shown at the first start; if it is lost, delete $htpasswd and start again (settings stay)"
  if [ ! -s "$htpasswd" ]; then
    password=$(openssl rand -hex 16)
    hash=$(printf %s "$password" | openssl dgst -sha1 -binary | openssl base64)
    printf 'admin:{SHA}%s\n' "$hash" > "$htpasswd"
  fi
}

start_all() {
  local name tries=0
  trap stop_all EXIT
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
  check_port
  for name in "${daemons[@]}"; do
    start "$root/usr/tesk/sbin/teskdaemon" "$name"
  done
  rm -f "$server/lighttpd.pid"
  cp "$source_dir/host/one_at_a_time.sh" "$server/one_at_a_time"
  ln -sf "$source_dir/host/lighttpd.conf" "$server/" # the list of processes then names the build folder
  start env PORT="$port" PAGE="$source_dir/host/www" STATE="$server" PROGRAM="$server/one_at_a_time" \
    lighttpd -D -f "$server/lighttpd.conf" 2>> "$server/error.log" # the program's log lines
  lighttpd=$!
  until is_serving; do
    if ! kill -0 "$lighttpd" 2> /dev/null || [ $((tries += 1)) -gt 100 ]; then
      die "the server does not start: $(tail -n1 "$server/error.log")"
    fi
    sleep 0.1
  done
}

# start COMMAND...: in the background, in a session of its own, which Ctrl-C does not reach; it ends
# with this script, also when that is killed.
start() {
  setsid setpriv --pdeathsig TERM "$@" 9>&- &
}

# The server writes its process number down when it has the port.
is_serving() {
  [ "$(compgen -G "$root/var/run/tesk*d.pid" | wc -l)" -eq ${#daemons[@]} ] &&
    [ "$(cat "$server/lighttpd.pid" 2> /dev/null)" = "$lighttpd" ]
}

stop_all() {
  trap '' HUP INT TERM
  [ -z "$lighttpd" ] || stop_server
  local left
  left=$(jobs -p) # also what was started a moment ago
  # shellcheck disable=SC2086 # numbers
  [ -z "$left" ] || kill $left 2> /dev/null || true
  wait
}

# A request that runs may finish within the server's time limit. What is left after it is ended.
stop_server() {
  local signal=TERM tries
  if [ -s "$server/lighttpd.pid" ]; then
    signal=INT # finish first
  fi
  kill "-$signal" "$lighttpd" 2> /dev/null || true
  wait "$lighttpd" || true
  signal=TERM
  for ((tries = 0; tries < 20; ++tries)); do
    kill "-$signal" -- "-$lighttpd" 2> /dev/null || return 0
    sleep 0.1
    if ((tries == 10)); then
      signal=KILL
    fi
  done
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  [ -x "${1-}/dtv_manage.cgi" ] || refuse "there is no dtv_manage.cgi in '${1-}'"
  parse_options "${@:2}"
  lock "$1"
  serve "$1"
fi
