#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# A 3-minute take to a finished reel: wall time, listening (transcription) against the take's
# length, rendering against the reel's length, and peak memory of vorncut.
#   bash bench/reel_3min.sh [BUILD_DIR]
# The take: espeak-ng reads 36 sentences at 150 words a minute with 1.2 s pauses into a
# 1080 × 1920, 30 fps moving test picture, written as the studio writes a take (libx264
# superfast, a keyframe every 2 s, no B-frames, fragments; AAC 48 kHz); the run is timed
# without and with the script known. Wall times follow the machine's load; the CPU seconds of
# each stage less so.
set -euo pipefail
build=$(realpath "${1:-build}")
work=$(mktemp -d /tmp/vorn-reel-bench-XXXXXX)
trap 'rm -rf "$work"' EXIT

sentences=(
  "Here is the one thing nobody tells you about recording videos at home."
  "Good light matters more than an expensive camera, every single time."
  "Why does that work? Because your face is what people actually watch."
  "Put the window in front of you, never behind you."
  "A cheap lamp bounced off a white wall looks softer than a bare bulb."
  "Now let us talk about sound, which matters even more than light."
  "People forgive a grainy picture, but they leave when the sound is bad."
  "Keep the microphone close, about one hand away from your mouth."
  "Turn off the fridge and the fan before you press record."
  "Soft things in the room, like curtains and a sofa, kill the echo."
  "The third thing is the script, and most people skip it."
  "Write the first sentence last, once you know what the video is about."
  "Your first three seconds decide whether anyone stays."
  "Start with the result, then explain how you got there."
  "Say one idea per video, not five."
  "If you can explain it in one breath, it fits in a reel."
  "Read the script twice out loud before you record it."
  "You will hear the words that trip you, and you can change them."
  "Look at the lens, not at your own face on the screen."
  "That feels strange at first, but viewers feel like you talk to them."
  "Record three takes and keep the one with the most energy."
  "Energy beats perfection, so do not chase a flawless take."
  "Cut every pause longer than half a second."
  "Cut every sentence that repeats what you already said."
  "Captions matter, because most people watch without sound."
  "Big words in the middle of the screen work better than small ones at the bottom."
  "Keep the captions away from the buttons of the app."
  "Post at the same time every day for two weeks."
  "Then look at which video kept people watching the longest."
  "Make five more videos like that one."
  "Ignore the likes for now and watch the retention."
  "Retention tells you where people got bored."
  "Fix that moment in your next video."
  "After ten videos you will see a pattern in what works."
  "The people who win are the ones who keep posting."
  "So record your first video today, with the light in front of you."
)

echo "making a 3-minute take in $work"
inputs=()
graph=""
joined=""
for i in "${!sentences[@]}"; do
  espeak-ng -s 150 -w "$work/s$i.wav" "${sentences[$i]}"
  inputs+=(-i "$work/s$i.wav")
  graph+="[$((i + 1))]apad=pad_dur=1.2[s$i];"
  joined+="[s$i]"
done
printf '%s\n' "${sentences[@]}" > "$work/script.txt"
ffmpeg -v error -y -f lavfi -i testsrc2=s=1080x1920:r=30 "${inputs[@]}" \
  -filter_complex "${graph}${joined}concat=n=${#sentences[@]}:v=0:a=1,aresample=48000[a]" \
  -map 0:v -map "[a]" -shortest -c:v libx264 -preset superfast -crf 23 -g 60 -bf 0 \
  -pix_fmt yuv420p -c:a aac -b:a 128k -movflags frag_keyframe+empty_moov+default_base_moof "$work/take.mp4"
take_seconds=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$work/take.mp4")
echo "take: $take_seconds s"

# Runs vorncut, stamping each JSON line with the time it arrived.
run() {
  local name=$1
  shift
  local launched
  launched=$(date +%s.%N)
  /usr/bin/time -o "$work/$name.time" \
    -f "$name: wall %e s, CPU %U s user + %S s system, peak memory %M KiB" \
    "$build/vorncut" promo "$work/take.mp4" --jsonl --out "$work/$name · Reel.mp4" "$@" \
    2>/dev/null | while IFS= read -r line; do
      # The engine's CPU seconds so far (user + system), read as each message arrives.
      cpu=$(awk '{ print ($14 + $15) / 100 }' "/proc/$(pgrep -n -x vorncut)/stat" 2>/dev/null ||
        echo 0)
      echo "$(date +%s.%N) $cpu $line"
    done > "$work/$name.log"
  python3 - "$work/$name.log" "$take_seconds" "$name" "$launched" <<'PY'
import json, sys
stamps = {}
cpu = {}
reel = 0
for raw in open(sys.argv[1]):
    stamp, used, line = raw.split(" ", 2)
    message = json.loads(line)
    stamp = float(stamp)
    if message["event"] == "stage":
        stamps[message["stage"]] = stamp
        cpu[message["stage"]] = float(used)
    elif message["event"] == "progress":
        cpu["last progress"] = float(used)
    elif message["event"] == "done":
        stamps["done"] = stamp
        reel = float(message["duration"])
take = float(sys.argv[2])
# Listening runs from the launch: decoding the sound and finding speech come before the
# "listening" message.
listening = stamps["story"] - float(sys.argv[4])
rendering = stamps["done"] - stamps["rendering"]
print(f"{sys.argv[3]}: reel {reel:.1f} s; listening {listening:.1f} s "
      f"({listening / take:.3f} x real time); story {stamps['rendering'] - stamps['story']:.2f} s; "
      f"rendering {rendering:.1f} s ({rendering / reel:.2f} s per reel second)")
rendering_cpu = cpu["last progress"] - cpu["rendering"]
print(f"{sys.argv[3]}: CPU listening {cpu['story']:.1f} s "
      f"({cpu['story'] / take:.3f} per take second); rendering until the last progress "
      f"{rendering_cpu:.1f} s ({rendering_cpu / reel:.2f} per reel second)")
PY
  cat "$work/$name.time"
}

run free
run script --script "$work/script.txt"
