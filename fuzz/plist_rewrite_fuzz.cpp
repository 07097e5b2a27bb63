// libFuzzer target for the XML reader that rewrites libraries into the
// classic layout: any bytes as the library. The rewrite must succeed or
// refuse the file, give back every tracked byte, and be settled: rewriting
// its own output gives the same bytes again.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "base/memory.h"
#include "base/status.h"
#include "importer/plist_rewrite.hpp"

namespace {

std::string g_dir;

std::string read_all(const std::string& path) {
  std::string text;
  if (FILE* file = fopen(path.c_str(), "rb")) {
    char block[65536];
    for (size_t got; (got = fread(block, 1, sizeof block, file)) > 0;) text.append(block, got);
    fclose(file);
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char dir[] = "/tmp/plist-rewrite-fuzz-XXXXXX";
  if (mkdtemp(dir) == nullptr) abort();
  g_dir = dir;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string library = g_dir + "/lib.xml";
  const std::string scratch = g_dir + "/scratch";
  const std::string classic = g_dir + "/classic.xml";
  const std::string again = g_dir + "/again.xml";
  FILE* file = fopen(library.c_str(), "wb");
  if (file == nullptr) abort();
  if (size > 0 && fwrite(data, 1, size, file) != size) abort();
  fclose(file);
  char problem[importer::kRewriteProblemSize];
  const int64_t before = upnp_mem_used();
  const int32_t status = importer::rewrite_to_classic(library.c_str(), scratch.c_str(), classic.c_str(), problem);
  if (status != UPNP_OK && status != UPNP_INVALID) abort();
  if (status == UPNP_OK) {
    if (importer::rewrite_to_classic(classic.c_str(), scratch.c_str(), again.c_str(), problem) != UPNP_OK) abort();
    if (read_all(classic) != read_all(again)) abort();
  }
  if (upnp_mem_used() != before) {
    fprintf(stderr, "tracked bytes changed by %lld\n", static_cast<long long>(upnp_mem_used() - before));
    abort();
  }
  unlink(classic.c_str());
  unlink(again.c_str());
  return 0;
}
