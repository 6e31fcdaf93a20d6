#!/usr/bin/env bash
# package_test.sh BUILD SOURCE PREFIX COMPILER FLAGS: installs the build into a folder of its own, makes
# the examples from there as a project of their own, and runs the host without windows.
set -euo pipefail
build=$1 source=$2 prefix=$3 compiler=$4 flags=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
DESTDIR=$work/root cmake --install "$build" >"$work/install.log"
installed=$work/root$prefix
cp -r "$source/examples" "$work/examples"
cmake -S "$work/examples" -B "$work/made" -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_CXX_FLAGS="$flags" >"$work/configure.log"
cmake --build "$work/made"

csv=$source/examples/data/customers.csv
mkdir "$work/shop"
"$installed/bin/kelvorin" import "$csv" --into "FOXPRO26:$work/shop" --table CUST --create --start-line 2 \
  --map-by-name --save-as Customers --ini "$work/jobs.ini" >"$work/first.log"
said=$("$work/made/batch_host" "$work/jobs.ini" Customers "$csv" "$work/shop" CUST)
echo "$said"
[ "$(tail -n 1 <<<"$said")" = "imported 6, skipped 1" ]
if ldd "$work/made/batch_host" "$installed/bin/kelvorin" | grep Qt; then exit 1; fi
if [ -e "$installed/bin/kelvorin-wizard" ]; then
  # The host with windows starts and says what it does not know.
  said=$(QT_QPA_PLATFORM=offscreen "$work/made/import_host" Nonsense=1 2>&1 || true)
  echo "$said"
  [ "$(tail -n 1 <<<"$said")" = "there is no property 'Nonsense'" ]
fi
