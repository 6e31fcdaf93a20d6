#!/usr/bin/env bash
# Takes the pictures of docs/manual.md anew, into docs/images. Needs no display.
#   scripts/screenshots.sh [BUILD_FOLDER]   a configured build with Qt; default build/release
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$root/build/release}
cmake --build "$build" --target kelvorin kelvorin-screenshots >/dev/null

export TMPDIR=${TMPDIR:-/tmp}
demo=$TMPDIR/kelvorin-pictures
home=$(mktemp -d)
trap 'rm -rf "$home" "$demo"' EXIT
rm -rf "$demo"
mkdir -p "$demo"
"$build/bin/kelvorin" import "$root/examples/data/customers.csv" --into "FOXPRO26:$demo" \
  --table CUSTOMERS --create --start-line 2 --map-by-name >/dev/null
"$build/bin/kelvorin" create "FOXPRO26:$demo" STOCK NUMBER:Long ARTICLE:Text:20 PIECES:Integer \
  COUNTED:Date >/dev/null
mkdir -p "$home/run"
chmod 700 "$home/run"
HOME=$home XDG_CONFIG_HOME=$home XDG_RUNTIME_DIR=$home/run QT_QPA_PLATFORM=offscreen \
  QT_QPA_PLATFORMTHEME= LC_ALL=C.UTF-8 \
  timeout 300 "$build/bin/kelvorin-screenshots" "$root/docs/images" "$root/examples/data" 2>&1 |
  grep -v 'This plugin does not support' || true
ls "$root/docs/images" | wc -l
