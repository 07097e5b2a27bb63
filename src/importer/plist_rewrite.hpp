// Rewrites an iTunes library in any XML property-list text (values on their
// own lines, CR LF, named entities, CDATA, comments, sorted keys, the key
// order of current iTunes versions) into the classic line layout that the
// passes read (plist_layout.hpp), parsing it with expat as a stream.
//
// Memory is bounded by the largest track or playlist entry plus 16 bytes per
// track: entries are rendered one at a time into a first copy, their keys
// put in the order the passes need, and the tracks are then written in
// ascending id order from their offsets in that copy. Every byte, expat's
// included, comes from the tracked allocator.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace importer {

// Text of the diagnostic when a rewrite fails: what is wrong, with the line
// number where the parser gives one.
constexpr size_t kRewriteProblemSize = 256;

// Reads `library`, writes the classic form to `classic` through the scratch
// file `scratch` (removed again). 0 when the library is a complete property
// list with a "Tracks" dict; else UPNP_INVALID (not such a list), UPNP_FAILED
// (a read or write failed) or UPNP_NOMEM, with `problem` filled. Nothing of
// either file is left behind on failure.
int32_t rewrite_to_classic(const char* library, const char* scratch, const char* classic,
                           char (&problem)[kRewriteProblemSize]);

}  // namespace importer
