/* The property names of media object records: one constant table gives each
 * property its id (what records index by), its DIDL-Lite or "zq:" name, its
 * value kind and default; a 256-bucket hash maps names back to ids.
 *
 * The tables are built once at start-up (db_property_table_init,
 * db_upnp_string_to_property_init) before any other thread runs and are only
 * read afterwards, so no lock guards them. Lookups before the build find
 * nothing; the name lookup then logs a critical line. */
#ifndef UPNP_RECORDS_PROPERTY_TABLE_H
#define UPNP_RECORDS_PROPERTY_TABLE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Property ids are below this; it also stands for "no id". */
#define DB_PROPERTY_ID_LIMIT 255

/* Well-known property ids. */
enum {
  DB_PROP_ID = 1,
  DB_PROP_CLASS = 3,
  DB_PROP_TITLE = 20,
  DB_PROP_CREATOR = 21,
  DB_PROP_ARTIST = 22,
  DB_PROP_GENRE = 25,
  DB_PROP_ALBUM = 26,
  DB_PROP_ORIGINAL_TRACK_NUMBER = 30,
  DB_PROP_RATING = 32,
  DB_PROP_DATE = 33,
  DB_PROP_ADDED_TIME = 49,
  DB_PROP_ADDED_LAST60 = 50,
  DB_PROP_HIGHRATED = 51,
  DB_PROP_ADDED_TODAY = 52,
  DB_PROP_RES = 60,
  DB_PROP_SIZE = 61,
  DB_PROP_DURATION = 62,
  DB_PROP_BITRATE = 63,
  DB_PROP_SAMPLE_FREQUENCY = 64,
  DB_PROP_NR_AUDIO_CHANNELS = 66,
  DB_PROP_RESOLUTION = 67,
  DB_PROP_EXTENSION = 76,
  DB_PROP_PROTECTION = 79,
  DB_PROP_MIME_TYPE = 84,
  DB_PROP_RES_ADDITIONAL = 87, /* the one id whose slot holds a child list */
  DB_PROP_SHORTSIZE = 96,
  DB_PROP_BOOKMARK = 104,
  DB_PROP_CHANNEL_NR = 156,
  DB_PROP_CHANNEL_NAME = 157,
  DB_PROP_LOCATION = 192
};

/* Value kinds. */
enum {
  DB_KIND_TEXT = 0,
  DB_KIND_FLAG = 1,          /* "0" or "1" */
  DB_KIND_LETTER = 2,        /* a single letter */
  DB_KIND_DATE = 3,
  DB_KIND_SMALL_NUMBER = 4,
  DB_KIND_NUMBER32 = 5,
  DB_KIND_NUMBER64 = 6,      /* 64-bit number or seconds */
  DB_KIND_SIZE = 7,          /* 64-bit size or offset */
  DB_KIND_RESOURCE = 8,      /* a resource element */
  DB_KIND_COUNTER = 9
};

typedef struct db_property_def {
  int16_t id;
  int16_t sort_caps;
  int16_t lookup_enabled;
  const char* name;
  int16_t internal;
  char separator;            /* ',' for comma-separated lists, 0 otherwise */
  int32_t kind;
  const char* default_value;
  int32_t standard;
  int32_t search_caps;
  int32_t extra;
} db_property_def;

/* The rows in their fixed order, ended by a row whose name is null. */
extern const db_property_def db_property_table[];
/* The same rows indexed by id, all zero until db_property_table_init. */
extern db_property_def db_property_by_id[DB_PROPERTY_ID_LIMIT];

/* Names that capability lists write in place of a property's own name. */
typedef struct db_property_alias_def {
  const char* name;
  const char* alias;
} db_property_alias_def;
#define DB_PROPERTY_ALIAS_COUNT 4
extern const db_property_alias_def db_property_aliases[DB_PROPERTY_ALIAS_COUNT];
/* The alias of a name, or the name itself when it has none. */
const char* db_property_alias(const char* name);

/* Fills db_property_by_id once; returns 1. */
int32_t db_property_table_init(void);

/* Hash of a name up to its NUL or first ','; 0..255. */
uint32_t db_property_name_hash(const char* name);
/* Builds the name hash; returns 1. */
int32_t db_upnp_string_to_property_init(void);
/* Empties the name hash; lookups then fail until the next build. */
void db_upnp_string_to_property_exit(void);
/* Property id for a name (a prefix match, see the source), 0 if none. */
int32_t db_upnp_string_to_property(const char* name);
/* Exact match over the rows open to lookup by name; 0 if none. */
int32_t db_property_id_from_name(const char* name);

/* Newly allocated (tracked) comma-separated lists; null when out of memory. */
char* db_property_sort_capabilities(void);
char* db_property_search_capabilities(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_PROPERTY_TABLE_H */
