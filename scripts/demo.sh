#!/usr/bin/env bash
# Imports the bundled sample library into a fresh output directory the way a
# media server would start the importer, then shows everything it wrote and
# a summary: tracks written, tracks left out and why, playlists made.
# Usage: demo.sh <itunes-import binary> <library.xml> <output dir>
# Needs only bash, awk and the usual file tools.
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
"$binary" -itunes-lib "$(basename "$library")" -dbdir "$out/db" -playlist-dir "$out/playlists" \
  -logfile "$out/itunes-import.log"
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

# Why each track of the library was or was not written, worked out from the
# library the way the importer reads it: one key per line, values decoded
# (%XX, "+" as a space, &#NNN; as one byte), file URLs turned into paths
# relative to the working directory. awk decides what it can; the existence
# of the files is tested here.
reasons=$(awk '
  function hexval(h,   v, i) {
    v = 0
    for (i = 1; i <= length(h); i++) v = v * 16 + index("0123456789abcdef", tolower(substr(h, i, 1))) - 1
    return v
  }
  function ishex(c) { return c != "" && index("0123456789abcdefABCDEF", c) > 0 }
  function decode(s,   out, i, c, rest, j) {
    out = ""; i = 1
    while (i <= length(s)) {
      c = substr(s, i, 1)
      if (c == "%" && ishex(substr(s, i + 1, 1)) && ishex(substr(s, i + 2, 1))) {
        out = out sprintf("%c", hexval(substr(s, i + 1, 2))); i += 3; continue
      }
      if (c == "&" && substr(s, i + 1, 1) == "#") {
        rest = substr(s, i + 2)
        out = out sprintf("%c", (rest + 0) % 256)
        j = index(rest, ";")
        i = j ? i + 2 + j : length(s) + 1
        continue
      }
      if (c == "+") c = " "
      out = out c; i++
    }
    return out
  }
  function value(line, tag,   s, e) {
    s = index(line, "<" tag ">"); if (!s) return ""
    line = substr(line, s + length(tag) + 2)
    e = index(line, "</" tag ">"); if (!e) return ""
    return decode(substr(line, 1, e - 1))
  }
  function path_of(v,   p, sep) {
    sub(/\/$/, "", v)
    p = index(v, "localhost") ? 17 : 6
    if (substr(v, p + 2, 1) == ":") p++
    v = substr(v, p)
    if (substr(v, 1, 2) == "//" || substr(v, 1, 2) == "\\\\") {
      v = substr(v, 3)
      sep = match(v, /[\/\\]/)
      v = sep ? substr(v, sep + 1) : ""
    } else if (substr(v, 1, 1) == "/" || substr(v, 1, 1) == "\\") {
      v = substr(v, 2)
    }
    return v
  }
  function finish() {
    if (!open) return
    open = 0
    if (prot) print "protected"
    else if (loc == "") print "no-location"
    else if (url) print "url"
    else print "check\t" loc
  }
  /<key>Playlists<\/key>/ { finish(); exit }
  /<key>Track ID<\/key>/ { finish(); open = 1; prot = 0; url = 0; loc = ""; next }
  !open { next }
  /<\/dict>/ { finish(); next }
  /<key>Protected<\/key><true\/>/ { prot = 1 }
  /<key>Track Type<\/key>/ { t = value($0, "string"); if (t == "URL") url = 1; if (t == "File") url = 0 }
  /<key>Location<\/key>/ { v = value($0, "string"); if (v != "") loc = url ? v : path_of(v) }
  END { finish() }
' "$library")

count() { printf '%s\n' "$reasons" | grep -c "^$1\$" || true; }
total=0 written=0 missing=0 epub=0
while IFS=$'\t' read -r reason path; do
  [ -n "$reason" ] || continue
  total=$((total + 1))
  [ "$reason" = check ] || continue
  if [ ! -e "$path" ]; then
    missing=$((missing + 1))
  else
    case $(printf '%s' "$path" | tr '[:upper:]' '[:lower:]') in
      *.epub) epub=$((epub + 1)) ;;
      *) written=$((written + 1)) ;;
    esac
  fi
done <<<"$reasons"

records=0
[ -f "$items" ] && records=$(grep -c -a '^##017PLUGIN ITUNES ADD$' "$items" || true)
wpl_files=$(find "$out/playlists" -name '*.wpl' | wc -l)
list_lines=0
[ -f "$out/playlists/itunes.log" ] && list_lines=$(wc -l <"$out/playlists/itunes.log")

echo
echo "== summary"
printf '  %-34s %s\n' "tracks in the library" "$total" \
  "tracks written (ADD + REPLACE)" "$records" \
  "left out: protected (DRM)" "$(count protected)" \
  "left out: no location" "$(count no-location)" \
  "left out: URL track" "$(count url)" \
  "left out: file missing" "$missing" \
  "left out: .epub book" "$epub" \
  "playlists written (WPL files)" "$wpl_files" \
  "lines in itunes.log" "$list_lines"
if [ "$written" != "$records" ]; then
  echo "  NOTE: the library says $written tracks should have been written"
fi
echo "  (a playlist merged into another of the same name and kind has its own"
echo "   line in itunes.log but shares the other's WPL file)"
if [ -s "$out/itunes-import.log" ]; then
  echo
  echo "== log ($out/itunes-import.log)"
  indent <"$out/itunes-import.log"
fi
