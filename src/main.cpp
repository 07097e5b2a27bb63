#include "importer/itunes_main.h"
#include "process/lifecycle.h"

int main(int argc, char** argv) {
  upnp_runtime_init();
  const int32_t status = itunes_main(argc, argv);
  upnp_runtime_exit();
  return status;
}
