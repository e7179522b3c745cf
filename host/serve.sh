#!/usr/bin/env bash
# host/serve.sh BUILD_DIR [--port N] [--reset] [--once]
# Serves the settings page and the program of one build folder behind lighttpd, on 127.0.0.1 only,
# until it is told to stop; everything it started then stops with it. `run` sources this file.
#   --port N   another port than 8080
#   --reset    start over: fresh settings, a new password
#   --once     start over; load, save and load again through the web server, then stop

set -euo pipefail
umask 077 # settings hold a plain-text password
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
  trap stop_all EXIT
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
}

stop_all() {
  trap '' HUP INT TERM
  [ -z "$lighttpd" ] || stop_server
  local left
  left=$(jobs -p) # also what was started a moment ago
  # shellcheck disable=SC2086 # numbers
  [ -z "$left" ] || kill $left 2> /dev/null || true
  wait
  [ -z "${htpasswd-}" ] || forget_check_account
}

# A request that runs may finish within the server's time limit; what is left of it then is ended.
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

# start COMMAND...: in the background, in a session of its own, which Ctrl-C does not reach; it ends
# with this script, also when that is killed.
start() {
  setsid setpriv --pdeathsig TERM "$@" 9>&- &
}

set_up_root() {
  rm -rf "$root".{new,old}
  if $reset && [ -e "$root" ]; then
    rm -rf "$server"
    mv "$root" "$root.old" # an interruption must not leave the half of it
    rm -rf "$root.old"
  fi
  if [ ! -e "$root" ]; then
    cp -R "$source_dir/host/root" "$root.new"
    mv "$root.new" "$root"
  fi
  check_root
  rm -f "$root"/var/run/*.pid # of daemons that were killed: their numbers may be others' now
  mkdir -p "$server"
}

# Everything but the folder list, which somebody may have taken away to see what the program does.
check_root() {
  local skeleton=$source_dir/host/root missing
  missing=$(LC_ALL=C diff -rq -x folder.conf -x .gitkeep "$skeleton" "$root" | sed -n "s|^Only in $skeleton\(.*\): |\1/|p") || true
  [ -z "$missing" ] || die "$root lacks ${missing//$'\n'/, }; start over with --reset"
}

add_account() { # NAME PASSWORD
  local hash
  hash=$(printf %s "$2" | openssl dgst -sha1 -binary | openssl base64)
  printf '%s:{SHA}%s\n' "$1" "$hash" >> "$htpasswd"
}

forget_check_account() {
  if [ -e "$htpasswd" ]; then
    sed -i '/^startup-check:/d' "$htpasswd"
  fi
}

# The administrator's password is shown when it is made. This script's own requests sign in with an
# account whose password lives as long as the start.
set_up_accounts() {
  htpasswd=$server/htpasswd
  forget_check_account
  if ! $once; then
    set_up_administrator
  fi
  check_password=$(openssl rand -hex 16)
  add_account startup-check "$check_password"
}

set_up_administrator() {
  local password
  echo "user name: admin"
  if [ -s "$htpasswd" ]; then
    echo "password: as shown at the first start; if it is lost, delete $htpasswd and start again (settings stay)"
  else
    password=$(openssl rand -hex 16)
    add_account admin "$password"
    echo "password: $password"
  fi
}

# The settings have no lock of their own, so the server runs one request at a time. Who waits in vain
# is answered with an error and has not begun; the rest of the server's time limit is the program's.
write_wrapper() {
  cat > "$server/one_at_a_time" << END
#!/bin/sh
exec flock --no-fork --wait 30 '$server/request.lock' '$build_dir/dtv_manage.cgi'
END
  chmod +x "$server/one_at_a_time"
}

write_server_conf() {
  cat > "$server/lighttpd.conf" << END
# mod_setenv first: its headers are for refusals, too.
server.modules = ("mod_setenv", "mod_access", "mod_alias", "mod_auth", "mod_authn_file", "mod_cgi")
server.bind = "127.0.0.1"
server.port = $port
server.document-root = "$source_dir/host/www"
server.pid-file = "$server/lighttpd.pid"
server.errorlog = "$server/error.log"
server.upload-dirs = ("$server")
server.tag = ""
server.follow-symlink = "disable"
server.max-request-size = 64
server.feature-flags = ("server.graceful-shutdown-timeout" => 5)
index-file.names = ("index.html")
mimetype.assign = (
  ".html" => "text/html; charset=utf-8",
  ".css" => "text/css; charset=utf-8",
  ".js" => "text/javascript; charset=utf-8",
  ".svg" => "image/svg+xml"
)
auth.backend = "htpasswd"
auth.backend.htpasswd.userfile = "$htpasswd"
auth.require = ("" => ("method" => "basic", "realm" => "DTV settings", "require" => "valid-user"))
setenv.set-response-header = (
  "Content-Security-Policy" => "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; form-action 'none'; base-uri 'none'; frame-ancestors 'none'",
  "X-Content-Type-Options" => "nosniff",
  "Referrer-Policy" => "no-referrer",
  "Cache-Control" => "no-store"
)
# A page that a name server points here must not be able to speak for this machine's browser.
\$HTTP["host"] !~ "^(127\.0\.0\.1|localhost)(:[0-9]+)?$" {
  url.access-deny = ("")
}
\$HTTP["url"] == "/dtv_manage.cgi" {
  alias.url = ("/dtv_manage.cgi" => "$server/one_at_a_time")
  cgi.assign = ("" => "")
  cgi.limits = ("read-timeout" => 60, "write-timeout" => 60)
  \$HTTP["request-method"] != "POST" {
    url.access-deny = ("")
  }
}
else \$HTTP["request-method"] !~ "^(GET|HEAD)$" {
  url.access-deny = ("")
}
END
}

# The server writes its process number down when it has the port.
is_serving() {
  [ "$(compgen -G "$root/var/run/tesk*d.pid" | wc -l)" -eq ${#daemons[@]} ] &&
    [ "$(cat "$server/lighttpd.pid" 2> /dev/null)" = "$lighttpd" ]
}

start_all() {
  local name tries=0
  check_port
  for name in "${daemons[@]}"; do
    start "$root/usr/tesk/sbin/teskdaemon" "$name"
  done
  rm -f "$server/lighttpd.pid"
  start lighttpd -D -f "$server/lighttpd.conf" 2>> "$server/error.log" # the program's log lines
  lighttpd=$!
  until is_serving; do
    if ! kill -0 "$lighttpd" 2> /dev/null || [ $((tries += 1)) -gt 100 ]; then
      die "the server does not start: $(tail -n1 "$server/error.log")"
    fi
    sleep 0.1
  done
}

# request PARAMETER...: prints the answer; fails unless it says that the request succeeded.
request() {
  local answer parameter parameters=()
  for parameter in "$@"; do
    parameters+=(--data-urlencode "$parameter")
  done
  # The password goes in by a file, for arguments are for all to see, and to no proxy.
  answer=$(curl -q -sS --noproxy '*' --max-time 60 -K <(printf 'user = "startup-check:%s"' "$check_password") \
    "${parameters[@]}" "http://127.0.0.1:$port/dtv_manage.cgi") || return
  echo "$answer"
  [[ $answer == *'"success":true'* ]]
}

# Saves a destination, options and the switch, and shows what the appliance's services saw of it.
# Fails unless the save and a load that shows it succeed.
show_save() {
  local after tries
  echo "save:"
  request action=save share=tv subpath=recordings \
    closestreaming=true pre_recording=60 post_recording=300 \
    enableauth=true account=viewer passwd=24681357 password_confirm=75318642 \
    enable_viewer_limit=true streaming_limit=3 disable_dtv=yes || return
  for ((tries = 0; tries < 50; ++tries)); do # the daemons write their lines in their own time
    [ "$(compgen -G "$root/var/log/tesk*d.log" | wc -l)" -lt ${#daemons[@]} ] || break
    sleep 0.1
  done
  echo "trace:"
  sed 's/^/  /' "$root"/var/log/{teskindex,teskindexd,teskvideoindexd,teskvideometadatad,teskdtv}.log || return
  echo "load:"
  after=$(request action=load) || { echo "$after"; return 1; }
  echo "$after"
  [[ $after == *'"/tv/recordings"'* && $after == *'"pre_recording":60'* && $after == *'"disable_dtv":true'* ]]
}

serve() { # BUILD_DIR, which is locked
  build_dir=$(readlink -f "$1")
  root=$build_dir/root server=$build_dir/server
  set_up_root
  set_up_accounts
  write_wrapper
  write_server_conf
  start_all
  echo "load:"
  local answer
  answer=$(request action=load) || die "the first load failed: ${answer:-no answer}"
  echo "$answer"
  if $once; then
    show_save || die "the save failed, or does not show in the second load"
    return
  fi
  forget_check_account
  echo "page: http://127.0.0.1:$port/   program: POST http://127.0.0.1:$port/dtv_manage.cgi"
  echo "log: $server/error.log"
  echo "ready: http://127.0.0.1:$port/"
  wait "$lighttpd" || true
  die "the server has ended; its log is $server/error.log"
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  [ $# -gt 0 ] || refuse "no build folder"
  parse_options "${@:2}"
  lock "$1"
  serve "$1"
fi
