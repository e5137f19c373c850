#!/usr/bin/env bash
# Installs what is missing, builds, and starts Vorn. Without a display it starts a virtual
# one (Xvfb) and, without a sound server, a private one with a tone for a microphone; it opens
# the studio there with the sample camera, records a 5-second take and prints where it is.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
bash tools/build.sh
vorn="${VORN_BUILD_DIR:-build}/vorn"

if [ -n "${DISPLAY:-}" ]; then
  exec "$vorn" "$@"
fi

helpers=()
trap 'kill "${helpers[@]}" 2>/dev/null' EXIT
trap 'exit 130' INT TERM

exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
helpers+=($!)
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number"
echo "No display found: started a virtual display (Xvfb) at $DISPLAY."

# Without a sound server the take would have no sound: a private one stands in, with a quiet
# 440 Hz tone as its microphone.
if ! pactl info >/dev/null 2>&1; then
  pulse_dir=$(mktemp -d /tmp/vorn-pulse-XXXXXX)
  pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --disallow-exit \
    -L "module-native-protocol-unix socket=$pulse_dir/native" \
    -L "module-null-sink sink_name=speakers rate=48000" \
    -L "module-sine-source source_name=sample_tone frequency=440 rate=48000" >/dev/null 2>&1 &
  helpers+=($!)
  export PULSE_SERVER="unix:$pulse_dir/native"
  for _ in $(seq 50); do pactl info >/dev/null 2>&1 && break; sleep 0.2; done
  pactl set-default-source sample_tone && pactl set-source-volume sample_tone 50%
  echo "No sound server found: started one whose microphone plays a quiet 440 Hz tone."
fi

# A virtual display has no camera of its own: the demo asks for the sample one, by name.
echo "Opening the studio there and recording a 5-second take with the sample camera (a built-in portrait):"
VORN_SAMPLE_CAMERA=":/vorn/sample-face.jpg" VORN_AUTORECORD=5 "$vorn" "$@"
