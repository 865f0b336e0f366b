#!/bin/sh
# The gateway of a host under test: answers no request COMMAND while /run/hold-COMMAND is there, and
# gives /run/answer in place of every answer while that is there. /run/hold-answer-of-COMMAND lets it
# carry out the request but holds back the answer. Requests are noted in /run/requests, those that are
# held in /run/held too, and the process that holds the latest in /run/gateway.pid.
command=${QUERY_STRING##*vc=}
echo "$command" >>/run/requests
if [ -e "/run/hold-$command" ]; then
  echo $$ >/run/gateway.pid
  echo "$command" >>/run/held
  while [ -e "/run/hold-$command" ]; do sleep 0.1; done
fi
if [ -e /run/answer ]; then
  cat >/dev/null
  exec cat /run/answer
fi
if [ -e "/run/hold-answer-of-$command" ]; then
  answer=$(/usr/bin/vod.cgi.real)
  touch /run/answered
  while [ -e "/run/hold-answer-of-$command" ]; do sleep 0.1; done
  printf '%s\n' "$answer"
  exit
fi
exec /usr/bin/vod.cgi.real
