/* What keeps a program's outputs safe from a second copy of itself and from
 * symbolic links planted in its way: an exclusive advisory lock file,
 * emptying a directory without ever following a link, removing leftovers
 * by name prefix, hard links for keeping an old file while it is replaced.
 * Null arguments give -1. */
#ifndef UPNP_BASE_FILE_GUARD_H
#define UPNP_BASE_FILE_GUARD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opens path (created empty with mode 0644 when missing, never through a
 * symbolic link) and takes an exclusive flock on it without waiting. The
 * descriptor holding the lock, or -1 with errno (EWOULDBLOCK: another
 * process holds it). The file is never removed. */
int32_t upnp_file_lock_exclusive(const char* path);
/* Releases the lock by closing its descriptor; nothing for -1. */
void upnp_file_unlock(int32_t fd);

/* 1 when path itself is a symbolic link, else 0. */
int32_t upnp_file_is_symlink(const char* path);
/* Removes every entry below the directory path, subdirectories included,
 * never following a symbolic link (a link is removed, its target kept).
 * 0, or -1 when something could not be removed. */
int32_t upnp_file_clear_dir(const char* path);
/* Removes the entries of directory whose names begin with prefix, as
 * upnp_file_clear_dir removes them. 0, or -1 when one stays. */
int32_t upnp_file_remove_prefixed(const char* directory, const char* prefix);
/* link(2): 0 or -1 with errno. */
int32_t upnp_file_link(const char* old_path, const char* new_path);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_FILE_GUARD_H */
