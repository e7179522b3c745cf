# Sourced by server/serve.sh for --once: shows what the program does, through the web server.
# shellcheck shell=bash
# shellcheck disable=SC2154 # serve.sh sets the variables

# Loads, saves a destination, options and the switch, shows the traces that the save left in the
# appliance's files, and loads again. Fails unless all succeed and the second load shows what was saved.
show_requests() {
  echo "load:"
  request action=load || return
  echo "save:"
  request action=save share=tv subpath=recordings \
    closestreaming=true pre_recording=60 post_recording=300 \
    enableauth=true account=viewer passwd=demo password_confirm=demo \
    enable_viewer_limit=true streaming_limit=3 disable_dtv=yes || return
  show_trace || return
  echo "load:"
  request action=load || return
  [[ $answer == *'"/tv/recordings"'* && $answer == *'"pre_recording":60'* && $answer == *'"disable_dtv":true'* ]]
}

# request PARAMETER...: prints the answer, and sets `answer`; fails unless the request succeeded.
request() {
  local parameter parameters=()
  for parameter in "$@"; do
    parameters+=(--data-urlencode "$parameter")
  done
  # The password goes in through a file: everybody can read arguments. A proxy must not get it.
  read -r answer < <(curl -q -sS --noproxy '*' --max-time 60 -K <(printf 'user = "admin:%s"' "$password") \
    "${parameters[@]}" "http://127.0.0.1:$port/dtv_manage.cgi") || return
  echo "$answer"
  [[ $answer == *'"success":true'* ]]
}

show_trace() {
  local tries logs
  for ((tries = 0; tries < 50; ++tries)); do # the daemons write their lines a moment later
    mapfile -t logs < <(compgen -G "$root/var/log/tesk*d.log")
    [ ${#logs[@]} -lt ${#daemons[@]} ] || break
    sleep 0.1
  done
  echo "trace:"
  sed 's/^/  /' "$root"/var/log/{teskindex,teskindexd,teskvideoindexd,teskvideometadatad,teskdtv}.log
}
