#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Gives every tracked source file that lacks it the licence line: first in C++ files, after
# the #! line in scripts. Safe to run again: a file that has the line is left alone.
set -euo pipefail
cd "$(dirname "$0")/.."

id="SPDX-License-Identifier: GPL-3.0-or-later"

# label FILE LINE: puts LINE first in FILE, or second when the first is a #! line.
label() {
  local file=$1 line=$2
  grep -qF "$id" "$file" && return
  if head -n1 "$file" | grep -q '^#!'; then
    sed -i "1a $line" "$file"
  else
    sed -i "1i $line" "$file"
  fi
  echo "labelled $file"
}

git ls-files -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h' |
  while read -r file; do label "$file" "// $id"; done
git ls-files -- 'CMakeLists.txt' '*/CMakeLists.txt' '*.cmake' '*.sh' '*.py' '.ci/run' |
  while read -r file; do label "$file" "# $id"; done
