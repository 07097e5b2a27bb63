// libFuzzer target for the whole import: any bytes as the library file, all
// three passes, the items, WPL and list files and the final move. Each input
// gets a fresh scratch directory as database and playlist directory; the run
// must end normally (0) or orderly (-1: a library refused as incomplete, an
// output that cannot be made) and give back every tracked byte it took.
#include <ftw.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "base/memory.h"
#include "importer/itunes_main.h"
#include "process/lifecycle.h"

namespace {

// libFuzzer reads its corpus and writes new inputs by relative paths, so
// every run ends back in the directory the fuzzer was started from.
char g_start_dir[4096];

int remove_entry(const char* path, const struct stat*, int, struct FTW*) { return remove(path); }

bool write_library(const std::string& path, const uint8_t* data, size_t size) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = size == 0 || fwrite(data, 1, size, file) == size;
  return fclose(file) == 0 && written;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (getcwd(g_start_dir, sizeof g_start_dir) == nullptr) abort();
  upnp_runtime_init();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  char dir[] = "/tmp/import-fuzz-XXXXXX";
  if (mkdtemp(dir) == nullptr) return 0;
  std::string library = std::string(dir) + "/lib.xml";
  if (write_library(library, data, size)) {
    // Locations are relative to the working directory: keep them inside.
    if (chdir(dir) != 0) abort();
    std::string args[] = {"itunes-import", "-dbdir", dir, "-playlist-dir", "", "-itunes-lib", library};
    char* argv[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data(),
                    args[4].data(), args[5].data(), args[6].data()};
    const int64_t before = upnp_mem_used();
    const int32_t status = itunes_main(7, argv);
    if (status != 0 && status != -1) abort();
    if (upnp_mem_used() != before) {
      fprintf(stderr, "tracked bytes changed by %lld\n", static_cast<long long>(upnp_mem_used() - before));
      abort();
    }
    if (chdir(g_start_dir) != 0) abort();
  }
  nftw(dir, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
  return 0;
}
