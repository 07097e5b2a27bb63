#include "importer/bounded_format.hpp"

#include <stdarg.h>
#include <stdio.h>

namespace importer {

size_t format_cut(char* buffer, size_t size, const char* format, ...) {
  if (buffer == nullptr || size == 0) return 0;
  va_list args;
  va_start(args, format);
  const int wanted = vsnprintf(buffer, size, format, args);
  va_end(args);
  if (wanted < 0) {
    buffer[0] = '\0';
    return 0;
  }
  return static_cast<size_t>(wanted) < size ? static_cast<size_t>(wanted) : size - 1;
}

}  // namespace importer
