# Sourced by server/serve.sh for --once: shows what the program does, through the web server.
# shellcheck shell=bash
# shellcheck disable=SC2154 # serve.sh sets the variables

# Loads, saves one setting of each file, shows the traces that the save left in the stand-in's files, and
# loads again. Fails unless all succeed and the second load shows what was saved.
show_requests() {
  echo "load:"
  request action=load || return
  echo "save:"
  request 'action=save&share=tv&subpath=recordings&pre_recording=60&streaming_limit=3&disable_dtv=yes' || return
  show_trace || return
  echo "load:"
  request action=load || return
  [[ $answer == *'"disable_dtv":true,"dtv_destination":"/tv/recordings"'*'"pre_recording":60,"streaming_limit":3'* ]]
}

# request FORM: prints the answer, and sets `answer`; fails unless the request succeeded.
request() {
  # The password goes in through a file: everybody can read arguments. A proxy must not get it.
  read -r answer < <(curl -q -sS --noproxy '*' --max-time 60 -K <(printf 'user = "admin:%s"' "$password") \
    -d "$1" "http://127.0.0.1:$port/dtv_manage.cgi") || return
  echo "$answer"
  [[ $answer == *'"success":true'* ]]
}

show_trace() {
  local logs=("$root"/var/log/{teskindex,teskindexd,teskvideoindexd,teskvideometadatad,teskdtv}.log) tries
  for ((tries = 0; tries < 50; ++tries)); do # the daemons write their lines a moment later
    ls "${logs[@]}" > /dev/null 2>&1 && break
    sleep 0.1
  done
  echo "trace:"
  sed 's/^/  /' "${logs[@]}"
}
