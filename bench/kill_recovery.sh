#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What a kill -9 costs a take written outside the takes folder: each round records with
# `vorn record --out` on a private Xvfb, kills it 2–6 s after "Recording…", then runs again
# with the same --out, which recovers the killed take beside it. Prints, per round, how long
# the take had been recording, how long the recovered take is, and the difference.
#   bash bench/kill_recovery.sh [BUILD_DIR] [ROUNDS]
set -euo pipefail
build=$(realpath "${1:-build}")
rounds=${2:-10}
work=$(mktemp -d /tmp/vorn-kill-XXXXXX)
exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1280x720x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill $xvfb 2>/dev/null; rm -rf "$work"' EXIT
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number" HOME="$work/home"
mkdir -p "$HOME" "$work/out"

now() { date +%s.%N; }
# exec: a kill reaches vorn itself, not a shell around it.
record() { exec "$build/vorn" record --no-camera --no-mic --fps 30 --out "$work/out/take$1.mp4" "${@:2}"; }

worst=0
for round in $(seq 1 "$rounds"); do
  record "$round" --seconds 60 > "$work/log$round" 2>&1 &
  pid=$!
  for _ in $(seq 3000); do grep -q '^Recording' "$work/log$round" && break; sleep 0.01; done
  began=$(now)
  sleep "$(awk -v r="$RANDOM" 'BEGIN { printf "%.3f", 2 + 4 * r / 32767 }')"
  kill -9 "$pid"
  wait "$pid" 2>/dev/null || true
  recorded=$(awk -v a="$began" -v b="$(now)" 'BEGIN { printf "%.2f", b - a }')
  (record "$round" --seconds 0.5) > "$work/again$round" 2>&1 || { cat "$work/again$round"; exit 1; }
  kept=$(ffprobe -v error -show_entries format=duration -of csv=p=0 \
           "$work/out/take$round (recovered).mp4" 2>/dev/null || echo 0)
  lost=$(awk -v r="$recorded" -v k="$kept" 'BEGIN { printf "%.2f", r - k }')
  echo "round $round: recorded $recorded s, recovered $(printf '%.2f' "$kept") s, lost $lost s"
  worst=$(awk -v w="$worst" -v l="$lost" 'BEGIN { print (l > w ? l : w) }')
done
echo "most lost to a kill: $worst s"
