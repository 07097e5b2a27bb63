/* Writing and reading the properties of a media object record. Every write
 * passes through db_object_set_prop, which normalises values as they arrive;
 * every read passes through db_object_get_prop, which falls back to defaults,
 * derived values and placeholders by object class.
 *
 * Setters return the record, newly created when given null (null if that
 * fails), so that calls chain as record = setter(record, ...). No lock is
 * taken; a record is used by one thread at a time. */
#ifndef UPNP_RECORDS_SETTERS_H
#define UPNP_RECORDS_SETTERS_H

#include <stdint.h>

#include "records/object.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores `value` under `id`. Unless `borrowed`, the record owns the value
 * from here on, also when it decides not to store it (then it is freed at
 * once). Values are trimmed in place; a zq:rating value is clamped in place
 * even when borrowed. For id 87 `value` is a db_object_list. */
db_object* db_object_set_prop(db_object* record, int32_t id, char* value, int32_t borrowed);

/* The value, a default or a derived text; not to be freed. Null when none. */
const char* db_object_get_prop(const db_object* record, int32_t id);

/* The value read as a base-10 32-bit integer; `fallback` when the read
 * yields null or an empty text. */
int32_t db_object_get_numprop(const db_object* record, int32_t id, int32_t fallback);

/* Typed setters: each formats into a fresh tracked buffer handed over as
 * owned; out of memory logs "out of memory" and returns the record. */
db_object* db_object_set_numprop(db_object* record, int32_t id, int32_t number);
/* As above, but 1 to 8 are written "01".."08". */
db_object* db_object_set_numprop_with_zero_prefix(db_object* record, int32_t id, int32_t number);
db_object* db_object_set_num64prop(db_object* record, int32_t id, int64_t number);
/* Local time "YYYY-MM-DDTHH:MM:SS"; a time that cannot be converted sets nothing. */
db_object* db_object_set_dateprop(db_object* record, int32_t id, int64_t seconds);

/* Copies the properties of `add` into `main_record`: all with `override`,
 * else only those it lacks. Returns `main_record`, created when null. */
db_object* db_object_merge(db_object* main_record, const db_object* add, int32_t override);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_SETTERS_H */
