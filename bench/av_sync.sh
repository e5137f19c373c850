#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Picture against sound over repeated takes: the framed screen flashes while a microphone that
# is loud from its first sample clicks louder (the take of `app_record_tests`,
# RecordCommand.soundAndPicture…, 4 s at 30 fps). Prints, per take, how long the flashes trail
# their clicks and the silence at the take's start, then the spread over every flash.
#   bash bench/av_sync.sh [BUILD_DIR] [TAKES]
set -euo pipefail
build=$(realpath "${1:-build}")
takes=${2:-20}
work=$(mktemp -d /tmp/vorn-av-sync-XXXXXX)
trap 'rm -rf "$work"' EXIT

for take in $(seq 1 "$takes"); do
  "$build/tests/app_record_tests" --gtest_filter='RecordCommand.soundAndPicture*' \
    --gtest_output="xml:$work/$take.xml" > "$work/$take.log" 2>&1 || echo "take $take: the test failed"
  trails=$(grep 'name="trails_ms"' "$work/$take.xml" | grep -o 'value="[^"]*"' | cut -d'"' -f2)
  leading=$(grep 'name="leading_silence_ms"' "$work/$take.xml" | grep -o 'value="[^"]*"' | cut -d'"' -f2)
  echo "take $take: trails ${trails:-?} ms, silence at the start ${leading:-?} ms"
  tr ',' '\n' <<< "$trails" >> "$work/all"
done

sort -g "$work/all" | awk '
  { v[NR] = $1 }
  END {
    if (NR == 0) exit 1
    printf "%d flashes: picture after sound min %.1f, median %.1f, p90 %.1f, max %.1f ms\n",
           NR, v[1], v[int((NR + 1) / 2)], v[int(NR * 0.9 + 0.5)], v[NR]
  }'
