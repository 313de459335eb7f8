#!/usr/bin/env bash
# The service's Python SDK; sdk.py holds the steps, and asks here for the service's being killed.
. "$(dirname "$0")/../support/shell.sh"
options=(--recommended-part-size 5000000 --data "$scratch/data")
start_emulator "${options[@]}"
coproc sdk { exec /usr/bin/python3 "$(dirname "$0")/sdk.py"; }
# shellcheck disable=SC2154  # the coprocess sets it
steps=$sdk_PID
exec {said}<&"${sdk[0]}" {told}>&"${sdk[1]}"
while read -r word <&"$said"; do
  equal "what sdk.py asks for" "$word" restart
  restart_emulator "${options[@]}"
  echo done >&"$told"
done
wait "$steps"
finish
