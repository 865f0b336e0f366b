#!/bin/sh
# The gateway of a host under test: answers no request COMMAND while /run/hold-COMMAND is there, and
# gives /run/answer in place of every answer while that is there. Requests are noted in /run/requests.
command=${QUERY_STRING##*vc=}
echo "$command" >>/run/requests
while [ -e "/run/hold-$command" ]; do sleep 0.1; done
if [ -e /run/answer ]; then
  cat >/dev/null
  exec cat /run/answer
fi
exec /usr/bin/vod.cgi.real
