/* The media object record: one text slot per property id, each owned by the
 * record unless marked borrowed. Slot 87 (zq:resAdditional) holds a child
 * list instead of a text; the children are complete records owned by it.
 *
 * A record is used by one thread at a time; these functions take no lock.
 * Every block comes from the tracked allocator. All functions accept null. */
#ifndef UPNP_RECORDS_OBJECT_H
#define UPNP_RECORDS_OBJECT_H

#include <stdint.h>

#include "records/property_table.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct db_object {
  int16_t first_prop;  /* lowest id that has held a value; 255 when new */
  int16_t last_prop;   /* highest id that has held a value; 0 when new */
  int32_t borrowed[DB_PROPERTY_ID_LIMIT];
  char* value[DB_PROPERTY_ID_LIMIT];
} db_object;

/* A child list, as stored in slot 87: one pointer-sized slot holding the
 * 32-bit count, then `count` child pointers, then one spare null slot. */
typedef struct db_object_list {
  int32_t count;
} db_object_list;

/* A list of `count` empty child slots; null when out of memory or
 * for a negative count. */
db_object_list* db_object_list_new(int32_t count);
/* The child slots of a list (count of them), or null for a null list. */
db_object** db_object_list_children(db_object_list* list);
/* The child list of a record, or null. */
db_object_list* db_object_get_list(const db_object* record);
/* Frees every child and the list. */
void db_object_list_free(db_object_list* list);

/* A new empty record, or null when memory is exhausted. */
db_object* db_object_new(void);
/* Frees the record, its owned values and its children. */
void db_object_free(db_object* record);
/* Frees the owned values and children and leaves the record as new, for a
 * caller that fills one record after another. */
void db_object_clear(db_object* record);
/* Clears one property. Removing `size` also removes `zq:shortsize`. Removing
 * id 87 frees the list but leaves the slot: it is only ever the first half of
 * replacing the list, never to be called on its own. */
db_object* db_object_remove_prop(db_object* record, int32_t id);
/* A deep copy, values passed through the setter again; null when memory runs
 * out (nothing is left behind then). `bytes_out`, when given, is set to the
 * copy's footprint: the copied value lengths plus one record structure per
 * record copied, children included. */
db_object* db_object_clone(const db_object* record, int64_t* bytes_out);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_OBJECT_H */
