#!/usr/bin/env bash
# Installs what is missing, builds, and starts Vorn. Without a display it starts a virtual
# one (Xvfb), shows the studio on it and records a short take there with the sample camera,
# then prints where the take is.
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
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number"
echo "No display found: started a virtual display (Xvfb) at $DISPLAY."

"$vorn" >/dev/null 2>&1 &
studio_pid=$!
trap 'kill $studio_pid $xvfb_pid 2>/dev/null' EXIT
trap 'exit 130' INT TERM
sleep 1
echo "Recording a 5-second take of the virtual display with the sample camera:"
"$vorn" record --seconds 5 --area 0,0,600,788 "$@"
