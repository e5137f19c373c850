#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# A manual walkthrough desktop for Wayland, not part of the tests: a headless GNOME 43 session
# (private system and session buses, PipeWire + WirePlumber, gnome-shell on a 1920 × 1080
# virtual monitor, the desktop portal started by the bus) and a private PulseAudio with a
# 440 Hz tone as the microphone. Screenshots and input go through mutter's own D-Bus APIs.
# Usage: bash tools/walkthrough-gnome.sh        -> sets up; then `source /tmp/gwalk/env.sh`
#        bash tools/walkthrough-gnome.sh stop   -> ends it
set -u
W=/tmp/gwalk; VORN_BIN=${VORN_BIN:-$PWD/build/vorn}; TOOLS=$(cd "$(dirname "$0")" && pwd)/walk
if [ "${1:-}" = stop ]; then
  [ -f $W/vorn.pid ] && kill $(cat $W/vorn.pid) 2>/dev/null
  tac $W/pids 2>/dev/null | while read p; do kill $p 2>/dev/null; done; rm -f $W/pids $W/vorn.pid; exit 0
fi
# Screenshots need GStreamer's PipeWire source and Python's GObject bindings.
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
  gstreamer1.0-pipewire gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good python3-gi >/dev/null
H=$W/h; rm -rf $H $W/rt; mkdir -p $H/.config/Vorn $H/Videos $W/rt $W/shots; chmod 700 $W/rt; : > $W/pids
export HOME=$H XDG_RUNTIME_DIR=$W/rt XDG_CONFIG_HOME=$H/.config XDG_CACHE_HOME=$H/.cache XDG_DATA_HOME=$H/.local/share
export XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=wayland WAYLAND_DISPLAY=wayland-0
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$W/rt/system_bus DBUS_SESSION_BUS_ADDRESS=unix:path=$W/rt/bus
export PULSE_SERVER=unix:$W/rt/pulse/native
unset DISPLAY
dbus-daemon --session --address=$DBUS_SYSTEM_BUS_ADDRESS --fork --print-pid >> $W/pids
dbus-daemon --session --address=$DBUS_SESSION_BUS_ADDRESS --fork --print-pid >> $W/pids
pipewire >$W/pipewire.log 2>&1 & echo $! >> $W/pids
for i in $(seq 50); do [ -e $W/rt/pipewire-0 ] && break; sleep 0.2; done
wireplumber >$W/wireplumber.log 2>&1 & echo $! >> $W/pids
gnome-shell --headless --wayland --no-x11 --virtual-monitor 1920x1080 >$W/gnome-shell.log 2>&1 & echo $! >> $W/pids
pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no -L "module-native-protocol-unix socket=$W/rt/pulse/native" \
  -L "module-null-sink sink_name=speakers" -L "module-sine-source source_name=tone frequency=440" >/dev/null 2>&1 & echo $! >> $W/pids
for i in $(seq 100); do gdbus introspect --session --dest org.gnome.Shell --object-path /org/gnome/Shell >/dev/null 2>&1 && break; sleep 0.2; done
sleep 1; /usr/bin/python3 $TOOLS/gnome-input.py esc   # leave the overview the shell opens on
cat > $W/env.sh <<E2
export HOME=$H XDG_RUNTIME_DIR=$W/rt XDG_CONFIG_HOME=$H/.config XDG_CACHE_HOME=$H/.cache XDG_DATA_HOME=$H/.local/share
export XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=wayland WAYLAND_DISPLAY=wayland-0
export DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SYSTEM_BUS_ADDRESS DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS PULSE_SERVER=$PULSE_SERVER
unset DISPLAY
shot() { /usr/bin/python3 $TOOLS/gnome-shot.py $W/shots/\$1.png; }
input() { /usr/bin/python3 $TOOLS/gnome-input.py "\$@"; }
# The portal's first dialog: the monitor's row, then Share.
share() { input move:789,582 click move:1172,429 click; }
studio() { ( cd $W; env "\$@" $VORN_BIN >>$W/vorn.log 2>&1 & echo \$! > $W/vorn.pid ); }
E2
echo ready
