// Names of the files an install makes beside its targets.
#pragma once

#include <stddef.h>

namespace importer {

// Every file the run makes in the database or playlist directory before it
// becomes a target begins with this, so that a later run can recognise and
// remove what a killed one left.
constexpr const char kInstallPrefix[] = ".itunes-import-";

// "<directory of target>/.itunes-import-<pid>-<time>-<n>": n counts up
// within the run, pid and time tell runs apart.
void install_name_beside(const char* target, char* name, size_t size);

}  // namespace importer
