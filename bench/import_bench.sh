#!/bin/sh
# Whole-import benchmark: the real importer on a generated library whose media
# files exist, beside the reading floor of the same file, plus a count of the
# read system calls of one import.
#
#   bench/import_bench.sh [TRACKS]      (default 100000 tracks, about 150 MB)
#
# Environment: BUILD (default build-bench, made by `make bench` when the
# binaries are missing), BENCH_DIR (where the library is generated; kept and
# reused by later runs of the same size), RUNS (imports timed, default 3).
# Prints figures and asserts nothing; the machine's load is printed with them
# because the per-line yields cost what the other processes make them cost.
set -eu

TRACKS=${1:-100000}
RUNS=${RUNS:-3}
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
WORK=${BENCH_DIR:-${TMPDIR:-/tmp}/itunes-import-bench-$TRACKS}
LIBRARY="iTunes Music Library.xml"

if [ ! -x "$BUILD/itunes-import" ] || [ ! -x "$BUILD/bench/read_floor" ]; then
  make -C "$ROOT" bench >/dev/null
fi
if [ ! -f "$WORK/$LIBRARY" ]; then
  python3 "$ROOT/bench/generate_library.py" "$WORK" --tracks "$TRACKS"
fi

echo "machine: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
python3 - "$BUILD/itunes-import" "$WORK" "$LIBRARY" "$TRACKS" "$RUNS" <<'EOF'
import os, resource, shutil, subprocess, sys, time

importer, work, library, tracks, runs = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), int(sys.argv[5])
size = os.path.getsize(os.path.join(work, library))
db = os.path.join(work, "db")
times = []
for run in range(runs):
    shutil.rmtree(db, ignore_errors=True)
    os.mkdir(db)
    start = time.monotonic()
    result = subprocess.run([importer, "-dbdir", "db", "-playlist-dir", "db", "-itunes-lib", library], cwd=work)
    times.append(time.monotonic() - start)
    if result.returncode != 0:
        sys.exit("importer exited with %d" % result.returncode)
# Only the importer runs as this process's child, so the children's peak is its.
peak_kib = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
items = os.path.join(db, "itunes.import.items")
with open(items, "rb") as f:
    written = f.read().count(b"##017PLUGIN ITUNES ADD\n")
best = min(times)
print("library: %d tracks, %.1f MB; items file %.1f MB, %d tracks written" %
      (tracks, size / 1e6, os.path.getsize(items) / 1e6, written))
print("import, %d runs: %s s" % (runs, " ".join("%.2f" % t for t in times)))
print("best: %.2f s wall, %.0f tracks/s, %.1f MB/s of library (%.1f MB/s read over 3 passes), peak RSS %d KiB" %
      (best, tracks / best, size / 1e6 / best, 3 * size / 1e6 / best, peak_kib))
EOF

echo "reading floor (read_floor, same file):"
"$BUILD/bench/read_floor" "$WORK/$LIBRARY"

if command -v strace >/dev/null 2>&1; then
  rm -rf "$WORK/db" && mkdir "$WORK/db"
  (cd "$WORK" && strace -f -c -e trace=read,pread64,lseek -o "$WORK/strace.txt" \
     "$BUILD/itunes-import" -dbdir db -playlist-dir db -itunes-lib "$LIBRARY")
  echo "system calls of one import ($(wc -l <"$WORK/$LIBRARY") lines, read 3 times):"
  cat "$WORK/strace.txt"
else
  echo "strace not installed: no system call count"
fi
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
