// The store files of a directory that no profile uses.
#pragma once

#include <cstdint>
#include <string>

#include "src/commands/in_use_files.h"

// Lists the store files in `directory` that are not among those in use, with all files that belong
// to them; with `force` deletes them. `directory` ends in a backslash and, like the paths in use,
// is in the ANSI code page and in lower case. Returns whether there was any. Main thread only.
bool PurgeDirectory(const std::string& directory, InUseFiles& inUse, std::uint32_t force);
