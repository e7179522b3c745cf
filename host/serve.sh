#!/usr/bin/env bash
# host/serve.sh BUILD_DIR [--port N] [--reset] [--once]
# Serves the settings page and the program of one build folder behind lighttpd, on 127.0.0.1 only,
# until it is told to stop; everything it started then stops with it. `run` sources this file.

set -euo pipefail
umask 077 # settings hold a plain-text password
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
# shellcheck source=host/packages.sh
. "$source_dir/host/packages.sh"

daemons=(teskindexd teskvideoindexd teskvideometadatad)
children=()

parse_options() {
  port=8080 reset=false once=false
  while [ $# -gt 0 ]; do
    case $1 in
      --port) port=${2-}; shift ;;
      --reset) reset=true ;;
      --once) once=true ;;
      *) die "unknown option $1; the options are --port N, --reset and --once" ;;
    esac
    shift || die "--port needs a number"
  done
  if ! [[ $port =~ ^[1-9][0-9]{0,4}$ ]] || ((port > 65535)); then
    die "--port needs a number from 1 to 65535"
  fi
  if (: < "/dev/tcp/127.0.0.1/$port") 2> /dev/null; then
    die "port $port is taken; choose another one with --port N"
  fi
}

stop_children() {
  [ ${#children[@]} -eq 0 ] || kill "${children[@]}" 2> /dev/null || true
  wait
  [ -z "${htpasswd-}" ] || forget_check_account
}

# start COMMAND...: in the background; it ends with this script, also when that is killed.
start() {
  setpriv --pdeathsig TERM "$@" 9>&- &
  children+=($!)
}

set_up_root() {
  if $reset; then
    rm -rf "$root" "$server"
  fi
  if [ ! -d "$root/etc" ]; then
    rm -rf "$root" "$root.new"
    cp -R "$source_dir/host/root" "$root.new"
    mv "$root.new" "$root"
  fi
  rm -f "$root"/var/run/*.pid # of daemons that were killed: their numbers may be others' now
  mkdir -p "$server"
}

add_account() { # NAME PASSWORD
  printf '%s:%s\n' "$1" "$(openssl passwd -6 -stdin <<< "$2")" >> "$htpasswd"
}

forget_check_account() {
  if [ -e "$htpasswd" ]; then
    sed -i '/^startup-check:/d' "$htpasswd"
  fi
}

# The administrator's password is known only when it is made; later starts sign in for their own
# requests with an account whose password lives as long as the start.
set_up_accounts() {
  htpasswd=$server/htpasswd
  forget_check_account
  check_account=startup-check check_password=$(openssl rand -hex 16)
  if [ ! -s "$htpasswd" ]; then
    check_account='admin'
    add_account admin "$check_password"
    echo "user name: admin"
    echo "password: $check_password"
  else
    add_account startup-check "$check_password"
  fi
}

write_server_conf() {
  cat > "$server/lighttpd.conf" << END
# mod_setenv first: its headers are for refusals, too.
server.modules = ("mod_setenv", "mod_access", "mod_alias", "mod_auth", "mod_authn_file", "mod_cgi")
server.bind = "127.0.0.1"
server.port = $port
server.document-root = "$source_dir/host/www"
server.errorlog = "$server/error.log"
server.breakagelog = "$server/error.log"
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
  alias.url = ("/dtv_manage.cgi" => "$build_dir/dtv_manage.cgi")
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

is_serving() {
  [ "$(compgen -G "$root/var/run/tesk*d.pid" | wc -l)" -eq ${#daemons[@]} ] &&
    (: < "/dev/tcp/127.0.0.1/$port") 2> /dev/null
}

start_all() {
  local name
  for name in "${daemons[@]}"; do
    start "$root/usr/tesk/sbin/teskdaemon" "$name"
  done
  start lighttpd -D -f "$server/lighttpd.conf"
  local lighttpd=$! tries=0
  until is_serving; do
    if ! kill -0 "$lighttpd" 2> /dev/null || [ $((tries += 1)) -gt 100 ]; then
      die "the server does not start: $(tail -n1 "$server/error.log" 2> /dev/null)"
    fi
    sleep 0.1
  done
}

# request PARAMETER...: prints the answer; fails unless it says that the request succeeded.
request() {
  local answer parameters=()
  for parameter in "$@"; do
    parameters+=(--data-urlencode "$parameter")
  done
  # The password goes in by a file: arguments are for all to see.
  answer=$(curl -sS --max-time 60 -K <(printf 'user = "%s:%s"' "$check_account" "$check_password") \
    "${parameters[@]}" "http://127.0.0.1:$port/dtv_manage.cgi") || return
  echo "$answer"
  [[ $answer == *'"success":true'* ]]
}

# Stores a destination, options and a switch that differ from what is stored, and shows what the
# appliance's services saw of it. Fails unless the save and a load that shows it succeed.
show_save() {
  local before=$1 switch=yes off=true subpath after
  if [[ $before == *'"disable_dtv":true'* ]]; then
    switch=no off=false
  fi
  subpath=recordings/$(date +%Y-%m-%d.%H%M%S.%N)
  rm -f "$root"/var/log/*.log
  echo "save:"
  request action=save share=tv "subpath=$subpath" \
    closestreaming=true pre_recording=60 post_recording=300 \
    enableauth=true account=viewer passwd=24681357 password_confirm=75318642 \
    enable_viewer_limit=true streaming_limit=3 "disable_dtv=$switch" || return
  sleep 0.3 # the daemons write their lines in their own time
  echo "trace:"
  sed 's/^/  /' "$root"/var/log/{teskindex,teskindexd,teskvideoindexd,teskvideometadatad,teskdtv}.log || return
  echo "load:"
  after=$(request action=load) || { echo "$after"; return 1; }
  echo "$after"
  [[ $after == *"\"/tv/$subpath\""* && $after == *'"pre_recording":60'* && $after == *"\"disable_dtv\":$off"* ]]
}

serve() { # BUILD_DIR
  build_dir=$(cd "$1" && pwd -P)
  root=$build_dir/root server=$build_dir/server
  exec 9> "$build_dir/serve.lock"
  flock -n 9 || die "this folder's page is being served already; stop that first"
  trap stop_children EXIT
  trap 'exit 143' TERM
  trap 'exit 130' INT
  set_up_root
  set_up_accounts
  write_server_conf
  start_all
  echo "load:"
  local answer
  answer=$(request action=load) || die "the first load failed: ${answer:-no answer}"
  echo "$answer"
  if $once; then
    show_save "$answer" || die "the save failed, or does not show in the second load"
    return
  fi
  forget_check_account
  echo "page: http://127.0.0.1:$port/   program: POST http://127.0.0.1:$port/dtv_manage.cgi"
  echo "ready: http://127.0.0.1:$port/"
  wait "${children[-1]}"
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  [ $# -gt 0 ] || die "usage: host/serve.sh BUILD_DIR [--port N] [--reset] [--once]"
  parse_options "${@:2}"
  serve "$1"
fi
