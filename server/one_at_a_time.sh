#!/bin/sh
# The web server runs a copy of this script in the program's place. The settings have no lock of their
# own, so requests run one at a time. A request that cannot begin within 30 seconds gets an error. One
# that begins has at least 30 of the server's 60 seconds left. On an appliance, change the two paths:
# the lock lies in a folder that only the web server's user may enter. Our child processes do not inherit
# the lock's descriptor. If yours do, close it (3>&-) in any service that the control script starts.
state=${0%/*}
unset HTTP_AUTHORIZATION # other scripts of this user could read it while this one waits
exec flock --no-fork --wait 30 "$state/request.lock" "${state%/*}/dtv_manage.cgi"
