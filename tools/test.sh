#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is missing, builds, runs the whole test suite, then builds the Debian package
# and checks it installed (tools/check-package.sh). Tests start their own Xvfb display and
# PulseAudio server; nothing needs to be running beforehand.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
bash tools/build.sh
(cd "${VORN_BUILD_DIR:-build}" && ctest --output-on-failure -j"$(nproc)")
bash tools/check-package.sh
