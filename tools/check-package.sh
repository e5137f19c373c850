#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the Debian package and checks it the way a packager and a user would: lintian (no
# errors), the launcher and software-centre entries, no path of the build machine in the
# binaries; then installs it with apt, records a 2-second take with the installed vorn on a
# virtual display and a private sound server, runs the installed reel engine, and removes it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/package.sh
deb=$(ls "$PWD"/build-release/vorn_*.deb)
echo "Checking $deb"

lintian --fail-on error --tag-display-limit 0 "$deb"
contents=$(mktemp -d)
dpkg-deb -x "$deb" "$contents"
desktop-file-validate "$contents/usr/share/applications/vorn.desktop"
appstreamcli validate --no-net "$contents/usr/share/metainfo/org.vorn.Vorn.metainfo.xml"
for binary in usr/bin/vorn usr/libexec/vorn/vorncut; do
  if grep -q --fixed-strings "$PWD" "$contents/$binary"; then
    echo "$binary names the build tree $PWD" >&2
    exit 1
  fi
done
rm -rf "$contents"

export DEBIAN_FRONTEND=noninteractive
apt-get -o DPkg::Lock::Timeout=900 install -y -qq "$deb"
source tools/services.sh
scratch=$(mktemp -d)
trap 'kill "${helpers[@]}" 2>/dev/null; apt-get -o DPkg::Lock::Timeout=900 remove -y -qq vorn; rm -rf "$scratch"' EXIT

/usr/bin/vorn --version
/usr/libexec/vorn/vorncut --help >/dev/null
start_display
start_sound
# A home of its own: the take and the settings stay out of the machine's.
report=$(HOME="$scratch" XDG_CONFIG_HOME="$scratch/.config" \
  /usr/bin/vorn record --seconds 2 --no-camera --out "$scratch/take.mp4")
echo "$report"
take=$(sed -n 's/^take: //p' <<<"$report")
duration=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$take")
streams=$(ffprobe -v error -show_entries stream=codec_type -of csv=p=0 "$take" | sort | tr '\n' ' ')
echo "installed vorn recorded $take: $duration s, streams: $streams"
if [ "$streams" != "audio video " ] || ! awk -v d="$duration" 'BEGIN { exit !(d >= 1.5) }'; then
  echo "the installed vorn's take is not a 2-second movie with picture and sound" >&2
  exit 1
fi
