#!/bin/sh
# answer.sh ROOT: what the program does for `load`, as a shell script with jq.
set -eu
etc=$1/var/packages/Cinquill/etc
[ "$QUERY_STRING" = action=load ]
grep -Eq "^administrators:.*[:,]$REMOTE_USER(,|\$)" "$1/etc/group"
disabled=false
if grep -qx disable_dtv=yes "$etc/dtv_setting.conf"; then disabled=true; fi
conflict=$("$1/var/packages/Cinquill/scripts/check-dvb-conflict.sh" check)
printf 'Content-Type: text/plain; charset="UTF-8"\r\n\r\n'
exec jq -cn --arg conflict "$conflict" --argjson disabled "$disabled" \
  --slurpfile folders "$etc/folder.conf" --slurpfile stream "$etc/stream.conf" --slurpfile record "$etc/record.conf" '
  $stream[0] as $s | $record[0] as $r
  | [$folders[0][] | objects | .path = ([.share, .subpath | strings | select(. != "") | "/" + .] | add)]
  | (map(select(.section == "tv_record" and (.library_id // "") == ""))[0].path // "") as $path
  | {success: true, data: {
      closestreaming: ($r.closestreaming == "yes"), pre_recording: $r.pre_recording, post_recording: $r.post_recording,
      enableauth: ($s.enableauth == "yes"), account: $s.account, passwd: "24681357", password_confirm: "75318642",
      enable_viewer_limit: ($s.enable_viewer_limit == "yes"), streaming_limit: $s.streaminglimit,
      dtv_destination: $path, disable_dtv: $disabled, DVB_conflict: ($conflict == "yes")}}'
