#!/usr/bin/env bash
# Installs what is missing, builds, and starts Vorn. Without a display it starts a virtual
# one (Xvfb), opens the studio there with the sample camera, records a 5-second take and
# prints where the take is.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
bash tools/build.sh
vorn="${VORN_BUILD_DIR:-build}/vorn"

if [ -n "${DISPLAY:-}" ]; then
  exec "$vorn" "$@"
fi

exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
trap 'kill $xvfb_pid 2>/dev/null' EXIT
trap 'exit 130' INT TERM
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number"
echo "No display found: started a virtual display (Xvfb) at $DISPLAY."
echo "Opening the studio there and recording a 5-second take with the sample camera:"
VORN_AUTORECORD=5 "$vorn" "$@"
