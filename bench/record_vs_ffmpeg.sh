#!/bin/bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Recording end to end: `vorn record` against the ffmpeg pipeline a user would write instead,
# on a private Xvfb showing a window that paints a frame counter at 60 Hz.
#
# usage: bench/record_vs_ffmpeg.sh [BUILD_DIR] [REPEATS] [SECONDS]
#   (defaults: build 2 20). Prints one line per run and a table; the takes stay in $OUT_DIR
#   (default a fresh temporary folder, printed at the end).
#
# For every repeat and every rate (30, 60 fps) it records the same area of the screen with
#   vorn        `vorn record` at its own libx264 preset
#   vorn-vf     `vorn record` with VORN_X264_PRESET=veryfast
#   ffmpeg      x11grab + filter_complex (card, blurred backdrop, overlay) + libx264 veryfast
#               with libx264's own defaults for that preset (rc-lookahead 10, 3 B-frames)
#   ffmpeg-same the same pipeline with Vorn's encoder settings: veryfast, no lookahead, no
#               B-frames, CABAC and 8x8 transforms on, a keyframe every two seconds
# and reports CPU seconds of the recording process and its children per recorded second,
# frames in the file, distinct counter values in the file (and per second) and, for Vorn, its
# own count of dropped frames.
set -euo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
repeats=${2:-2}
seconds=${3:-20}
for program in vorn bench/counter_window bench/counter_probe bench/child_cpu; do
  [[ -x $build/$program ]] || { echo "missing $build/$program: build the project first" >&2; exit 1; }
done

# The captured area: 600 × 788, the floating card's shape (968:1270), centred on the pointer
# (Xvfb leaves it in the middle of the screen, and it does not move): Vorn's cursor follow
# then holds the area still. The pointer lies below the stripes, over the number.
area_x=660 area_y=146 area_w=600 area_h=788
out=${OUT_DIR:-$(mktemp -d /tmp/vorn-recordbench.XXXXXX)}
mkdir -p "$out"
home=$(mktemp -d /tmp/vorn-recordbench-home.XXXXXX)
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data \
  XDG_CACHE_HOME=$home/cache XDG_RUNTIME_DIR=$home/run
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset VORN_X264_PRESET VORN_SAMPLE_SCREEN VORN_SAMPLE_CAMERA

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$home"
}
trap cleanup EXIT

# A private X server; it writes its display number to the pipe once it accepts clients.
mkfifo "$home/display"
Xvfb -displayfd 3 -screen 0 1920x1080x24 -nolisten tcp -noreset 3>"$home/display" \
  >"$out/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 20 display_number <"$home/display"
export DISPLAY=:$display_number
export QT_QPA_PLATFORM=xcb

"$build/bench/counter_window" $area_x $area_y $area_w $area_h >"$out/window.log" 2>&1 &
pids+=($!)
sleep 2

# Sets cpu (seconds) from child_cpu's line in the file $1.
read_cpu() {
  local user system
  read -r _ user _ system _ < <(grep '^cpu_user' "$1")
  cpu=$(awk -v u="$user" -v s="$system" 'BEGIN { print u + s }')
}

run_vorn() {  # name fps file [preset]
  local name=$1 fps=$2 file=$3 preset=${4:-}
  env ${preset:+VORN_X264_PRESET=$preset} "$build/bench/child_cpu" \
    "$build/vorn" record --seconds "$seconds" --layout screen --style floating --fps "$fps" \
    --area $area_x,$area_y,$area_w,$area_h --no-mic --out "$file" \
    >"$file.log" 2>&1 || { echo "$name failed:" >&2; cat "$file.log" >&2; return 1; }
  dropped=$(sed -n 's/^dropped frames: //p' "$file.log")
}

run_ffmpeg() {  # fps file [x264-params]
  local fps=$1 file=$2 params=${3:-} rate=12M
  [[ $fps == 60 ]] && rate=18M
  "$build/bench/child_cpu" \
    ffmpeg -hide_banner -nostdin -loglevel error -y \
      -f x11grab -framerate "$fps" -video_size ${area_w}x${area_h} -i "$DISPLAY+$area_x,$area_y" \
      -filter_complex "[0:v]split=2[bg0][fg0];[bg0]scale=1080:1920:force_original_aspect_ratio=increase,crop=1080:1920,boxblur=20[bg];[fg0]scale=968:1270[fg];[bg][fg]overlay=56:210,format=yuv420p[v]" \
      -map "[v]" -c:v libx264 -preset veryfast ${params:+-x264-params "$params" -g $((2 * fps))} \
      -b:v $rate -s 1080x1920 -pix_fmt yuv420p \
      -t "$seconds" "$file" \
    >"$file.log" 2>&1 || { echo "ffmpeg failed:" >&2; cat "$file.log" >&2; return 1; }
  dropped=-
}

echo "# $(date -u '+%F %T UTC'), $(nproc) cores, $(uptime | sed 's/.*load/load/')"
printf '%-11s %3s %3s %7s %7s %6s %8s %8s %7s %7s  %s\n' run fps rep cpu_s rec_s cores frames distinct dist/s dropped load
results=$out/results.txt
: >"$results"
for rep in $(seq 1 "$repeats"); do
  for fps in 30 60; do
    for name in vorn vorn-vf ffmpeg ffmpeg-same; do
      file=$out/$name-$fps-$rep.mp4
      rm -f "$file"  # vorn never overwrites a take
      case $name in
        vorn) run_vorn $name "$fps" "$file" ;;
        vorn-vf) run_vorn $name "$fps" "$file" veryfast ;;
        ffmpeg) run_ffmpeg "$fps" "$file" ;;
        ffmpeg-same) run_ffmpeg "$fps" "$file" "rc-lookahead=0:sync-lookahead=0:bframes=0:cabac=1:8x8dct=1" ;;
      esac
      load=$(cut -d' ' -f1 /proc/loadavg)
      read_cpu "$file.log"
      read -r _ frames _ duration _ distinct _ fresh _ per_second _ unreadable _ span \
        < <("$build/bench/counter_probe" "$file")
      cores=$(awk -v c="$cpu" -v d="$duration" 'BEGIN { print c / d }')
      line=$(printf '%-11s %3s %3s %7.2f %7.2f %6.2f %8s %8s %7.2f %7s  %s' \
        $name "$fps" "$rep" "$cpu" "$duration" "$cores" "$frames" "$distinct" "$per_second" \
        "$dropped" "$load")
      echo "$line"
      echo "$line unreadable=$unreadable new=$fresh span=$span" >>"$results"
    done
  done
done
echo "# takes and logs in $out"
