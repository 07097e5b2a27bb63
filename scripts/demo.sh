#!/usr/bin/env bash
# Imports the bundled sample library into a fresh output directory the way a
# media server would start the importer, then shows what it wrote.
# Usage: demo.sh <itunes-import binary> <library.xml> <output dir>
set -euo pipefail
binary=$(realpath "$1")
library=$(realpath "$2")
out=$(realpath -m "$3")

rm -rf "$out"
mkdir -p "$out/db" "$out/playlists"
# Library locations are file URLs whose leading "/" the importer drops, so the
# media server runs it from "/"; the sample's media live beside the library,
# so the demo runs it from there.
cd "$(dirname "$library")"
set +e
"$binary" -itunes-lib "$(basename "$library")" -dbdir "$out/db" -playlist-dir "$out/playlists" \
  -logfile "$out/itunes-import.log"
status=$?
set -e

echo "itunes-import exited with status $status"
echo
echo "== files written under $out"
(cd "$out" && find . -type f | sort | sed 's/^\.\//  /')
items="$out/db/itunes.import.items"
if [ -f "$items" ]; then
  echo
  echo "== $items: $(grep -c -a '^##017PLUGIN ITUNES ADD$' "$items") tracks (ADD + REPLACE records), $(wc -c <"$items") bytes"
  grep -a -A1 '^##017PLUGIN ITUNES ADD$' "$items" >/dev/null || true
fi
if [ -f "$out/playlists/itunes.log" ]; then
  echo
  echo "== playlists (itunes.log)"
  tr -d '\r' <"$out/playlists/itunes.log" | sed 's/^/  /'
fi
echo
echo "== log ($out/itunes-import.log)"
sed 's/^/  /' "$out/itunes-import.log" 2>/dev/null || true
