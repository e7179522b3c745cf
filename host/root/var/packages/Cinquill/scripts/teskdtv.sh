#!/bin/sh
# Starts or stops the DTV service: here it only writes a word to var/run/teskdtv.state.
root=${0%/var/packages/*}
echo "teskdtv.sh $*" >> "$root/var/log/teskdtv.log"
case $1 in
  start) state=running ;;
  stop) state=stopped ;;
  *) echo "usage: teskdtv.sh start|stop [FORCE]" >&2; exit 2 ;;
esac
echo "$state" > "$root/var/run/teskdtv.state"
echo "DTV service $state"
