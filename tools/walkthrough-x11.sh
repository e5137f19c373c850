#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# A manual walkthrough desktop, not part of the tests. Needs: apt-get install xfwm4 xfce4-panel
# xfce4-settings dbus-x11 xdotool x11-utils. VORN_BIN names the studio (default: ./build/vorn).
# X11 walkthrough rig: Xvfb :94, private dbus, a desktop chosen by WM, private PulseAudio with a
# 440 Hz sine source as the microphone, an ffplay testsrc2 window as content, studio prefs
# (screen/bleed, Follow on, a script). WM=xfce (default): xfconfd, xfwm4 --compositor=on and
# xfce4-panel (Debian's default top panel); WM=openbox-xcompmgr: openbox under xcompmgr;
# WM=openbox: openbox alone, no compositing manager.
# Usage: bash tools/walkthrough-x11.sh            -> sets up; then `source /tmp/walk/env.sh`
#        DPI=144 bash tools/walkthrough-x11.sh    -> same with Xft/DPI 144 (Xfce)
#        bash tools/walkthrough-x11.sh stop       -> kills everything listed in /tmp/walk/pids
set -u
W=/tmp/walk; D=:94; VORN_BIN=${VORN_BIN:-$PWD/build/vorn}; WM=${WM:-xfce}
if [ "${1:-}" = stop ]; then
  [ -f $W/vorn.pid ] && kill $(cat $W/vorn.pid) 2>/dev/null
  tac $W/pids 2>/dev/null | while read p; do kill $p 2>/dev/null; done; rm -f $W/pids $W/vorn.pid; exit 0
fi
H=$W/h; rm -rf $H $W/rt; mkdir -p $H/.config/Vorn $H/Videos $W/rt $W/shots $H/.config/xfce4/xfconf/xfce-perchannel-xml
chmod 700 $W/rt; : > $W/pids
export HOME=$H DISPLAY=$D XDG_RUNTIME_DIR=$W/rt PULSE_RUNTIME_PATH=$W/rt/pulse PULSE_SERVER=unix:$W/rt/pulse/native
export XDG_CONFIG_HOME=$H/.config XDG_CACHE_HOME=$H/.cache XDG_DATA_HOME=$H/.local/share XDG_CURRENT_DESKTOP=XFCE
cp /etc/xdg/xfce4/panel/default.xml $H/.config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml
Xvfb $D -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 & echo $! >> $W/pids
for i in $(seq 50); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.2; done
out=$(dbus-daemon --session --fork --print-address=1 --print-pid=1)
export DBUS_SESSION_BUS_ADDRESS=$(echo "$out" | head -1); echo "$out" | tail -1 >> $W/pids
[ -n "${DPI:-}" ] && xfconf-query -c xsettings -p /Xft/DPI -n -t int -s $DPI
if [ "$WM" = xfce ]; then
  xfsettingsd --no-daemon >/dev/null 2>&1 & echo $! >> $W/pids   # xsettings manager (if installed)
  xfwm4 --compositor=on >$W/xfwm4.log 2>&1 & echo $! >> $W/pids
  sleep 1.5
  xfce4-panel >$W/panel.log 2>&1 & echo $! >> $W/pids
else
  [ "$WM" = openbox-xcompmgr ] && { xcompmgr >/dev/null 2>&1 & echo $! >> $W/pids; }
  openbox >$W/openbox.log 2>&1 & echo $! >> $W/pids
  sleep 1
fi
pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no -L module-native-protocol-unix \
  -L "module-null-sink sink_name=speakers" -L "module-sine-source source_name=tone frequency=440" >/dev/null 2>&1 & echo $! >> $W/pids
for i in $(seq 50); do pactl info >/dev/null 2>&1 && break; sleep 0.2; done
pactl set-default-source tone; pactl set-default-sink speakers
SDL_AUDIODRIVER=dummy ffplay -loglevel quiet -an -left 200 -top 150 -x 1200 -y 800 -window_title content \
  -f lavfi "testsrc2=size=1200x800:rate=30" >/dev/null 2>&1 & echo $! >> $W/pids
script='Hello, this is a walkthrough of the studio. Every line here scrolls under the camera while I talk about the screen. The frame follows the pointer and zooms on clicks.'
json="{\\\"layout\\\":\\\"screen\\\",\\\"style\\\":\\\"bleed\\\",\\\"cameraOn\\\":true,\\\"micOn\\\":true,\\\"systemAudio\\\":false,\\\"follow\\\":true,\\\"clickZoom\\\":true,\\\"platform\\\":\\\"tiktok\\\",\\\"fps\\\":30,\\\"mirror\\\":true,\\\"splitRatio\\\":0.5,\\\"cameraOnTop\\\":false,\\\"bubbleX\\\":0.8,\\\"bubbleY\\\":0.8,\\\"bubbleSize\\\":0.3,\\\"script\\\":\\\"$script\\\",\\\"prompterSpeed\\\":1,\\\"reels\\\":false}"
printf '[General]\nprefs="@ByteArray(%s)"\n' "$json" > $H/.config/Vorn/Vorn.conf
cat > $W/env.sh <<E2
export HOME=$H DISPLAY=$D XDG_RUNTIME_DIR=$W/rt PULSE_RUNTIME_PATH=$W/rt/pulse PULSE_SERVER=$PULSE_SERVER
export XDG_CONFIG_HOME=$H/.config XDG_CACHE_HOME=$H/.cache XDG_DATA_HOME=$H/.local/share XDG_CURRENT_DESKTOP=XFCE
export DBUS_SESSION_BUS_ADDRESS='$DBUS_SESSION_BUS_ADDRESS'
shot() { ffmpeg -v error -y -f x11grab -video_size 1920x1080 -i $D -frames:v 1 $W/shots/\$1.png; }
studio() { ( cd $W; env "\$@" $VORN_BIN >>$W/vorn.log 2>&1 & echo \$! > $W/vorn.pid ); }
E2
echo ready
# --- Steps used in the walk (after `source /tmp/walk/env.sh`):
#  studio VORN_SAMPLE_CAMERA=:/vorn/sample-face.jpg      # or just `studio` (no camera), or add QT_SCALE_FACTOR=1.5
#  shot NAME                                             # -> /tmp/walk/shots/NAME.png
#  xdotool mousemove 192 584 click 1                     # welcome card "Start" (monitor at +12+123)
#  xdotool mousemove 960 91; xdotool mousedown 1; xdotool mousemove 960 0; xdotool mouseup 1   # drag frame grip up at the panel
#  xdotool mousemove 191 804 click 1                     # Record on the monitor (pointer stays on it)
#  xdotool mousemove 190 930 mousedown 1 mousemove 900 900 mouseup 1   # drag the monitor over the frame
#  xdotool key space / p / Escape / ctrl+q               # with the monitor focused (click its top bar first)
#  /tmp/walk/bin/vorn --toggle ; /tmp/walk/bin/vorn --stop
#  xfconf-query -c xsettings -p /Xft/DPI -s 144          # then restart the studio
#  ffmpeg -i TAKE -vf "fps=1,scale=270:480,tile=8x2" -frames:v 1 sheet.png ; ffprobe ... ; silencedetect
