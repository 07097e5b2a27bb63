/* The status codes that every part of the runtime returns. Yes/no functions
 * return 1 or 0 instead, and byte counts are plain numbers. */
#ifndef UPNP_BASE_STATUS_H
#define UPNP_BASE_STATUS_H

enum {
  UPNP_OK = 0,
  UPNP_INVALID = 2,   /* invalid argument or wrong state */
  UPNP_NOMEM = 8,     /* out of memory */
  UPNP_FAILED = 14,   /* a resource could not be created or a system call failed */
  UPNP_MISSING = 123  /* a required resource file is missing */
};

#endif /* UPNP_BASE_STATUS_H */
