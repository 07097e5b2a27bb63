// Names of the files an install makes beside its targets.
#pragma once

#include <stddef.h>

#include <string_view>

namespace importer {

// Every file the run makes in the database or playlist directory before it
// becomes a target begins with this, so that a later run can recognise and
// remove what a killed one left.
constexpr const char kInstallPrefix[] = ".itunes-import-";

// Numbers of install names: counted up within the run from 1.
unsigned next_install_number();
// "<dir>/.itunes-import-<pid>-<time>-<number>": pid and the run's start
// time tell runs apart, the number the files of one run.
void install_name(std::string_view dir, unsigned number, char* name, size_t size);
// The same beside `target`, with the next number.
void install_name_beside(const char* target, char* name, size_t size);

}  // namespace importer
