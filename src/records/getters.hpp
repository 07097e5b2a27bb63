// Values a record derives from other properties, shared by the getter and
// the setter (which does not store what it could derive).
#ifndef UPNP_RECORDS_GETTERS_HPP
#define UPNP_RECORDS_GETTERS_HPP

#include "records/object.h"

namespace dbobject {

// The extension of the record's `res` value; null when there is none or it
// holds a "?". Points into the record.
const char* DerivedExtension(const db_object* record);

// The MIME type of the record's extension (stored or derived), or null.
const char* DerivedMimeType(const db_object* record);

}  // namespace dbobject

#endif  // UPNP_RECORDS_GETTERS_HPP
