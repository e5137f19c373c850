#!/usr/bin/env bash
# Installs what is missing, builds, and starts Vorn. Without a display it starts a virtual
# one (Xvfb) first and says so.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
bash tools/build.sh
vorn="${VORN_BUILD_DIR:-build}/vorn"

if [ -z "${DISPLAY:-}" ]; then
  exec {display_fd}<> <(:)
  Xvfb -displayfd "$display_fd" -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
  xvfb_pid=$!
  read -r -t 10 number <&"$display_fd"
  export DISPLAY=":$number"
  echo "No display found: started a virtual display (Xvfb) at $DISPLAY for Vorn."
fi

# Vorn runs as a child so that stopping this script also stops it and the virtual display.
"$vorn" "$@" &
vorn_pid=$!
trap 'kill $vorn_pid ${xvfb_pid:-} 2>/dev/null' EXIT
trap 'exit 130' INT TERM
wait $vorn_pid
