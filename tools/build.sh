#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Configures and builds Vorn into ./build (or $VORN_BUILD_DIR).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VORN_BUILD_DIR:-build}
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
