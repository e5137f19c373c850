# shellcheck shell=bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Sourced by the tools that run Vorn without a desktop: start_display starts a virtual display
# (Xvfb) and exports DISPLAY; start_sound starts a private PulseAudio server whose microphone
# plays a quiet 440 Hz tone and exports PULSE_SERVER. Both add their process to `helpers`,
# which the caller ends on exit.
helpers=()

start_display() {
  exec {display_fd}<> <(:)
  Xvfb -displayfd "$display_fd" -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
  helpers+=($!)
  local number
  read -r -t 60 number <&"$display_fd"
  export DISPLAY=":$number"
}

start_sound() {
  local pulse_dir
  pulse_dir=$(mktemp -d /tmp/vorn-pulse-XXXXXX)
  pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --disallow-exit \
    -L "module-native-protocol-unix socket=$pulse_dir/native" \
    -L "module-null-sink sink_name=speakers rate=48000" \
    -L "module-sine-source source_name=sample_tone frequency=440 rate=48000" >/dev/null 2>&1 &
  helpers+=($!)
  export PULSE_SERVER="unix:$pulse_dir/native"
  for _ in $(seq 300); do pactl info >/dev/null 2>&1 && break; sleep 0.2; done
  pactl set-default-source sample_tone && pactl set-source-volume sample_tone 50%
}
