#!/bin/sh
# Builds the libFuzzer targets with clang against the product sources they
# need, with AddressSanitizer and UndefinedBehaviorSanitizer.
#   fuzz/build.sh [output-directory]          (default: build-fuzz)
#   mkdir -p build-fuzz/new && build-fuzz/record_reader_fuzz build-fuzz/new fuzz/corpus/record_reader -max_total_time=60
# (new inputs land in the first directory). Copy only the few findings worth
# keeping into the saved corpus: the gcc test suite replays it.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
out=${1:-"$root/build-fuzz"}
CXX=${CXX:-clang++}
mkdir -p "$out"
flags="-std=c++20 -g -O1 -fno-exceptions -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -I$root/src"
# The reader's dependencies: the record, its setter and getter, and the runtime
# pieces they log and allocate through.
sources="$root/src/dbobject/record_reader.cpp $root/src/dbobject/object.cpp $root/src/dbobject/setters.cpp
  $root/src/dbobject/getters.cpp $root/src/dbobject/mime.cpp $root/src/dbobject/property_table.cpp
  $root/src/dbobject/runtime_hooks.cpp"
# The start-up sequence is left out: it pulls in every subsystem.
runtime=$(ls "$root"/src/runtime/*.cpp "$root"/src/text/*.cpp 2>/dev/null | grep -v -e '_test\.cpp$' -e '/lifecycle')
# shellcheck disable=SC2086
$CXX $flags -o "$out/record_reader_fuzz" "$here/record_reader_fuzz.cpp" $sources $runtime -lpthread
echo "built $out/record_reader_fuzz"
# The string pool restore needs only the runtime and text modules.
# shellcheck disable=SC2086
$CXX $flags -o "$out/string_pool_restore_fuzz" "$here/string_pool_restore_fuzz.cpp" $runtime -lpthread
echo "built $out/string_pool_restore_fuzz"
