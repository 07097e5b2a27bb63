/* A seam under the write side of files, for fault tests in the manner of a
 * fault-injecting file layer: every exclusive creation, write, sync and
 * rename made through file.h and file_system.h is counted by kind, and a
 * test can make the nth call of one kind fail with an error number of its
 * choice, without touching the disk. Product code never arms it; counting
 * costs one relaxed atomic increment per call. */
#ifndef UPNP_BASE_FILE_FAULTS_H
#define UPNP_BASE_FILE_FAULTS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum upnp_file_call {
  UPNP_FILE_CALL_CREATE = 0, /* upnp_file_create_new, upnp_file_open_append_nofollow */
  UPNP_FILE_CALL_WRITE,      /* upnp_file_write (so upnp_file_write_all too) */
  UPNP_FILE_CALL_SYNC,       /* upnp_file_sync, upnp_file_sync_dir, upnp_file_sync_fs */
  UPNP_FILE_CALL_RENAME,     /* upnp_file_rename */
  UPNP_FILE_CALL_KINDS
} upnp_file_call;

/* Counts back to zero and nothing armed. */
void upnp_file_faults_reset(void);
/* The nth call of kind from now on (1 is the next one) fails with errno
 * error, once; nth 0 disarms. */
void upnp_file_fault_arm(upnp_file_call kind, int64_t nth, int32_t error);
/* Calls of kind since the last reset. */
int64_t upnp_file_calls(upnp_file_call kind);
/* For the file functions: counts one call of kind; 1 (errno set) when this
 * is the call armed to fail, else 0. */
int32_t upnp_file_fault_hit(upnp_file_call kind);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_FILE_FAULTS_H */
