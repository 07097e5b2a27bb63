/* Paths and directories: null-safe wrappers over stat, mkdir, chmod,
 * unlink, rmdir and rename; a recursive directory creator; a path joiner;
 * and a directory iterator that skips what a media scan must never enter.
 *
 * None of these take a lock. Null arguments give the neutral result stated
 * beside each function; only the iterator logs (a failed stat of an entry). */
#ifndef UPNP_BASE_FILE_SYSTEM_H
#define UPNP_BASE_FILE_SYSTEM_H

#include <dirent.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct upnp_file_info {
  int64_t modified;  /* seconds */
  int64_t changed;   /* the modification time as well, deliberately */
  int64_t accessed;
  int64_t size;
  uint32_t mode;     /* type and permission bits */
} upnp_file_info;

/* 0 and info filled, or the stat call's failure value; -1 for null. */
int32_t upnp_file_stat(const char* path, upnp_file_info* info);
/* 1 when upnp_file_stat succeeds, else 0. */
int32_t upnp_file_exists(const char* path);
/* 1 when stat succeeds and the mode has any bit of mask, else 0. */
int32_t upnp_file_mode_test(const char* path, uint32_t mask);
/* A bit test against 0x8000, so a socket (0xC000) counts too; kept. */
int32_t upnp_file_is_regular(const char* path);

/* 0 when created or already there (mode 0777 before the umask), else -1. */
int32_t upnp_file_mkdir(const char* path);
/* Creates every missing directory of path. With set_mode, each directory it
 * creates gets mode; existing ones (and an existing path) are left as they
 * are. A leading drive ("C:", "C:/") is stepped over. 0 or -1. */
int32_t upnp_file_mkdir_recursive(const char* path, uint32_t mode, int32_t set_mode);
/* upnp_file_mkdir_recursive(path, 0, 0). */
int32_t upnp_file_mkdir_path(const char* path);
/* 0 or -1. */
int32_t upnp_file_chmod(const char* path, uint32_t mode);
/* The system call's result; -1 for null. */
int32_t upnp_file_unlink(const char* path);
int32_t upnp_file_rmdir(const char* path);
int32_t upnp_file_rename(const char* old_path, const char* new_path);

/* "directory/name" in a new tracked text, dropping one trailing separator
 * of directory and one leading separator of name ('/' or '\\'); null when
 * either is null or empty, or when out of memory. */
char* upnp_file_path_join(const char* directory, const char* name);

typedef struct upnp_file_find {
  DIR* dir;
  char* base;       /* the directory, one trailing "/" removed */
  char* path;       /* full path of the current entry */
  char* name;       /* name of the current entry */
  int32_t is_dir;   /* the entry is a directory, links followed */
  int32_t is_link;  /* the entry itself is a symbolic link */
} upnp_file_find;

/* Iterator on the first entry kept, or null (null or empty path, anything
 * under "/proc", a directory that cannot be opened, nothing to yield).
 * Skipped: directories named "lost+found" or starting with "." (hidden
 * files are kept) and entries that cannot be examined (logged). */
upnp_file_find* upnp_file_find_first_file(const char* directory);
/* The same iterator on the next entry kept. At the end it releases itself
 * and returns null: do not close it then. */
upnp_file_find* upnp_file_find_next_file(upnp_file_find* find);
/* Closes the stream and releases an iterator not yet at its end. */
void upnp_file_find_close(upnp_file_find* find);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_FILE_SYSTEM_H */
