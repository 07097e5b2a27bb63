/* File handles: the only way the rest of the system reads and writes files.
 * A handle remembers its path, the file's size when it was opened and a
 * position that follows seeks and reads (not writes). There is no user-space
 * buffering: every read and write is one system call.
 *
 * Every function accepts null and answers with the neutral value stated
 * below. The open functions report nothing themselves except the permission
 * diagnostic (permission_report.h) when the open call fails; errno is kept
 * as the failed call left it, so callers can log it. */
#ifndef UPNP_BASE_FILE_H
#define UPNP_BASE_FILE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One node of the chain of buffers a handle owns until it is closed. */
typedef struct upnp_file_buffer {
  void* data;
  struct upnp_file_buffer* next;
} upnp_file_buffer;

typedef struct upnp_file {
  int32_t fd;                 /* -1 when not open */
  int64_t size;               /* size at open time; 0 when it could not be read */
  int64_t position;           /* moved by seek and read, deliberately not by write */
  upnp_file_buffer* buffers;  /* tracked blocks released at close */
  char* path;                 /* owned copy of the path opened */
} upnp_file;

/* Read-only; fails (null) when the size cannot be read either. */
upnp_file* upnp_file_open_read(const char* path);
/* Read-write, appending, created with mode 0644; size 0 when stat fails. */
upnp_file* upnp_file_open_append(const char* path);
/* Write-only, created with mode 0644, NOT truncated: a shorter content
 * leaves the old tail in place, so callers wanting a fresh file unlink it
 * first. size stays 0. */
upnp_file* upnp_file_open_write(const char* path);
/* Write-only, created with mode 0644 only when nothing is at path, without
 * following a symbolic link: for outputs that must be new. */
upnp_file* upnp_file_create_new(const char* path);
/* upnp_file_open_append, write-only, without following a symbolic link. */
upnp_file* upnp_file_open_append_nofollow(const char* path);
/* Releases the path copy, the descriptor, the buffer chain and the handle.
 * The close call's result (0 or -1), so writers can see a late write error;
 * 0 for null. */
int32_t upnp_file_close(upnp_file* file);

/* Bytes read as the read call returns them (-1 on failure); -1 for null. */
int64_t upnp_file_read(upnp_file* file, void* buffer, uint64_t length);
/* Bytes written (-1 on failure); -1 for null. */
int64_t upnp_file_write(upnp_file* file, const void* buffer, uint64_t length);
/* Writes all of buffer, over short writes and interruptions: 0, or -1
 * with errno from the failed write (ENOSPC, EIO...); -1 for null. */
int32_t upnp_file_write_all(upnp_file* file, const void* buffer, uint64_t length);
/* New position, or -1 (the stored position is then kept). */
int64_t upnp_file_seek(upnp_file* file, int64_t offset, int32_t whence);
/* 1 when the position is at or past the size at open time; 1 for null. */
int32_t upnp_file_eof(upnp_file* file);
/* Reads one line, newline included, into buffer (zero-filled first) and
 * leaves the file just behind it. A line longer than size comes back in
 * pieces; when exactly size bytes come back there is no terminating NUL,
 * so pass one byte less than the buffer holds. Returns buffer (empty at the
 * end of the file), null for a null buffer or handle. */
char* upnp_file_gets(char* buffer, int32_t size, upnp_file* file);
/* fsync's result; -1 for null. */
int32_t upnp_file_sync(upnp_file* file);
/* Syncs a directory, so the renames and creations in it are on the medium:
 * 0 or -1; -1 for null. */
int32_t upnp_file_sync_dir(const char* path);
/* Syncs the whole filesystem that holds path (syncfs): one call, and one
 * journal commit, for many files written there. 0 or -1; -1 for null. */
int32_t upnp_file_sync_fs(const char* path);

/* Start-up and shut-down steps: the module's lock. prepare returns 0 or 14.
 * There is no init step: handles are self-contained records, and the module
 * keeps no table of open files to clear. */
int32_t upnp_file_prepare(void);
void upnp_file_release(void);

#ifdef __cplusplus
}  /* extern "C" */

/* Closes a handle at the end of a scope. */
class FileCloser {
 public:
  explicit FileCloser(upnp_file* file) : file_(file) {}
  ~FileCloser() { upnp_file_close(file_); }
  FileCloser(const FileCloser&) = delete;
  FileCloser& operator=(const FileCloser&) = delete;
  upnp_file* get() const { return file_; }

 private:
  upnp_file* file_;
};
#endif

#endif /* UPNP_BASE_FILE_H */
