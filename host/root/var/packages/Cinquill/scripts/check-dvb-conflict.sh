#!/bin/sh
# Says whether two services want the same tuner: yes when etc/tesk/dvb_conflict exists, else no.
[ "$1" = check ] || exit 2
root=${0%/var/packages/*}
if [ -e "$root/etc/tesk/dvb_conflict" ]; then echo yes; else echo no; fi
