/* Settings: a fixed table of named properties, each with a compiled-in
 * default and an optional value read from the settings file "orvane.ini",
 * and the application data directory that "%APPDATADIR%" stands for.
 *
 * Values handed out by upnp_ini_get stay owned by this module: they live
 * until the property is set again or the module stops. The settings lock
 * guards setting values, computing effective values, building the file name
 * and the stop. Status codes: UPNP_OK, UPNP_INVALID for an invalid argument, UPNP_FAILED when nothing was read. */
#ifndef UPNP_SERVICES_SETTINGS_H
#define UPNP_SERVICES_SETTINGS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Property ids. */
enum {
  UPNP_INI_FRIENDLYNAME = 0,
  UPNP_INI_IP = 1,
  UPNP_INI_NICRESTART = 2,
  UPNP_INI_V = 3,
  UPNP_INI_PLATFORM = 4,
  UPNP_INI_HTTPPORT = 5,
  UPNP_INI_ININAME = 6,
  UPNP_INI_INIPATH = 7,
  UPNP_INI_READ_ONLY = 8,
  UPNP_INI_SSDPTTL = 9,
  UPNP_INI_SSDPHEARTBEATTIMEOUT = 10,
  UPNP_INI_DISABLELOGROTATE = 11,
  UPNP_INI_APPDATA = 13,
  UPNP_INI_CLEARCLIENTSONRESTART = 14,
  UPNP_INI_DISABLELOCALSSDP = 15,
  UPNP_INI_ENABLETLS = 16,
  UPNP_INI_VLEVEL = 18,
  UPNP_INI_STACK_SIZE = 19,
  UPNP_INI_LANGUAGE = 20,
  UPNP_INI_ENABLEQUEUEHANDLERDEVICE = 25,
  UPNP_INI_ENABLENMCWEBAPI = 26,
  UPNP_INI_FOLLOWLINKS = 27,
  UPNP_INI_FLUSHLOGMSG = 28,
  UPNP_INI_IGNOREIP = 31,
  UPNP_INI_MEDIATYPEFILTER = 33,
  UPNP_INI_SSDPHEARTBEATPORT = 36,
  UPNP_INI_CONTENTBASE = 37,
  UPNP_INI_IFACE = 38,
  UPNP_INI_IGNOREIFACE = 39,
  UPNP_INI_MAXTHREADS = 40,
  UPNP_INI_PDBEXPIRETIME = 42,
  UPNP_INI_CACHEDIR = 44,
  UPNP_INI_CACHEMAXSIZE = 45,
  UPNP_INI_MACCACHELEASETIME = 46,
  UPNP_INI_APPID = 47,
  UPNP_INI_RESOURCEDIR = 48,
  UPNP_INI_ENABLEFRIENDLYINFOUPDATE = 49,
  UPNP_INI_ENABLEDEPRECATEDJSONANDRSSFEED = 50,
  UPNP_INI_MULTIUSERSUPPORTENABLED = 51,
  UPNP_INI_MULTIUSERSUPPORTDEFAULTS = 52,
  UPNP_INI_MULTIUSERSUPPORTDEFAULTUSER = 53,
  UPNP_INI_MULTIUSERSUPPORTDEFAULTROLE = 54,
  UPNP_INI_DISABLESTRINGPOOLCACHE = 56,
  UPNP_INI_LIMIT_DEVDESC_RESPONSES_UA = 57,
  UPNP_INI_LIMIT_DEVDESC_RESPONSES_IP = 58,
  UPNP_INI_HTTP_USE_DIGEST_AUTH = 59,
  UPNP_INI_KEYPACKPATH = 63,
  UPNP_INI_CHROMECAST_RECEIVER_APP_ID = 64,
  UPNP_INI_HTTPSPORT = 65,
  UPNP_INI_ESCAPE_JSON = 66,
  UPNP_INI_IPV6SUPPORT = 67,
  UPNP_INI_ENABLE_UDA20 = 68,
  UPNP_INI_SSDP_MULTICAST_PORT = 69,
  UPNP_INI_SSDP_BEAT_TIME = 70,
  UPNP_INI_ENABLE_MULTIHOME = 71,
  UPNP_INI_WEBUISKIN = 72,
  UPNP_INI_KEYPACKNUMBER = 73,
  UPNP_INI_BRIGHTOAK_STAGING = 74,
  UPNP_INI_UDN_SCHEME = 75,
  UPNP_INI_X_DSF_MIMETYPES = 76,
  UPNP_INI_DISABLE_IP_REPORTING = 77,
  UPNP_INI_ID_LIMIT = 336 /* ids are below this */
};

/* One compiled-in property definition. */
typedef struct upnp_ini_property {
  int32_t id;
  const char* name;
  const char* default_value; /* null: no default */
  int32_t is_path;           /* values read from the file are cleaned up as paths */
  int32_t read_only;
  const char* description;   /* null where none is kept */
} upnp_ini_property;

/* The effective value: the file's value (cleaned up for path properties) or
 * the default, with "%APPDATADIR%" or "%USERHOMEDIR%" expanded and the
 * expansion cached. Null for an unknown id, a property without value and
 * default, or while the module is stopped. */
const char* upnp_ini_get(int32_t id);
/* The effective value as a decimal number, 0 when absent or empty; the two
 * HTTP port properties give 0 above 65535. */
int64_t upnp_ini_get_int(int32_t id);
/* Lookup by name without regard to case; null when unknown. */
const upnp_ini_property* upnp_ini_find(const char* name);
/* Stores a tracked copy of value (null forgets the value, so the default
 * applies again). Setting "v", "vlevel" or "disablelogrotate" also passes
 * the number to the log at once. 0, or 2 for an unknown name; 8 when out of
 * memory (the old value is kept). flags are passed through by the reader and
 * not otherwise used. */
int32_t upnp_ini_set(const char* name, const char* value, int32_t flags);

/* The settings file's path, built once from "inipath" (the application data
 * directory when it has no value; created with its parents) and "ininame";
 * null when it cannot be built. */
const char* upnp_ini_file_name(void);
/* Reads key=value lines from a UTF-8 file or a UTF-16 little-endian file
 * with byte-order mark. 0 when at least one property was set, 14 otherwise. */
int32_t upnp_ini_file_read_properties_from_file(const char* path, int32_t flags);
/* Reads the settings file (or runs the installed external reader) and sets
 * the settings-read flag that ends the log's start-up mode. */
void upnp_ini_read_settings(int32_t flags);
/* 1 after a settings file in UTF-16 has been read. */
int32_t upnp_ini_from_utf16(void);

typedef int32_t (*upnp_ini_reader_fn)(int32_t flags);
/* Replaces the file reading of upnp_ini_read_settings; null restores it. */
void upnp_ini_set_external_reader(upnp_ini_reader_fn reader);

/* New tracked texts, freed by the caller: "/var/orvane" for root or an
 * unknown user, else "<home>/.orvane" (at most 1023 bytes) and the home
 * directory itself. */
char* upnp_get_appdata_dir(void);
char* upnp_get_user_home_dir(void);

/* Seam for the user lookup behind the two functions above: fills `home`
 * and answers 1 for a user other than root, 0 for root, -1 when the real
 * user has no password-database entry. Null restores the system lookup. */
typedef int32_t (*upnp_user_lookup_fn)(char* home, size_t home_size);
void upnp_settings_set_user_lookup(upnp_user_lookup_fn lookup);

/* Start-up and shut-down steps. init and stop are reference-counted: only
 * the stop that balances the first init frees the values and resets the id
 * index, so that no id answers (not even with its default) until the next
 * init. */
int32_t upnp_ini_prepare(void);
void upnp_ini_init(void);
void upnp_ini_stop(void);
void upnp_ini_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_SETTINGS_H */
