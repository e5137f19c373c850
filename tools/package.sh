#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the Debian package build-release/vorn_VERSION_ARCH.deb: a Release build for /usr with
# Debian's hardening flags, without the tests and benchmarks, binaries stripped.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${VORN_PACKAGE_DIR:-build-release}

# Read by CMake on the first configure only; CMake has no CPPFLAGS, so they ride on CXXFLAGS.
eval "$(DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP=-g dpkg-buildflags --export=sh)"
export CXXFLAGS="$CXXFLAGS $CPPFLAGS"

cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DBUILD_TESTING=OFF -DVORN_BENCHMARKS=OFF >/dev/null
cmake --build "$build_dir" -j"$(nproc)"
cd "$build_dir"
rm -f vorn_*.deb
cpack -G DEB
