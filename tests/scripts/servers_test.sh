#!/usr/bin/env bash
# servers_test.sh SOURCES: scripts and documents name no server; the one address is the name of a file's form.
set -euo pipefail
cd "$1"
if grep -rnE '(https?|ftp|rsync)://|deb\.debian\.org' scripts .ci packaging docs README.md --include='*' |
  grep -vE '^[^:]*\.png:|^packaging/debian/copyright.in:1:'; then
  echo "servers are named in the lines above"
  exit 1
fi
