#!/usr/bin/env bash
# server/serve.sh BUILD_DIR [OPTION...]
# Serves the settings page and the program of one build folder as `./run` does, which sources this
# file; `./run --help` explains the options. When run sources it, nothing before "ready" uses $().

set -euo pipefail
umask 077 # settings hold a plain-text password
ulimit -c 0 # and so would a core dump
read -r source_dir < <(readlink -f "${BASH_SOURCE[0]}")
source_dir=${source_dir%/server/*}
# shellcheck source=common.sh
. "$source_dir/common.sh"

daemons=(teskindexd teskvideoindexd teskvideometadatad)
started=() lighttpd='' # process numbers

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
}

check_port() {
  ! (: < "/dev/tcp/127.0.0.1/$port") 2> /dev/null || die "port $port is taken; choose another one with --port N"
}

# lock BUILD_DIR: one start at a time builds and serves there, until this script ends.
lock() {
  { mkdir -p "$1" && [ -w "$1" ] && exec 9> "$1/serve.lock"; } 2> /dev/null ||
    die "$1 cannot be written; remove it, with sudo if it is not yours"
  flock -n 9 || die "$1 is being built or served by another start; stop that first"
}

serve() { # BUILD_DIR, which is locked
  local build_dir
  read -r build_dir < <(readlink -f "$1")
  root=$build_dir/root server=$build_dir/server
  check_request_lock
  set_up_root
  set_up_administrator
  $once || printf 'user name: admin\npassword: %s\n' "$password"
  start_all
  if $once; then
    # shellcheck source=server/once.sh
    . "$source_dir/server/once.sh"
    show_requests || die "a request failed, or the second load does not show what was saved"
    return
  fi
  echo "page: http://127.0.0.1:$port/   program: POST http://127.0.0.1:$port/dtv_manage.cgi"
  echo "log: $server/error.log"
  echo "ready: http://127.0.0.1:$port/"
  wait "$lighttpd" || true
  die "the server has ended; its log is $server/error.log"
}

# A request still runs here only if an earlier start and its server were both killed.
check_request_lock() {
  [ ! -e "$server/request.lock" ] || flock -n "$server/request.lock" true ||
    die "a request of an earlier start is still running: it holds $server/request.lock"
}

set_up_root() {
  discard "$root".{new,old}
  if $reset; then
    # Renamed before it is removed: an interruption must not leave half a root.
    [ ! -e "$root" ] || attempt "move it away by hand" mv "$root" "$root.old"
    discard "$root.old" "$server"
  fi
  if [ ! -e "$root" ]; then
    attempt "put that right and start again" cp -R "$source_dir/host/root" "$root.new"
    attempt "put that right and start again" mv "$root.new" "$root"
  fi
  check_root
  # A daemon that was killed has left its PID file: another process may have the number now.
  attempt "make the folder writable, or start over with --reset" rm -f "$root"/var/run/*.pid
  attempt "remove it by hand" install -d -m 700 "$server"
}

# attempt ADVICE COMMAND...: when the command fails, ends with its first message and ADVICE.
attempt() {
  local message=''
  "${@:2}" 2> "$root.log" && return
  (($? < 128)) || exit 130 # interrupted
  read -r message < "$root.log" || true
  die "${message:-$2 failed}; $1"
}

# discard FOLDER...: removes them with all that is in them, read-only folders as well.
discard() {
  chmod -R u+rwX "$@" 2> /dev/null || true
  attempt "remove it by hand, with sudo if it is not yours" rm -rf "$@"
}

# folder.conf may be missing: people remove it to see what the program does then.
check_root() {
  local skeleton=$source_dir/host/root missing
  mapfile -t missing < <(LC_ALL=C diff -rq -x folder.conf -x .gitkeep "$skeleton" "$root" 2> /dev/null |
    sed -n "s|^Only in $skeleton\(.*\): |\1/|p")
  [ ${#missing[@]} -eq 0 ] || die "$root lacks ${missing[*]}; start over with --reset"
}

# The administrator's password is shown only at the first start: the server's file has its hash.
set_up_administrator() {
  local hash htpasswd=$server/htpasswd
  password="as shown at the first start; if it is lost, delete $htpasswd and start again (settings stay)"
  if [ ! -s "$htpasswd" ]; then
    read -r password < <(openssl rand -hex 16)
    read -r hash < <(printf %s "$password" | openssl dgst -sha1 -binary | openssl base64)
    printf 'admin:{SHA}%s\n' "$hash" > "$htpasswd"
  fi
  grep -qs '^admin:' "$htpasswd" ||
    die "$htpasswd cannot be read or has no admin; delete it and start again for a new password (settings stay)"
}

start_all() {
  local name pid
  trap stop_all EXIT
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
  attempt "remove it by hand" rm -f "$server"/{daemons.log,lighttpd.pid,one_at_a_time}
  { : > "$server/daemons.log" && : >> "$server/error.log"; } 2> /dev/null || die "$server/error.log cannot be written; remove it by hand"
  for name in "${daemons[@]}"; do
    start "$root/usr/tesk/sbin/teskdaemon" "$name" 2>> "$server/daemons.log"
  done
  cp "$source_dir/server/one_at_a_time.sh" "$server/one_at_a_time"
  ln -sf "$source_dir/server/lighttpd.conf" "$server/" # ps then shows which build folder the server serves
  PORT=$port PAGE=$source_dir/page STATE=$server PROGRAM=$server/one_at_a_time \
    start lighttpd -D -f "$server/lighttpd.conf" 2>> "$server/error.log" # the program's log lines also go there
  lighttpd=$!
  SECONDS=0
  until is_serving; do
    for pid in "${started[@]}"; do
      kill -0 "$pid" 2> /dev/null || fail_start "$pid"
    done
    ((SECONDS < 10)) || die "not ready after 10 seconds; the log is $server/error.log"
    sleep 0.1
  done
}

# fail_start PID: ends with the last message of the process, which has ended.
fail_start() {
  local log=daemons advice="start over with --reset" message
  [ "$1" != "$lighttpd" ] || log=error advice="choose another port with --port N"
  message=$(tail -n1 "$server/$log.log")
  die "the start failed: ${message:-no message}; put that right, or $advice"
}

# start COMMAND...: in the background, in a session of its own, which Ctrl-C does not reach. The kernel
# ends it when this script ends. If the script has ended before the kernel is asked, COMMAND is not run.
start() {
  setsid setpriv --pdeathsig TERM sh -c "[ \$PPID = $$ ] && exec \"\$@\"" start "$@" 9>&- &
  started+=($!)
}

# Every daemon writes its PID file; lighttpd writes its own once it listens.
is_serving() {
  local pid_files=("$root"/var/run/tesk*d.pid)
  [ ${#pid_files[@]} -eq ${#daemons[@]} ] && [ -s "$server/lighttpd.pid" ]
}

# A running request has 5 seconds to finish (server.graceful-shutdown-timeout). Then everything that is
# left is ended.
stop_all() {
  trap '' HUP INT TERM
  local left signal=TERM tries
  mapfile -t left < <(jobs -p) # also what was started a moment ago
  left+=(${lighttpd:+"-$lighttpd"}) # and what the server started
  if [ -s "$server/lighttpd.pid" ]; then
    kill -INT "$lighttpd" 2> /dev/null || true
    wait "$lighttpd" || true
  fi
  for ((tries = 0; tries < 20; ++tries)); do
    kill "-$signal" -- "${left[@]}" 2> /dev/null || break
    sleep 0.1
    ((tries < 10)) || signal=KILL
  done
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  [ -x "${1-}/dtv_manage.cgi" ] || refuse "there is no dtv_manage.cgi in '${1-}'"
  parse_options "${@:2}"
  check_port
  lock "$1"
  serve "$1"
fi
