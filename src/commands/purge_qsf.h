// -purgeQsf: store files that no profile uses.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "src/commands/in_use_files.h"

// The command's handler: reads the switches and runs PurgeQsf unless another program uses MAPI.
// Returns 0 or 1.
int qrvAdminPurgeQsf(int argc, wchar_t** argv);

// Lists the store files that no MAPI profile of the current Windows user refers to, in every
// directory that holds one in use, with all files that belong to them; with `force` deletes them. A
// profile that cannot be read ends the command before any file is listed. Returns the failure that
// did, else the result of the last profile's load. MAPI must be initialised on the calling thread;
// after a failure COM stays initialised.
HRESULT PurgeQsf(std::uint32_t force);

// The same for one directory: lists the store files in it that are not among those in use.
// `directory` ends in a backslash and, like the paths of those, is in the ANSI code page and in
// lower case. Returns whether there was any.
bool PurgeDirectory(const std::string& directory, InUseFiles& inUse, std::uint32_t force);
