#!/usr/bin/env bash
# The service's Python SDK; sdk.py holds the steps.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --recommended-part-size 5000000
/usr/bin/python3 "$(dirname "$0")/sdk.py"
finish
