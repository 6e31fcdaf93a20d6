#!/usr/bin/env bash
# Takes the pictures of docs/manual.md anew, into docs/images, from the windows as a screen shows them:
# on a virtual display of its own, so it can run anywhere.
#   scripts/screenshots.sh [BUILD_FOLDER [PICTURES]]   default build/release, configured when it is
#                                                      not there, and docs/images
# To look at the windows otherwise, into another folder: QT_FONT_DPI=144, or SMALLEST=1 for windows as
# small as they get.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/scripts/setup.sh"
need "${build_packages[@]}" "${window_packages[@]}" "${picture_packages[@]}"
build=${1:-$root/build/release}
pictures=${2:-$root/docs/images}
[ -e "$build/build.ninja" ] || (cd "$root" && cmake --preset release -B "$build") >/dev/null
cmake --build "$build" --target kelvorin kelvorin-screenshots kelvorin-designer >/dev/null

demo=/tmp/shop  # a name that reads well in the pictures
if [ -e "$demo" ]; then echo "$demo is in the way" >&2; exit 1; fi
home=$(mktemp -d)
started=()
clean_up() {
  [ ${#started[@]} -eq 0 ] || kill "${started[@]}" 2>/dev/null || true
  rm -rf "$home" "$demo"
}
trap clean_up EXIT

mkdir "$demo"
mkdir -p "$home/run"
chmod 700 "$home/run"
cp "$root/examples/data/customers.csv" "$demo"
# Three of the sample texts, where they are: without them those pictures are not taken.
samples=$(sed -n 's/^KELVORIN_SAMPLES:PATH=//p' "$build/CMakeCache.txt")/text
for file in title_above.csv fixed_customers.txt eu_semicolon_1252.csv; do
  if [ -e "$samples/$file" ]; then cp "$samples/$file" "$demo"; else echo "no $file: not pictured" >&2; fi
done
if [ -n "${SMALLEST:-}" ]; then
  mkdir -p "$home/Kelvorin"
  printf '[Sizes]\n' > "$home/Kelvorin/Windows.ini"
  for window in frmKelvorin frmAdvanced frmSettings frmRejected frmNewTable; do
    printf '%s=@Size(1 1)\n' "$window"
  done >> "$home/Kelvorin/Windows.ini"
fi
"$build/bin/kelvorin" create "FOXPRO26:$demo" CUSTOMERS NUMBER:Long NAME:Text:30 CITY:Text:20 \
  COUNTRY:Text:2 SINCE:Date CREDIT:Double ACTIVE:Boolean REMARKS:Memo >/dev/null
"$build/bin/kelvorin" create "FOXPRO26:$demo" STOCK NUMBER:Long ARTICLE:Text:20 PIECES:Integer \
  COUNTED:Date >/dev/null

# The display, 96 dots to the inch, with a window manager that gives windows their focus.
exec 9<>"$home/display"
Xvfb -displayfd 9 -screen 0 1400x900x24 -dpi 96 >/dev/null 2>&1 &
started+=($!)
for _ in $(seq 100); do [ -s "$home/display" ] && break; sleep 0.1; done
export DISPLAY=:$(head -n 1 "$home/display")
export HOME=$home XDG_CONFIG_HOME=$home XDG_RUNTIME_DIR=$home/run QT_QPA_PLATFORM=xcb \
  QT_QPA_PLATFORMTHEME= LC_ALL=C.UTF-8
openbox >/dev/null 2>&1 &
started+=($!)
for _ in $(seq 100); do xdotool get_desktop >/dev/null 2>&1 && break; sleep 0.1; done
timeout 240 "$build/bin/kelvorin-screenshots" "$pictures" "$demo"

# The form designer, with the control on a form and its properties: the other panes are closed first.
cp "$root/tests/windows/import_form.ui" "$home/form.ui"
QT_PLUGIN_PATH=$build/plugins /usr/lib/qt6/bin/designer "$home/form.ui" >/dev/null 2>&1 &
started+=($!)
timeout 60 xdotool search --sync --onlyvisible --name 'Qt Designer' >/dev/null
sleep 5
for place in '1391 620' '1391 86' '1391 495' '1391 495' '367 242'; do
  xdotool mousemove $place click 1
  sleep 1
done
import -window root "$pictures/designer.png"

# Windows have few colours: a palette of 256 loses nothing that is seen and makes a third of the bytes.
mogrify +dither -colors 256 -define png:compression-level=9 -define png:compression-filter=0 \
  -strip -format png -type Palette "$pictures"/*.png
