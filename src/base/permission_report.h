/* The permission diagnostic: when a file cannot be opened for lack of
 * rights, the log gets a listing of it, so that whoever reads the log sees
 * owner and mode at once.
 *
 * The listing runs "ls -la -- <path>" as a program with an argument vector,
 * never through a shell, so a path holding shell syntax runs nothing. Takes
 * no lock of its own; logs through upnp_log (the log file itself is never
 * diagnosed, so the logger cannot recurse). */
#ifndef UPNP_BASE_PERMISSION_REPORT_H
#define UPNP_BASE_PERMISSION_REPORT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Looks at errno as the caller left it: only EACCES and EPERM qualify.
 * 0 when a diagnostic was logged (level 2); -1 when none applies (other
 * errors, null or empty path, a ".lq8" file, the log file) or when the
 * report could not be built. */
int32_t upnp_file_diagnose(const char* path);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_PERMISSION_REPORT_H */
