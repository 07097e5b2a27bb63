#!/bin/sh
# Builds the libFuzzer targets (fuzz/*_fuzz.cpp) with clang, AddressSanitizer
# and UndefinedBehaviorSanitizer into build-fuzz/ (same as `make fuzz`).
#   mkdir -p build-fuzz/new
#   build-fuzz/fuzz/record_reader_fuzz build-fuzz/new fuzz/corpus/record_reader -max_total_time=60
#   build-fuzz/fuzz/import_fuzz build-fuzz/new fuzz/corpus/import -dict=fuzz/import.dict -max_len=8192 \
#     -max_total_time=300
# (the whole import per input, in a scratch directory under /tmp; the
# dictionary holds the markers the passes look for)
#   build-fuzz/fuzz/plist_rewrite_fuzz build-fuzz/new fuzz/corpus/plist_rewrite -dict=fuzz/import.dict \
#     -max_len=8192 -max_total_time=300
# (the XML reader that rewrites libraries into the classic layout)
# New inputs land in the first directory. Copy only the few findings worth
# keeping into the saved corpus: the gcc test suite replays it.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
exec make fuzz
