#!/usr/bin/env bash
# Imports the bundled sample library into a fresh output directory the way a
# media server would start the importer, then shows everything it wrote and
# the importer's own summary: tracks written, tracks left out and why,
# playlists made, whether the library was rewritten into the classic layout.
# Usage: demo.sh <itunes-import binary> <library.xml> <output dir>
# Needs only bash and the usual file tools.
set -euo pipefail
binary=$(realpath "$1")
library=$(realpath "$2")
out=$(realpath -m "$3")
export LC_ALL=C

rm -rf "$out"
mkdir -p "$out/db" "$out/playlists"
# Library locations are file URLs whose leading "/" the importer drops, so the
# media server runs it from "/"; the sample's media live beside the library,
# so the demo runs it from there.
cd "$(dirname "$library")"
set +e
summary=$("$binary" -itunes-lib "$(basename "$library")" -dbdir "$out/db" -playlist-dir "$out/playlists" \
  -logfile "$out/itunes-import.log" -summary)
status=$?
set -e

indent() { sed 's/^/    /'; }

echo "itunes-import exited with status $status"
echo
echo "== files written under $out"
(cd "$out" && find . -type f | sort | sed 's/^\.\//  /')

items="$out/db/itunes.import.items"
if [ -f "$items" ]; then
  echo
  echo "== items file $items ($(wc -c <"$items") bytes)"
  indent <"$items"
fi
for wpl in "$out"/playlists/*.wpl; do
  [ -f "$wpl" ] || continue
  echo
  echo "== $(basename "$wpl")"
  indent <"$wpl"
done
if [ -f "$out/playlists/itunes.log" ]; then
  echo
  echo "== playlist list itunes.log (lines end in CR LF, shown as \\r\$)"
  sed -n 'l' "$out/playlists/itunes.log" | indent
fi

echo
echo "== summary (-summary)"
indent <<<"$summary"
if [ -s "$out/itunes-import.log" ]; then
  echo
  echo "== log ($out/itunes-import.log)"
  indent <"$out/itunes-import.log"
fi
