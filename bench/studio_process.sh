#!/bin/bash
# SPDX-License-Identifier: GPL-3.0-or-later
# The studio as a process, on a private Xvfb (a static screen) and PulseAudio server with a
# sine microphone and the sample camera:
#   start       `vorn` launched to its first composed preview (its own VORN_DEBUG line)
#   framing     `vorn` open in framing, nothing moving
#   studio-rec  `vorn` recording screen/floating at 30 fps (VORN_AUTORECORD)
#   record      `vorn record` of the same frame, layout and rate
# Each CPU figure is the process's CPU time over a window of SECONDS in the middle of its run,
# read from /proc, as a share of one core.
#
# usage: bench/studio_process.sh [BUILD_DIR] [SECONDS] [REPEATS]   (defaults: build 10 3)
set -euo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
window=${2:-10}
repeats=${3:-3}
home=$(mktemp -d /tmp/vorn-studiocpu.XXXXXX)
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data \
  XDG_CACHE_HOME=$home/cache XDG_RUNTIME_DIR=$home/run
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset VORN_X264_PRESET VORN_SAMPLE_SCREEN VORN_SAMPLE_CAMERA VORN_DEBUG
# Saved preferences: screen / floating at 30 fps, for the studio and `vorn record` alike.
mkdir -p "$XDG_CONFIG_HOME/Vorn"
cat >"$XDG_CONFIG_HOME/Vorn/Vorn.conf" <<'PREFS'
[General]
prefs="@ByteArray({\"layout\":\"screen\",\"style\":\"floating\",\"cameraOn\":true,\"micOn\":true,\"systemAudio\":false,\"follow\":true,\"clickZoom\":false,\"platform\":\"reels\",\"fps\":30,\"mirror\":true,\"splitRatio\":0.54,\"cameraOnTop\":false,\"bubbleX\":0.24,\"bubbleY\":0.72,\"bubbleSize\":0.3,\"script\":\"\",\"prompterSpeed\":30})"
PREFS

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  pulseaudio --kill 2>/dev/null || true
  rm -rf "$home"
}
trap cleanup EXIT

mkfifo "$home/display"
Xvfb -displayfd 3 -screen 0 1920x1080x24 -nolisten tcp -noreset 3>"$home/display" >/dev/null 2>&1 &
pids+=($!)
read -r -t 20 display_number <"$home/display"
export DISPLAY=:$display_number QT_QPA_PLATFORM=xcb
pulseaudio -n --daemonize=yes --exit-idle-time=-1 -L module-native-protocol-unix \
  -L "module-null-sink sink_name=vsink" -L "module-sine-source source_name=vsine" >/dev/null 2>&1
pactl set-default-source vsine

# Seconds of CPU the process has used so far.
cpu_of() { awk '{ print ($14 + $15) / 100 }' "/proc/$1/stat"; }

# Starts "$@" in the background, waits `lead` seconds, and measures `window` seconds.
measure() {  # name lead command...
  local name=$1 lead=$2
  shift 2
  "$@" >"$home/$name.log" 2>&1 &
  local pid=$!
  sleep "$lead"
  local before after
  before=$(cpu_of $pid)
  sleep "$window"
  after=$(cpu_of $pid)
  kill -TERM $pid 2>/dev/null || true
  wait $pid 2>/dev/null || true
  awk -v a="$after" -v b="$before" -v w="$window" -v n="$name" \
    'BEGIN { printf "%-11s %6.1f %% of a core\n", n, 100 * (a - b) / w }'
}

# Launches the studio and waits for its first preview line.
start() {
  VORN_DEBUG=1 "$build/vorn" >"$home/start.log" 2>&1 &
  local pid=$! line=""
  for _ in $(seq 1 100); do
    line=$(grep -o 'first preview [0-9]* ms' "$home/start.log" || true)
    [ -n "$line" ] && break
    sleep 0.1
  done
  kill -TERM $pid 2>/dev/null || true
  wait $pid 2>/dev/null || true
  printf '%-11s %s\n' start "${line:-no preview within 10 s}"
}

echo "# $(date -u '+%F %T UTC'), $(nproc) cores, $(uptime | sed 's/.*load/load/')"
for rep in $(seq 1 "$repeats"); do
  start
  measure framing 4 "$build/vorn"
  # The countdown takes 3 s and the take starts a moment later.
  VORN_AUTORECORD=$((window + 20)) measure studio-rec 8 "$build/vorn"
  measure record 4 "$build/vorn" record --seconds $((window + 20)) --layout screen \
    --style floating --fps 30
done
