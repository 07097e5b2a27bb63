#!/bin/sh
# Layout benchmark: the import of the generated library in the classic layout
# beside the same library rewritten by Python's plistlib (keys sorted, every
# value on its own line), which the importer first rewrites into the classic
# layout. Optionally an earlier build of the importer on the classic file, so
# that the classic path can be compared before and after a change.
#
#   bench/layout_bench.sh [TRACKS]      (default 100000 tracks, about 160 MB)
#
# Environment: BUILD (default build-bench, made by `make bench` when missing),
# BEFORE (another itunes-import binary, timed on the classic file only),
# BENCH_DIR (where the libraries are generated and kept), RUNS (default 5).
# Runs are interleaved so that a change of the machine's load hits every
# variant alike. Prints figures and asserts nothing.
set -eu

TRACKS=${1:-100000}
RUNS=${RUNS:-5}
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
WORK=${BENCH_DIR:-${TMPDIR:-/tmp}/itunes-import-bench-$TRACKS}
LIBRARY="iTunes Music Library.xml"

[ -x "$BUILD/itunes-import" ] || make -C "$ROOT" bench >/dev/null
[ -f "$WORK/$LIBRARY" ] || python3 "$ROOT/bench/generate_library.py" "$WORK" --tracks "$TRACKS"
if [ ! -f "$WORK/plistlib.xml" ]; then
  python3 - "$WORK/$LIBRARY" "$WORK/plistlib.xml" <<'EOF'
import plistlib, sys
with open(sys.argv[1], "rb") as f:
    library = plistlib.load(f)
with open(sys.argv[2], "wb") as f:
    plistlib.dump(library, f)  # sort_keys=True, as plistlib does by default
EOF
fi

echo "machine: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"
python3 - "$BUILD/itunes-import" "${BEFORE:-}" "$WORK" "$LIBRARY" "$RUNS" <<'EOF'
import hashlib, os, shutil, statistics, subprocess, sys, time

after, before, work, library, runs = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4], int(sys.argv[5])
variants = [("classic, this build", after, library, ["-summary"])]
if before:
    variants.insert(0, ("classic, BEFORE", before, library, []))
variants.append(("plistlib, this build", after, "plistlib.xml", ["-summary"]))
# GNU time gives each run's own peak RSS (a child forked from this process
# would start from this process's peak).
# and its processor time, which the machine's load sways less than the wall
# time (every pass line yields the processor).
timer = ["/usr/bin/time", "-f", "%M %U %S"] if os.access("/usr/bin/time", os.X_OK) else []
results = {name: [] for name, *_ in variants}
digests = {}
summaries = {}
db = os.path.join(work, "db")
for run in range(runs):
    for name, binary, lib, extra in variants:
        shutil.rmtree(db, ignore_errors=True)
        os.mkdir(db)
        start = time.monotonic()
        result = subprocess.run(timer + [binary, "-dbdir", "db", "-playlist-dir", "db", "-itunes-lib", lib] + extra,
                                cwd=work, capture_output=True, text=True)
        elapsed = time.monotonic() - start
        if result.returncode != 0:
            sys.exit("%s: importer exited with %d: %s" % (name, result.returncode, result.stderr))
        peak, user, system = (result.stderr.split()[-3:] if timer else (0, 0, 0))
        results[name].append((elapsed, int(peak), float(user) + float(system)))
        digest = hashlib.sha256()
        for entry in sorted(os.listdir(db)):
            if os.path.isfile(os.path.join(db, entry)):
                with open(os.path.join(db, entry), "rb") as f:
                    digest.update(entry.encode() + f.read())
        digests[name] = digest.hexdigest()
        summaries[name] = result.stdout.strip()
for name, *_ in variants:
    times = [t for t, _, _ in results[name]]
    cpu = [c for _, _, c in results[name]]
    print("%-22s wall best %.2f s, median %.2f s; cpu best %.2f s, median %.2f s; peak RSS %s KiB" %
          (name, min(times), statistics.median(times), min(cpu), statistics.median(cpu),
           max(r for _, r, _ in results[name]) or "n/a"))
if before:
    for i, what in ((0, "wall"), (2, "cpu")):
        b = statistics.median(r[i] for r in results["classic, BEFORE"])
        a = statistics.median(r[i] for r in results["classic, this build"])
        print("classic path, median %s time this build against BEFORE: %+.1f %%" % (what, 100.0 * (a - b) / b))
# BEFORE may differ on purpose; this build must give the same files for both.
print("this build's outputs (items, WPL files, list) identical for both layouts: %s" %
      ("yes" if digests["classic, this build"] == digests["plistlib, this build"] else "NO"))
for name in ("classic, this build", "plistlib, this build"):
    print("%s: %s" % (name, summaries[name].splitlines()[-1]))
EOF
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
