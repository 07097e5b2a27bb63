// Composed texts of the run (paths above all) live in fixed buffers; a result
// longer than the buffer is cut, never overflowed. That cut is part of the
// behaviour, so the compiler's truncation warning does not apply here.
#pragma once

#include <stddef.h>

namespace importer {

// vsnprintf into buffer, cut at size - 1 bytes. Returns the length written.
size_t format_cut(char* buffer, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace importer
