/* The importer: reads an iTunes library file and leaves the items file, the
 * WPL playlist files and the playlist list in the media server's directories.
 *
 * Returns 0 on every normal end. Its error ends (too few arguments, no
 * database directory, an unreadable library file) end the process at once
 * with status -1, without the runtime shut-down. Every log line it writes
 * carries the function name "itunes_main". */
#ifndef UPNP_IMPORTER_ITUNES_MAIN_H
#define UPNP_IMPORTER_ITUNES_MAIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

int32_t itunes_main(int32_t argc, char** argv);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_IMPORTER_ITUNES_MAIN_H */
