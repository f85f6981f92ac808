#!/usr/bin/env bash
# Checks the build's Debian packages; installs the missing ones with apt-get
# when run as root, otherwise names them and fails.
set -euo pipefail
need=()
have() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }
for p in "$@"; do have "$p" || need+=("$p"); done
[ ${#need[@]} -eq 0 ] && exit 0
echo "missing packages: ${need[*]}" >&2
if [ "$(id -u)" = 0 ]; then
  DEBIAN_FRONTEND=noninteractive apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${need[@]}"
else
  echo "install them with: sudo apt-get install ${need[*]}" >&2
  exit 1
fi
